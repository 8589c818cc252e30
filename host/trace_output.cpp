// Writing trace lines, in one piece or in two.
#include "host/trace_output.h"

#include <fcntl.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "host/settings.h"

namespace vxa::host {

namespace {

bool open_line = false;

// The file is opened anew each time: the program may close descriptors that it does not know, and use their numbers.
void write_out(const Line& line, bool ends_line) {
  const char* path = setting("VXA_TRACE_FILE");
  if (!*path) return line.write_to(STDERR_FILENO, ends_line);
  const Descriptor file(open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (file) line.write_to(file.get(), ends_line);
}

}  // namespace

void begin_line(const Line& line) {
  write_out(line, false);
  open_line = true;
}

void end_line(const Line& line) {
  write_out(line, true);
  open_line = false;
}

bool line_open() { return open_line; }

void break_line() {
  if (!open_line) return;
  Line dots;
  dots.add(" ...");
  end_line(dots);
}

}  // namespace vxa::host
