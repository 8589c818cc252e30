// Access list files: one address or network a line.
#include <arpa/inet.h>
#include <strings.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/file.h"
#include "base/log.h"
#include "env/acl.h"

namespace vxa::acl {

namespace {

constexpr std::size_t kLineSize = 1024;

// Reads a line without its newline; what does not fit is dropped. False at the end of the file.
bool read_line(std::FILE* file, char (&line)[kLineSize]) {
  std::size_t length = 0;
  int c;
  while ((c = std::getc(file)) != EOF && c != '\n')
    if (length < kLineSize - 1) line[length++] = static_cast<char>(c);
  line[length] = '\0';
  return c != EOF || length > 0;
}

// The prefix that the text begins with. A text that does not begin with a number is refused like a number out of
// range, since 0 would let everyone in.
bool parse_prefix(const char* text, int& prefix) {
  char* end;
  const long number = std::strtol(text, &end, 10);
  prefix = static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
  if (end != text && prefix_valid(number)) return true;
  log_record(SystemError::Omit, 2, "COM0054", "0209 internal error : ACL parsing error - invalid mask(%d)", prefix);
  return false;
}

// Adds what the line names; a line that names nothing valid is reported and skipped. False when it cannot be added.
bool add_line(vesk_acl* list, char* line) {
  if (!*line || *line == '#') return true;
  if (strncasecmp(line, "all", 3) == 0) return add(list, 0, 0) >= 0;

  char* rest = line;
  const char* address_text = strtok_r(line, "/", &rest);
  const char* prefix_text = strtok_r(nullptr, "/", &rest);
  const std::uint32_t address = address_text ? inet_addr(address_text) : kNoAddress;
  if (address == kNoAddress) {
    log_record(SystemError::Omit, 2, "COM0053", "0209 internal error : ACL parsing error - invalid ip(%s)",
               address_text ? address_text : "");
    return true;
  }
  int prefix = kHostPrefix;
  if (prefix_text && !parse_prefix(prefix_text, prefix)) return true;
  return add(list, address, prefix) >= 0;
}

ListPtr read(std::FILE* file) {
  ListPtr list = create();
  if (!list) return nullptr;
  char line[kLineSize];
  while (read_line(file, line))
    if (!add_line(list.get(), line)) return nullptr;
  if (std::ferror(file)) return nullptr;
  return list;
}

ListPtr open(const char* path, bool create_missing) {
  FilePtr file(std::fopen(path, "re"));
  if (file) return read(file.get());
  if (!create_missing || errno != ENOENT) return nullptr;
  file.reset(std::fopen(path, "ae"));
  return file ? create() : nullptr;
}

bool append(const char* path, const char* address, int prefix) {
  char now[32];
  const time_t seconds = time(nullptr);
  if (!ctime_r(&seconds, now)) return false;
  FilePtr file(std::fopen(path, "ae"));
  if (!file) return false;
  const int written = prefix == 0 ? std::fprintf(file.get(), "\n#added by system, %s%s", now, address)
                                  : std::fprintf(file.get(), "\n#added by system, %s%s/%d", now, address, prefix);
  return std::fclose(file.release()) == 0 && written > 0;
}

}  // namespace

}  // namespace vxa::acl

using namespace vxa;

extern "C" vesk_acl* _acl_create(const char* path, int create_missing) {
  return path ? acl::open(path, create_missing != 0).release() : nullptr;
}

extern "C" int _acl_add_to_file(const char* path, const char* address, int prefix) {
  if (!path || !address || !acl::prefix_valid(prefix)) return -1;
  return acl::append(path, address, prefix) ? 1 : -1;
}

extern "C" int _acl_del_from_file() { return -1; }
