// Files of a test, in a folder that goes with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace host {

class Folder {
 public:
  Folder() {
    std::string path = (std::filesystem::temp_directory_path() / "vxa-test-XXXXXX").string();
    if (!mkdtemp(path.data())) throw std::runtime_error("no folder for test files");
    path_ = path;
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string path(const std::string& name) const { return (path_ / name).string(); }

  // Writes the file and gives its path.
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream{path(name), std::ios::binary} << bytes;
    return path(name);
  }
  std::string read(const std::string& name) const {
    std::ifstream file{path(name), std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace host
