#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "base/descriptor.h"
#include "base/file.h"

namespace vxa::tools {

namespace {

[[noreturn]] void fail(const std::string& path, int error) {
  throw std::runtime_error(path + ": " + std::generic_category().message(error));
}

// Where the bytes end up: behind symbolic links, and never in place of a device or a folder.
std::string target_of(const std::string& path) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  if (error) fail(path, error.value());
  if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target))
    throw std::runtime_error(path + ": not a regular file");
  return target.string();
}

// The permissions that the target has, or that a new file would get.
mode_t mode_of(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return status.st_mode & 0777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::string read_whole_file(const std::string& path) {
  const FilePtr file{std::fopen(path.c_str(), "rb")};
  if (!file) fail(path, errno);
  std::string bytes;
  char block[1 << 16];
  while (const std::size_t n = std::fread(block, 1, sizeof block, file.get())) bytes.append(block, n);
  if (std::ferror(file.get())) fail(path, errno);
  return bytes;
}

OutputFile::OutputFile(const std::string& path, const std::string& bytes)
    : path_(target_of(path)), aside_(path_ + ".XXXXXX") {
  const Descriptor fd{mkstemp(aside_.data())};
  if (!fd) fail(path, errno);
  if (!write_all(fd.get(), bytes) || fchmod(fd.get(), mode_of(path_)) != 0 || fsync(fd.get()) != 0) {
    const int error = errno;
    unlink(aside_.c_str());
    fail(path, error);
  }
}

OutputFile::~OutputFile() {
  if (!aside_.empty()) unlink(aside_.c_str());
}

void OutputFile::commit() {
  if (rename(aside_.c_str(), path_.c_str()) != 0) fail(path_, errno);
  aside_.clear();
}

}  // namespace vxa::tools
