// The path helpers, and the names of the manager's files below the installation directory.
#include "env/paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "vxa/vxa_host.h"

namespace vxa::env {

namespace {

constexpr bool is_separator(char c) { return c == '/' || c == '\\'; }

// The write position after a separator that follows the text in [begin, end).
char* after_separator(char* begin, char* end) {
  const std::string_view written(begin, static_cast<std::size_t>(end - begin));
  if (written.ends_with('/')) return end;
  if (written.ends_with("/.")) return end - 1;
  if (written.ends_with("/..") && written.size() >= 4) {
    const std::string_view before(begin, written.size() - 3);
    const std::size_t slash = before.rfind('/');
    if (slash != before.npos) return begin + slash + 1;
  }
  *end = '/';
  return end + 1;
}

// The path is the first length characters, fewer than kPathSize.
int create_directory(const char* path, std::size_t length) {
  while (length > 0 && is_separator(path[length - 1])) --length;
  char directory[kPathSize];
  std::memcpy(directory, path, length);
  directory[length] = '\0';

  if (mkdir(directory, 0777) == 0) return 0;
  if (errno != ENOENT) return -1;
  const char* parent_end = last_separator(directory);
  if (!parent_end || parent_end == directory) return -1;
  if (create_directory(directory, static_cast<std::size_t>(parent_end - directory)) != 0) return -1;
  return mkdir(directory, 0777);
}

// Writes the manager's file of that name: in VESK_PATHDIR, else in the path directory below VESKDIR.
int manager_file(char* out, const char* name) {
  if (!out) return -1;
  const char* directory = std::getenv("VESK_PATHDIR");
  const char* below = "";
  if (!directory) {
    directory = std::getenv("VESKDIR");
    below = "path/";
  }
  if (!directory) return -1;
  std::strcpy(out, directory);
  end_with_slash(out);
  std::strcat(out, below);
  std::strcat(out, name);
  return 1;
}

}  // namespace

const char* last_separator(const char* path) {
  const char* last = nullptr;
  for (; *path; ++path)
    if (is_separator(*path)) last = path;
  return last;
}

bool end_with_slash(char* path) {
  const std::size_t length = std::strlen(path);
  if (length > 0 && path[length - 1] == '/') return true;
  std::strcpy(path + length, "/");
  return false;
}

void normalise(char* path) {
  char* end = path;
  for (const char* from = path; *from; ++from) {
    if (is_separator(*from))
      end = after_separator(path, end);
    else
      *end++ = *from;
  }
  *end = '\0';
}

}  // namespace vxa::env

using namespace vxa;

extern "C" int _slash_check(char* path) {
  if (!path) return -1;
  return env::end_with_slash(path) ? 1 : 0;
}

extern "C" char* _vesk_path_prefix(const char* path) {
  static char prefix[env::kPathSize];
  if (!path || std::strlen(path) >= sizeof prefix) return nullptr;
  const char* separator = env::last_separator(path);
  if (!separator) return nullptr;
  const auto length = static_cast<std::size_t>(separator + 1 - path);
  std::memcpy(prefix, path, length);
  prefix[length] = '\0';
  return prefix;
}

extern "C" char* _vesk_path_basename(const char* path) {
  if (!path || !*path) return nullptr;
  const char* separator = env::last_separator(path);
  return const_cast<char*>(separator ? separator + 1 : path);
}

extern "C" int _vesk_create_dir(const char* path) {
  if (!path) return -1;
  const std::size_t length = std::strlen(path);
  return length < env::kPathSize ? env::create_directory(path, length) : -1;
}

extern "C" void _vesk_conv_slash(char* path) {
  if (path) std::replace(path, path + std::strlen(path), '\\', '/');
}

extern "C" int _vesk_proc_path(char* path) {
  if (!path) return -1;
  env::normalise(path);
  return 1;
}

extern "C" int _get_vmm_path(char* out) { return env::manager_file(out, "vmmd"); }

extern "C" int _vesk_vmm_lockfile(char* out) { return env::manager_file(out, "vmmld"); }
