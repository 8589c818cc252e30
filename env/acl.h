// Access lists in memory: IPv4 networks that are let in, in order. Addresses are in network byte order.
#pragma once

#include <cstdint>
#include <memory>

#include "vxa/vxa_host.h"

namespace vxa::acl {

inline constexpr int kHostPrefix = 32;                          // a single address
inline constexpr std::uint32_t kNoAddress = ~std::uint32_t{0};  // what a text that is no address converts to

void destroy(vesk_acl* list);

struct Destroy {
  void operator()(vesk_acl* list) const { destroy(list); }
};
using ListPtr = std::unique_ptr<vesk_acl, Destroy>;

// An empty list; null, after a log record, when memory is short.
ListPtr create();

inline bool prefix_valid(long prefix) { return prefix >= 0 && prefix <= kHostPrefix; }

// As _acl_add: 1 added, 0 there already, -1 refused or no memory.
int add(vesk_acl* list, std::uint32_t address, int prefix);

}  // namespace vxa::acl
