#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tovalin::test {

// A folder of its own for one test, gone with its contents afterwards.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tovalin-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp failed");
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;  // nothing depends on it
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  void write(const std::string& name, std::string_view content) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << content;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace tovalin::test
