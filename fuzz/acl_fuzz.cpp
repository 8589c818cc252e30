// Access list files: whatever the text, every entry of the list is a masked network that lets itself in.
#include "fuzz/memory_file.h"
#include "vxa/vxa_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::MemoryFile file;
  file.hold(data, size);
  vesk_acl* list = _acl_create(file.path().c_str(), 0);
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
