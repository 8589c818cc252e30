// Structs from field buffers and back: element i of a member is occurrence i of the member's field.
#include <algorithm>

#include "base/heap.h"
#include "fb/fbbufop.h"
#include "fb/fberror.h"
#include "fb/fbtconv.h"
#include "fb/fcache.h"
#include "fb/fields.h"
#include "fb/scratch.h"
#include "sdl/member.h"
#include "tbuffer/tbuffer.h"

namespace vxa::sdl {

namespace {

using fb::FieldBuffer;
using fb::Value;

constexpr int kAddOnly = 4;              // the mode of fbstof that is no join
constexpr std::int64_t kWorkFactor = 4;  // bytes of work buffer for a byte of struct

Result<const StructRow*> describe(const char* name) {
  const StructRow* row = find_struct(name);
  if (!row) return Error{FBEBADSTRUCT};
  return row;
}

// ---- Fields to a struct

// Occurrence i as the member's type. A long of the buffer becomes one of the struct in the given place, without sign.
Result<Value> fetch(FieldBuffer buffer, const Member& member, int i, std::uint64_t& as_long) {
  if (member.type() != member.key().type()) return fb::value_as(buffer.data(), member.key(), i, member.type());
  const fb::Record record = fb::find(buffer, member.key(), i);
  if (!record) return Error{FBENOENT};
  if (member.type() != fb::kLong) return Value{record.value(), static_cast<int>(record.value_length())};
  as_long = load<std::uint32_t>(record.value());
  return Value{&as_long, sizeof as_long};
}

// A carray field leaves the rest of an element as it is, any other text fills it with zero bytes.
void store_value(const Member& member, char* element, Value value) {
  const auto width = static_cast<std::size_t>(member.width());
  if (!member.is_text())
    std::memcpy(element, value.at, width);
  else if (member.key().type() == fb::kCarray)
    std::memcpy(element, value.at, std::min(width, static_cast<std::size_t>(value.length)));
  else
    std::strncpy(element, static_cast<const char*>(value.at), width);
}

// What the last lookup found stays in fberror, though a missing field is no failure.
void fill_struct(FieldBuffer buffer, void* record, const StructRow& row) {
  for (const MemberRow& member_row : members_of(row)) {
    const Member member{member_row};
    for (int i = 0; i < member.elements(); ++i) {
      std::uint64_t as_long = 0;
      const Result<Value> value = fetch(buffer, member, i, as_long);
      fberror = value.code();
      if (value)
        store_value(member, member.element(record, i), value.value());
      else
        member.store_null(member.element(record, i));
    }
  }
  fb::scratch::release_oversized();
}

// ---- A struct to fields

Outcome put_converted(FieldBuffer buffer, const Member& member, Value value) {
  if (member.type() == member.key().type()) return fb::put(buffer, member.key(), value);
  const Result<Value> converted = fb::convert(member.key().type(), member.type(), value);
  if (converted.failed()) return converted.error();
  const Outcome stored = fb::put(buffer, member.key(), converted.value());
  fb::scratch::release_oversized();
  return stored;
}

// A string that fills its element has no terminator there: a copy gets one.
Outcome add_element(FieldBuffer buffer, const Member& member, const char* element) {
  const int length = member.is_text() || member.type() == fb::kChar ? static_cast<int>(member.width()) : 0;
  const auto width = static_cast<std::size_t>(member.width());
  if (member.type() != fb::kString || strnlen(element, width) < width)
    return put_converted(buffer, member, Value{element, length});
  const HeapPtr<char> terminated = heap_alloc_zeroed<char>(member.width() + 1);
  if (!terminated) return Error{FBEMALLOC};
  std::memcpy(terminated.get(), element, width);
  return put_converted(buffer, member, Value{terminated.get(), length});
}

// Adds the elements that are not null. One that cannot be added is left out; what became of the last stays in fberror.
void add_members(FieldBuffer buffer, const void* record, std::span<const MemberRow> members) {
  for (const MemberRow& row : members) {
    const Member member{row};
    for (int i = 0; i < member.elements(); ++i) {
      const char* element = member.element(record, i);
      if (!member.is_null(element)) fberror = add_element(buffer, member, element).code();
    }
  }
}

// The join's result, 1 or -1 with its code in fberror. Fails when there is no work buffer.
Result<int> join_struct(FieldBuffer buffer, const void* record, fb::Join mode, const StructRow& row) {
  const std::int64_t size = kWorkFactor * row.host_size;
  if (size > INT32_MAX) return Error{FBEMALLOC};
  const Result<char*> work = tbuffer::noted(tbuffer::allocate("FIELD", "", static_cast<std::int32_t>(size)));
  if (work.failed()) return Error{FBEMALLOC};
  add_members(FieldBuffer{work.value()}, record, members_of(row));
  fcache::clear(buffer.data());
  const Outcome joined = fb::join(buffer, FieldBuffer{work.value()}, mode);
  tbuffer::release(work.value());
  fberror = joined.code();
  return joined ? 1 : -1;
}

// ---- Null values

Outcome set_null(void* record, const char* member_name, const char* name) {
  const Result<const StructRow*> row = describe(name);
  if (row.failed()) return row.error();
  if (!record) return Error{FBEINVAL};
  for (const MemberRow& member_row : members_of(*row.value())) {
    const Member member{member_row};
    if (member_name && !member.named(member_name)) continue;
    for (int i = 0; i < member.elements(); ++i) member.store_null(member.element(record, i));
  }
  return success();
}

// Whether an occurrence of a member is zero. A member that the struct lacks fails without a code.
Result<int> test_zero(const void* record, const char* member_name, int occurrence, const StructRow& row) {
  for (const MemberRow& member_row : members_of(row)) {
    const Member member{member_row};
    if (!member.named(member_name)) continue;
    if (!member.has_occurrence(occurrence)) return Error{FBEBADSTRUCT};
    if (fb::type_known(member.type())) return member.is_zero(record, occurrence) ? 1 : 0;
  }
  return Error{FBEMINNO};
}

const char* shown(const char* text) { return text ? text : ""; }
bool named(const char* text) { return text && *text; }

// The calls that report every outcome as a return.
int returned(const FbCall& call, const Outcome& outcome) {
  fberror = outcome.code();
  return call.done(outcome ? 1 : -1);
}

}  // namespace

}  // namespace vxa::sdl

