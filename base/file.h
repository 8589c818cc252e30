// Ownership of a stdio stream.
#pragma once

#include <cstdio>
#include <memory>

namespace vxa {

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using FilePtr = std::unique_ptr<std::FILE, FileClose>;

}  // namespace vxa
