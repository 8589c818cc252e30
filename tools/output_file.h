// Files that come into being whole or not at all.
#pragma once

#include <string>

namespace vxa::tools {

// The whole contents of a file. Throws std::runtime_error with the path and the reason.
std::string read_whole_file(const std::string& path);

// Bytes on their way into a file: written aside, in the folder of the target, and put in its place by commit(). Until
// then the target is as it was, and without commit() it stays so. Throws std::runtime_error with the path and reason.
class OutputFile {
 public:
  OutputFile(const std::string& path, const std::string& bytes);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void commit();

 private:
  std::string path_;
  std::string aside_;  // empty once it is in place
};

}  // namespace vxa::tools