using namespace vxa;
using namespace vxa::sdl;

extern "C" int fbftos(const void* buf, void* record, const char* name) {
  static constexpr ApiTexts texts{"fbftos", "fbftos(%#x, %#x, \"%s\")", "fbftos = %d", "fbftos = -1 [%d : %s]"};
  static constexpr ApiTexts nameless{"fbftos", "fbftos(%#x, %#x, \"\")", texts.success, texts.failure};
  const FbCall call{named(name) ? texts : nameless, buf, record, shown(name)};
  if (!buf) return call.fail(FBEINVAL);
  const Result<const StructRow*> row = describe(name);
  if (row.failed()) return call.fail(row.code());
  if (!record) return call.fail(FBEINVAL);
  fill_struct(FieldBuffer{buf}, record, *row.value());
  return call.done(1);
}

extern "C" int fbstof(void* buf, const void* record, int mode, const char* name) {
  static constexpr ApiTexts texts{"fbstof", "fbstof(%#x, %#x, %d, \"%s\")", "fbstof = %d", "fbstof = -1 [%d : %s]"};
  static constexpr ApiTexts nameless{"fbstof", "fbstof(%#x, %#x, %d, \"\")", texts.success, texts.failure};
  const FbCall call{named(name) ? texts : nameless, buf, record, mode, shown(name)};
  if (!buf) return call.fail(FBEINVAL);
  const Result<const StructRow*> row = describe(name);
  if (row.failed()) return call.fail(row.code());
  if (!record) return call.fail(FBEINVAL);
  const FieldBuffer buffer{buf};
  if (mode == kAddOnly) {
    add_members(buffer, record, members_of(*row.value()));
    return call.done(1);
  }
  if (mode < FB_OP_JOIN || mode > FB_OP_UPDATE) return call.fail(FBEINVAL);
  return call.finish(join_struct(buffer, record, static_cast<fb::Join>(mode), *row.value()));
}

extern "C" int fbsnull(const void* record, const char* member, int occurrence, const char* name) {
  static constexpr ApiTexts texts{"fbsnull", "fbsnull(%#x, \"%s\", %d, \"%s\")", nullptr, "fbsnull = -1 [%d : %s]"};
  const FbCall call{texts, record, shown(member), occurrence, shown(name)};
  const Result<const StructRow*> row = describe(name);
  if (row.failed()) return call.fail(row.code());
  if (!record || !member) return call.fail(FBEINVAL);
  const Result<int> zero = test_zero(record, member, occurrence, *row.value());
  if (zero.failed()) return call.fail(zero.code());
  return zero.value() ? call.done_as("fbsnull = 1", 1) : call.done_as("fbsnull = 0", 0);
}

extern "C" int fbstinit(void* record, const char* name) {
  static constexpr ApiTexts texts{"fbstinit", "fbstinit(%#x, \"%s\")", "fbstinit = %d", nullptr};
  const FbCall call{texts, record, shown(name)};
  return returned(call, set_null(record, nullptr, name));
}

extern "C" int fbstelinit(void* record, const char* member, const char* name) {
  static constexpr ApiTexts texts{"fbstelinit", "fbstelinit(%#x, \"%s\", \"%s\")", "fbstelinit = %d", nullptr};
  const FbCall call{texts, record, shown(member), shown(name)};
  return returned(call, set_null(record, member, name));
}

VXA_EXPORT int _vstof_concat(void* buf, const void* record, int first, int last) {
  add_members(FieldBuffer{buf}, record, members_between(first, last));
  return 1;
}

VXA_EXPORT int _vsinit(void* record, const char* member, const char* name) {
  const Outcome outcome = set_null(record, member, name);
  if (outcome.failed()) fberror = outcome.code();
  return outcome ? 1 : -1;
}
