// Reading blocks of fixed-size records from a file.
#pragma once

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/heap.h"

namespace vxa {

inline bool read_item(std::FILE* file, void* to, std::int64_t size) {
  return std::fread(to, static_cast<std::size_t>(size), 1, file) == 1;
}

// What appending records has met, in the order of its steps.
enum class Appending {
  kDone,
  kNoTable,   // no memory for the larger table
  kNoBuffer,  // no memory for the records that are to be read
  kShortRead,
};

// Reads count records (one or more) behind the held ones of a table that grows by them. On failure the held ones are
// still there.
template <class T>
Appending append_records(HeapPtr<T>& table, int held, int count, std::FILE* file) {
  constexpr std::int64_t kRecord{sizeof(T)};
  if (count > INT_MAX - held || !heap_resize(table, kRecord * (held + count))) return Appending::kNoTable;
  const HeapPtr<T> block = heap_alloc<T>(kRecord * count);
  if (!block) return Appending::kNoBuffer;
  if (!read_item(file, block.get(), kRecord * count)) return Appending::kShortRead;
  std::memcpy(static_cast<void*>(table.get() + held), block.get(), static_cast<std::size_t>(kRecord * count));
  return Appending::kDone;
}

}  // namespace vxa
