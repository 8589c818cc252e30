#include "tests/support/failing_heap.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

int left = 0;  // allocations of the library until the one that fails; 0: none is to fail, or it did

long live = 0;

bool called_by_library(const void* return_address) {
  Dl_info caller;
  return dladdr(return_address, &caller) != 0 && std::strstr(caller.dli_fname, "/libvxa.so") != nullptr;
}

bool to_fail(const void* return_address) {
  if (left == 0 || !called_by_library(return_address) || --left != 0) return false;
  errno = ENOMEM;
  return true;
}

void* counted(void* block) {
  live += block != nullptr;
  return block;
}

}  // namespace

namespace host {

void fail_allocation(int nth) { left = nth; }
bool allocation_failed() { return left == 0; }
long live_blocks() { return live; }

}  // namespace host

extern "C" void* malloc(std::size_t size) {
  return to_fail(__builtin_return_address(0)) ? nullptr : counted(__libc_malloc(size));
}
extern "C" void* calloc(std::size_t count, std::size_t size) {
  return to_fail(__builtin_return_address(0)) ? nullptr : counted(__libc_calloc(count, size));
}
extern "C" void* realloc(void* block, std::size_t size) {
  if (to_fail(__builtin_return_address(0))) return nullptr;
  return block ? __libc_realloc(block, size) : counted(__libc_malloc(size));
}
extern "C" void free(void* block) {
  live -= block != nullptr;
  __libc_free(block);
}
