// Operations on whole field buffers: copies, comparison, joins and projections.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "base/result.h"
#include "fb/fbcommon.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

enum class Join : int { Inner = FB_OP_JOIN, Outer = FB_OP_OUTER_JOIN, Update = FB_OP_UPDATE };

// Joins source into dest. FBEMALLOC, FBENOSPACE, or the code with which a record could not be put; dest is then as it
// was.
Outcome join(FieldBuffer dest, FieldBuffer source, Join kind);

// A record as joins see it. Lists of them end with an entry of key 0.
struct FieldEntry {
  std::uint32_t key;  // without the fetched mark
  std::int32_t mark;  // 1 once the entry has been matched
  char* slot;         // the record whose value the entry stands for
};

}  // namespace vxa::fb

VXA_EXPORT vxa::fb::FieldEntry* _make_flist(const void* buf);
VXA_EXPORT int _update_unchecked(vxa::fb::FieldEntry* list, const vxa::fb::FieldEntry* entry);
