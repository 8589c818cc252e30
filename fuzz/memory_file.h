// A file in memory, for the targets whose input the library opens by its path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace fuzz {

class MemoryFile {
 public:
  const std::string& path() const { return path_; }

  // Takes the place of what was in it.
  void hold(const void* data, std::size_t size) const {
    if (ftruncate(fd_, 0) != 0 || pwrite(fd_, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  }

 private:
  const int fd_ = memfd_create("input", 0);  // for the life of the process
  const std::string path_ = "/proc/self/fd/" + std::to_string(fd_);
};

}  // namespace fuzz
