#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tovalin::server {

// The part of an HTTP request that decides its answer.
struct FileRequest {
  std::string_view method;
  std::string_view target;       // as it stands in the request line
  std::string_view ifNoneMatch;  // header values, empty when absent
  std::string_view host;
};

// An answer without its transport. To a HEAD request, `body` is what a GET would have had.
struct FileAnswer {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

// The viewer's page, read from one folder. Nothing outside it, and nothing whose name begins with
// a dot, can be reached, not through links either.
class ViewerFiles {
 public:
  // Empty: every page is missing, with a text that says why.
  explicit ViewerFiles(std::filesystem::path folder);

  // Never throws for what a request can contain; a file that cannot be read is missing.
  FileAnswer answer(const FileRequest& request) const;

 private:
  std::filesystem::path folder_;  // canonical, or empty
};

}  // namespace tovalin::server
