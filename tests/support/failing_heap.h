// A heap that runs out where a test wants it to. Only for programs that link failing_heap.cpp, which takes the place of
// malloc, calloc, realloc and free; not under a sanitizer, which brings its own.
#pragma once

namespace host {

// While it lives, the nth allocation (from 1) that libvxa itself makes fails, and only that one. Allocations of the
// C library, of the test and of the host do not count.
class FailingHeap {
 public:
  explicit FailingHeap(int nth);
  ~FailingHeap();
  FailingHeap(const FailingHeap&) = delete;
  FailingHeap& operator=(const FailingHeap&) = delete;

  // Whether there were so many allocations.
  static bool failed();

  // Blocks that the process holds now, whoever made them.
  static long live_blocks();
};

}  // namespace host
