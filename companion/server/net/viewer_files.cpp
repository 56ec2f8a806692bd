#include "companion/server/net/viewer_files.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <optional>

#include "companion/server/core/secrets.h"

namespace tovalin::server {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLargestFile = 16 * 1024 * 1024;  // held in memory while it is sent

std::string_view mimeType(const fs::path& file) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 10> kTypes{{
      {".html", "text/html; charset=utf-8"},
      {".mjs", "text/javascript; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
      {".ico", "image/x-icon"},
      {".json", "application/json"},
      {".webmanifest", "application/manifest+json"},
      {".txt", "text/plain; charset=utf-8"},
  }};
  const std::string extension = file.extension().string();
  const auto found =
      std::ranges::find(kTypes, extension, [](const auto& type) { return type.first; });
  return found == kTypes.end() ? "application/octet-stream" : found->second;
}

// The file named by a request target, relative to the folder; nothing when it is not a name that a
// file of the page can have.
std::optional<std::string> relativeName(std::string_view target) {
  target = target.substr(0, target.find('?'));
  std::string path;
  for (std::size_t i = 0; i < target.size(); ++i) {
    char c = target[i];
    if (c == '%') {
      uint8_t value = 0;
      const char* digits = target.data() + i + 1;
      if (i + 2 >= target.size() ||
          std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2) {
        return std::nullopt;
      }
      c = static_cast<char>(value);
      i += 2;
    }
    if (static_cast<unsigned char>(c) < 0x20 || c == '\\') return std::nullopt;
    path += c;
  }
  if (!path.starts_with('/')) return std::nullopt;
  if (path.ends_with('/')) path += "index.html";
  for (std::size_t slash = 0; slash != std::string::npos; slash = path.find('/', slash + 1)) {
    const char first = path[slash + 1];  // the text's closing zero at worst
    if (first == '.' || first == '/' || first == '\0') return std::nullopt;
  }
  return path.substr(1);
}

bool isInside(const fs::path& file, const fs::path& folder) {
  const auto [end, rest] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
  return end == folder.end();
}

std::optional<std::string> readFile(const fs::path& folder, const std::string& name) {
  std::error_code error;
  const fs::path file = fs::canonical(folder / name, error);
  if (error || !isInside(file, folder) || !fs::is_regular_file(file, error)) return std::nullopt;
  const std::uintmax_t size = fs::file_size(file, error);
  if (error || size > kLargestFile) return std::nullopt;
  std::ifstream stream(file, std::ios::binary);
  std::string content(size, '\0');
  stream.read(content.data(), static_cast<std::streamsize>(size));
  if (stream.gcount() != static_cast<std::streamsize>(size)) return std::nullopt;
  return content;
}

// WebKit before 2022 does not let 'self' cover WebSockets, so the page's own address is named too,
// when it is one that can be written into a policy without changing its meaning.
std::string contentSecurityPolicy(std::string_view host) {
  const bool isPlain = !host.empty() && std::ranges::all_of(host, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
           c == '-' || c == ':' || c == '[' || c == ']';
  });
  std::string sockets;
  if (isPlain) sockets = " ws://" + std::string(host) + " wss://" + std::string(host);
  return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
         "media-src 'self' blob: mediastream:; connect-src 'self'" +
         sockets +
         "; manifest-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
}

FileAnswer plainAnswer(int status, std::string text) {
  return {status, {{"Content-Type", "text/plain; charset=utf-8"}}, std::move(text)};
}

bool namesTag(std::string_view ifNoneMatch, const std::string& tag) {
  return ifNoneMatch == "*" || ifNoneMatch.find(tag) != std::string_view::npos;
}

FileAnswer fileAnswer(const fs::path& folder, const FileRequest& request) {
  if (request.method != "GET" && request.method != "HEAD") {
    auto answer = plainAnswer(405, "Only GET and HEAD are served here.\n");
    answer.headers.emplace_back("Allow", "GET, HEAD");
    return answer;
  }
  if (folder.empty()) {
    return plainAnswer(404, "This server has no page: start it with --viewer DIR.\n");
  }
  const auto name = relativeName(request.target);
  auto content = name ? readFile(folder, *name) : std::nullopt;
  const auto digest = content ? sha256(*content) : std::nullopt;
  if (!digest) return plainAnswer(404, "There is no such file.\n");

  const std::string tag = '"' + toHex(digest->substr(0, 16)) + '"';
  FileAnswer answer;
  answer.headers = {{"ETag", tag}, {"Content-Type", std::string(mimeType(*name))}};
  if (namesTag(request.ifNoneMatch, tag)) {
    answer.status = 304;
  } else {
    answer.body = *std::move(content);
  }
  return answer;
}

}  // namespace

ViewerFiles::ViewerFiles(fs::path folder) {
  if (!folder.empty()) folder_ = fs::canonical(folder);
}

FileAnswer ViewerFiles::answer(const FileRequest& request) const {
  FileAnswer answer = fileAnswer(folder_, request);
  answer.headers.emplace_back("Cache-Control", "no-cache");
  answer.headers.emplace_back("Content-Security-Policy", contentSecurityPolicy(request.host));
  answer.headers.emplace_back("X-Content-Type-Options", "nosniff");
  answer.headers.emplace_back("Referrer-Policy", "no-referrer");
  return answer;
}

}  // namespace tovalin::server
