// Environment files: settings that a process takes into its environment when it starts.
#include <cstdlib>
#include <cstring>

#include "base/file.h"
#include "base/heap.h"
#include "base/log.h"
#include "env/envline.h"
#include "vxa/vxa_host.h"

namespace vxa::env {

namespace {

// The environment keeps the block from here on, for good.
bool put_into_environment(const char* assignment) {
  const std::size_t length = std::strlen(assignment);
  HeapPtr<char> block = heap_alloc<char>(static_cast<std::int64_t>(length) + 1);
  if (!block) {
    log_record(SystemError::Omit, 2, "COM0036", "0002 memory allocation error : size = %d", static_cast<int>(length));
    return false;
  }
  std::memcpy(block.get(), assignment, length + 1);
  if (putenv(block.get()) != 0) {
    log_record(SystemError::Omit, 2, "COM0037", "0101 putenv error : ", assignment);
    return false;
  }
  (void)block.release();
  return true;  // NOLINT(clang-analyzer-unix.Malloc): the environment has it now
}

void report_unreadable(const char* path) {
  log_record(SystemError::Append, 2, "COM0035", "0010 file open error : %s", path);
}

// Puts the assignments that apply to that section (null: none) into the environment. How many, -1 on failure.
int apply_file(const char* path, const char* section) {
  const FilePtr file(std::fopen(path, "re"));
  if (!file) {
    report_unreadable(path);
    return -1;
  }
  int applied = 0;
  bool applying = true;
  char text[kLineSize];
  while (std::fgets(text, sizeof text, file.get())) {
    const Line line = parse_line(text);
    if (line.kind == LineKind::Common) applying = true;
    if (line.kind == LineKind::Section) applying = section && std::strcmp(section, line.text) == 0;
    if (line.kind != LineKind::Assignment || !applying) continue;
    if (!put_into_environment(line.text)) return -1;
    ++applied;
  }
  if (std::ferror(file.get())) {
    report_unreadable(path);
    return -1;
  }
  return applied;
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" int _set_veskenv(const char* path, const char* section) {
  if (!path) return -1;
  return env::apply_file(path, section) > 0 ? 1 : -1;
}

extern "C" int _process_env_line(const char* line, char* out) {
  if (!line || !out) return -1;
  const env::Line parsed = env::parse_line(line);
  if (parsed.kind == env::LineKind::Section || parsed.kind == env::LineKind::Assignment) std::strcpy(out, parsed.text);
  return static_cast<int>(parsed.kind);
}
