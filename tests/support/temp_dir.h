// A folder of its own for a test that needs files; removed with all that is in it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace host {

class TempDir {
 public:
  TempDir() {
    std::string name = std::filesystem::temp_directory_path() / "vxa-test-XXXXXX";
    path_ = mkdtemp(name.data());
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string path() const { return path_; }
  std::string path(const std::string& name) const { return path_ / name; }

  // Writes a file of that name and gives its path.
  std::string file(const std::string& name, std::string_view bytes) const {
    std::ofstream(path_ / name, std::ios::binary) << bytes;
    return path(name);
  }

  static std::string contents(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace host
