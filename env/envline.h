// One line of an environment file, parsed.
#pragma once

#include <cstddef>

namespace vxa::env {

// Capacity of a line of the file, and of a label or an expanded assignment; the terminator counts.
inline constexpr std::size_t kLineSize = 1024;

enum class LineKind : int { Malformed = -1, Comment = 1, Section = 2, Common = 3, Assignment = 4, Blank = 5 };

struct Line {
  LineKind kind;
  char text[kLineSize];  // the label of a section, NAME=VALUE of an assignment
};

// Parses a line with or without its newline; variables that it refers to are replaced by their values as they are now.
// A malformed line is reported to the error log.
Line parse_line(const char* line);

}  // namespace vxa::env
