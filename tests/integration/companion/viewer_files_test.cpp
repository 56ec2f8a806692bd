#include "companion/server/net/viewer_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/integration/companion/temporary_folder.h"

namespace tovalin::server {
namespace {

using testing::HasSubstr;
using testing::Not;

class ViewerFilesTest : public testing::Test {
 protected:
  ViewerFilesTest() {
    outside_.write("secret.txt", "secret");
    folder_.write("index.html", "<!doctype html>");
    folder_.write("main.mjs", "export {}");
    folder_.write("sub/index.html", "sub");
    folder_.write(".hidden", "secret");
    folder_.write(".git/config", "secret");
    folder_.write("a b.txt", "spaced");
    std::filesystem::create_symlink(outside_.path() / "secret.txt", folder_.path() / "link.txt");
    std::filesystem::create_directory_symlink(outside_.path(), folder_.path() / "linked");
    std::filesystem::create_symlink("main.mjs", folder_.path() / "alias.mjs");
    std::filesystem::create_directory(folder_.path().string() + "-neighbour");
  }
  ~ViewerFilesTest() override {
    std::filesystem::remove_all(folder_.path().string() + "-neighbour");
  }

  FileAnswer get(std::string_view target) const {
    return ViewerFiles(folder_.path()).answer({"GET", target, "", "phone.example:8080"});
  }
  static std::string header(const FileAnswer& answer, const std::string& name) {
    for (const auto& [key, value] : answer.headers) {
      if (key == name) return value;
    }
    return "";
  }

  test::TemporaryFolder folder_;
  test::TemporaryFolder outside_;
};

TEST_F(ViewerFilesTest, RootIsTheIndex) {
  const auto answer = get("/");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "<!doctype html>");
  EXPECT_EQ(header(answer, "Content-Type"), "text/html; charset=utf-8");
}

TEST_F(ViewerFilesTest, OrdinaryNamesAreFound) {
  EXPECT_EQ(get("/index.html").body, "<!doctype html>");
  EXPECT_EQ(get("/?host=x&token=../y").body, "<!doctype html>");
  EXPECT_EQ(get("/sub/").body, "sub");
  EXPECT_EQ(get("/a%20b.txt").body, "spaced");
  EXPECT_EQ(get("/%6dain.mjs").body, "export {}");
  EXPECT_EQ(get("/alias.mjs").body, "export {}") << "a link that stays inside";
}

TEST_F(ViewerFilesTest, NothingElseExists) {
  for (const std::string_view target : {
           "",
           "*",
           "index.html",
           "http://phone.example/index.html",
           "/missing.html",
           "/sub",
           "//index.html",
           "/sub//index.html",
           "/.hidden",
           "/.git/config",
           "/%2ehidden",
           "/./index.html",
           "/sub/../index.html",
           "/..",
           "/../secret.txt",
           "/%2e%2e/secret.txt",
           "/..%2fsecret.txt",
           "/sub/%2e%2e%2f%2e%2e%2fsecret.txt",
           "/..\\secret.txt",
           "/..%5csecret.txt",
           "/index.html%00.png",
           "/index.html%0a",
           "/%",
           "/%4",
           "/%zz",
           "/%-1",
           "/link.txt",
           "/linked/secret.txt",
           "/index.html/",
           "/main.mjs/../index.html",
       }) {
    const auto answer = get(target);
    EXPECT_EQ(answer.status, 404) << target;
    EXPECT_THAT(answer.body, Not(HasSubstr("secret"))) << target;
  }
}

TEST_F(ViewerFilesTest, AbsolutePathsAndLongNamesDoNotExistEither) {
  EXPECT_EQ(get("/" + (outside_.path() / "secret.txt").string()).status, 404);
  EXPECT_EQ(get("/" + std::string(5000, 'a')).status, 404);
}

TEST_F(ViewerFilesTest, TypesFollowTheExtension) {
  const std::map<std::string, std::string> types = {
      {"a.html", "text/html; charset=utf-8"},
      {"a.mjs", "text/javascript; charset=utf-8"},
      {"a.js", "text/javascript; charset=utf-8"},
      {"a.css", "text/css; charset=utf-8"},
      {"a.svg", "image/svg+xml"},
      {"a.png", "image/png"},
      {"a.webmanifest", "application/manifest+json"},
      {"a.bin", "application/octet-stream"},
      {"a", "application/octet-stream"},
  };
  for (const auto& [name, type] : types) {
    folder_.write(name, "x");
    EXPECT_EQ(header(get("/" + name), "Content-Type"), type);
  }
}

TEST_F(ViewerFilesTest, OtherMethodsAreNotAllowed) {
  const ViewerFiles files(folder_.path());
  for (const std::string_view method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "get"}) {
    const auto answer = files.answer({method, "/", "", ""});
    EXPECT_EQ(answer.status, 405) << method;
    EXPECT_EQ(header(answer, "Allow"), "GET, HEAD");
  }
  EXPECT_EQ(files.answer({"HEAD", "/", "", ""}).status, 200);
}

TEST_F(ViewerFilesTest, UnchangedFileIsNotSentAgain) {
  const ViewerFiles files(folder_.path());
  const std::string tag = header(get("/"), "ETag");
  EXPECT_THAT(tag, testing::MatchesRegex("\"[0-9a-f]{32}\""));
  EXPECT_EQ(header(get("/"), "Cache-Control"), "no-cache");
  for (const std::string& known : {tag, "W/" + tag, "\"x\", " + tag, std::string("*")}) {
    const auto answer = files.answer({"GET", "/", known, ""});
    EXPECT_EQ(answer.status, 304) << known;
    EXPECT_EQ(answer.body, "");
    EXPECT_EQ(header(answer, "ETag"), tag);
  }
  folder_.write("index.html", "<!doctype html><p>new");
  EXPECT_EQ(files.answer({"GET", "/", tag, ""}).status, 200);
}

TEST_F(ViewerFilesTest, EveryAnswerCarriesTheStrictPolicy) {
  const std::string policy =
      "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
      "media-src 'self' blob: mediastream:; "
      "connect-src 'self' ws://phone.example:8080 wss://phone.example:8080; "
      "manifest-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
  for (const std::string_view target : {"/", "/missing"}) {
    const auto answer = get(target);
    EXPECT_EQ(header(answer, "Content-Security-Policy"), policy);
    EXPECT_EQ(header(answer, "X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(header(answer, "Referrer-Policy"), "no-referrer");
  }
}

TEST_F(ViewerFilesTest, HostHeaderCannotWriteIntoThePolicy) {
  const ViewerFiles files(folder_.path());
  for (const std::string_view host : {"", "x; script-src *", "x 'unsafe-inline'", "a,b", "x/y"}) {
    EXPECT_THAT(header(files.answer({"GET", "/", "", host}), "Content-Security-Policy"),
                HasSubstr("connect-src 'self'; manifest-src"))
        << host;
  }
  EXPECT_THAT(header(files.answer({"GET", "/", "", "[::1]:80"}), "Content-Security-Policy"),
              HasSubstr("ws://[::1]:80 "));
}

TEST_F(ViewerFilesTest, WithoutAFolderThePageIsMissingAndSaysWhy) {
  const auto answer = ViewerFiles({}).answer({"GET", "/", "", ""});
  EXPECT_EQ(answer.status, 404);
  EXPECT_THAT(answer.body, HasSubstr("--viewer"));
}

}  // namespace
}  // namespace tovalin::server
