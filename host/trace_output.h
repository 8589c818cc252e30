// Where trace lines go: to standard error, or to the file that VXA_TRACE_FILE names.
//
// The line of a call is begun when the call is entered, so that one that never comes back is seen, and ended when it
// is left. Whatever is written in between breaks the line.
#pragma once

#include "host/line.h"

namespace vxa::host {

void begin_line(const Line& line);

// Ends the line, or writes a whole one.
void end_line(const Line& line);

// Whether a line was begun and is not yet ended or broken.
bool line_open();

// Ends an open line with dots.
void break_line();

}  // namespace vxa::host
