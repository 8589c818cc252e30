// Access list files: whatever the text, every entry of the list is a masked network that lets itself in.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vxa/vxa_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int file = memfd_create("acl", 0);
  if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  vesk_acl* list = _acl_create(path.c_str(), 0);
  close(file);
  if (!list) std::abort();

  int count = 0;
  for (const vesk_acl_entry* entry = list->first; entry; entry = entry->next, ++count) {
    if (entry->prefix < 0 || entry->prefix > 32 || _acl_search(list, entry->address) != 1) std::abort();
    if (!entry->next && entry != list->last) std::abort();
  }
  if (count != list->count) std::abort();
  while (list->first)
    if (_acl_del(list, list->first->address, list->first->prefix) != 1) std::abort();
  _acl_destroy(list);
  return 0;
}
