// A heap that runs out where a test wants it to. Only for programs that link failing_heap.cpp, which takes the place of
// malloc, calloc, realloc and free; not under a sanitizer, which brings its own.
#pragma once

namespace host {

// The nth allocation (from 1) that libvxa itself makes from now on fails, and only that one; 0: none. Allocations of
// the C library, of the test and of the host do not count.
void fail_allocation(int nth);

// Whether it came to that allocation.
bool allocation_failed();

// Blocks that the process holds now, whoever made them.
long live_blocks();

}  // namespace host
