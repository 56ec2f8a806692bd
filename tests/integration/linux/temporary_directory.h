#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tovalin::test {

// An empty directory, removed with everything in it at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "tovalin-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = name;
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline void writeFile(const std::filesystem::path& file, const std::string& content) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}

inline std::string readFile(const std::filesystem::path& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

inline int modeOf(const std::filesystem::path& file) {
  return static_cast<int>(std::filesystem::status(file).permissions());
}

inline size_t filesIn(const std::filesystem::path& directory) {
  const std::filesystem::directory_iterator files(directory);
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

}  // namespace tovalin::test
