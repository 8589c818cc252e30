// Access lists in memory: adding, removing and asking.
#include "env/acl.h"

#include "base/bytes.h"
#include "base/heap.h"
#include "base/log.h"

namespace vxa::acl {

namespace {

using Entry = vesk_acl_entry;

// The mask of that many leading bits, in network byte order.
constexpr std::uint32_t mask_of(int prefix) {
  return prefix == 0 ? 0 : big_endian(~std::uint32_t{0} << (kHostPrefix - prefix));
}

template <class T>
HeapPtr<T> allocate(const char* code) {
  HeapPtr<T> block = heap_alloc_zeroed<T>(sizeof(T));
  if (!block)
    log_record(SystemError::Omit, 2, code, "0001 memory allocation error : size = %d", static_cast<int>(sizeof(T)));
  return block;
}

bool arguments_valid(const vesk_acl* list, std::uint32_t address, int prefix) {
  return list && address != kNoAddress && prefix_valid(prefix);
}

// An entry, and the one in front of it; entry is null when there is none.
struct Place {
  Entry* before;
  Entry* entry;
};

Place find(const vesk_acl* list, std::uint32_t network, int prefix) {
  Entry* before = nullptr;
  for (Entry* entry = list->first; entry; before = entry, entry = entry->next)
    if (entry->address == network && entry->prefix == prefix) return {before, entry};
  return {before, nullptr};
}

int remove(vesk_acl* list, std::uint32_t address, int prefix) {
  if (!arguments_valid(list, address, prefix)) return -1;
  const auto [before, entry] = find(list, address & mask_of(prefix), prefix);
  if (!entry) return 0;
  const HeapPtr<Entry> removed(entry);
  (before ? before->next : list->first) = entry->next;
  if (list->last == entry) list->last = before;
  --list->count;
  return 1;
}

bool allows(const vesk_acl* list, std::uint32_t address) {
  if (!list || address == kNoAddress) return false;
  for (const Entry* entry = list->first; entry; entry = entry->next)
    if ((address & mask_of(entry->prefix)) == entry->address) return true;
  return false;
}

}  // namespace

void destroy(vesk_acl* list) {
  const HeapPtr<vesk_acl> released(list);
  for (Entry* entry = list->first; entry;) {
    const HeapPtr<Entry> passed(entry);
    entry = entry->next;
  }
}

ListPtr create() { return ListPtr(allocate<vesk_acl>("COM0051").release()); }

int add(vesk_acl* list, std::uint32_t address, int prefix) {
  if (!arguments_valid(list, address, prefix)) return -1;
  const std::uint32_t network = address & mask_of(prefix);
  if (find(list, network, prefix).entry) return 0;
  Entry* entry = allocate<Entry>("COM0052").release();
  if (!entry) return -1;
  entry->address = network;
  entry->prefix = prefix;
  (list->last ? list->last->next : list->first) = entry;
  list->last = entry;
  ++list->count;
  return 1;
}

}  // namespace vxa::acl

using namespace vxa;

extern "C" int _acl_destroy(vesk_acl* list) {
  if (list) acl::destroy(list);
  return 1;
}

extern "C" int _acl_add(vesk_acl* list, std::uint32_t address, int prefix) { return acl::add(list, address, prefix); }

extern "C" int _acl_del(vesk_acl* list, std::uint32_t address, int prefix) {
  return acl::remove(list, address, prefix);
}

extern "C" int _acl_search(const vesk_acl* list, std::uint32_t address) { return acl::allows(list, address) ? 1 : 0; }
