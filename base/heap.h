// Ownership of blocks from the C heap: the library allocates with malloc alone, because callers and the library hand
// blocks to each other, and because every failure must be seen.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vxa {

struct HeapFree {
  void operator()(void* block) const { std::free(block); }
};

template <class T>
using HeapPtr = std::unique_ptr<T, HeapFree>;

// Sizes are computed in 64 bits by the callers; one that is negative or that no address space holds is refused here,
// so that no caller converts an unchecked size.
inline constexpr bool heap_size_possible(std::int64_t bytes) { return bytes >= 0 && bytes <= PTRDIFF_MAX; }

template <class T = void>
inline HeapPtr<T> heap_alloc(std::int64_t bytes) {
  if (!heap_size_possible(bytes)) return nullptr;
  return HeapPtr<T>(static_cast<T*>(std::malloc(static_cast<std::size_t>(bytes))));
}

template <class T = void>
inline HeapPtr<T> heap_alloc_zeroed(std::int64_t bytes) {
  if (!heap_size_possible(bytes)) return nullptr;
  return HeapPtr<T>(static_cast<T*>(std::calloc(1, static_cast<std::size_t>(bytes))));
}

// Resizes the block in place of the pointer. On failure the block is untouched and stays owned.
template <class T>
inline bool heap_resize(HeapPtr<T>& block, std::int64_t bytes) {
  if (!heap_size_possible(bytes)) return false;
  void* moved = std::realloc(block.get(), static_cast<std::size_t>(bytes));
  if (!moved) return false;
  (void)block.release();
  block.reset(static_cast<T*>(moved));
  return true;
}

}  // namespace vxa
