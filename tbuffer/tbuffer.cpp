// Typed buffers: the type table, allocation with the hidden header, resizing, inspection and release.
//
// A buffer is one block: the message header, the data, and a reserve for trailers. It is therefore already a message.
#include "tbuffer/tbuffer.h"

#include <algorithm>
#include <cstring>

#include "base/heap.h"
#include "fb/fbheader.h"
#include "fb/fcache.h"
#include "sdl/sdltable.h"

std::int32_t tperrno = 0;

const vxa::TypeRow _tmtypetab[] = {
    {"STRUCT", vxa::payload::kStruct, 1, 1024},    {"FIELD", vxa::payload::kField, 0, 1024},
    {"FML", vxa::payload::kField, 0, 1024},        {"STRING", vxa::payload::kString, 0, 1024},
    {"VIEW", vxa::payload::kStruct, 1, 1024},      {"FML32", vxa::payload::kField, 0, 1024},
    {"TPSTART", vxa::payload::kStart, 0, 76},      {"TPINIT", vxa::payload::kStart, 0, 108},
    {"HEADER", vxa::payload::kHeaderOnly, 0, 136}, {"X_C_TYPE", vxa::payload::kStruct, 1, 1024},
    {"X_COMMON", vxa::payload::kStruct, 1, 1024},  {"CARRAY", vxa::payload::kCarray, 0, 1024},
    {"X_OCTET", vxa::payload::kCarray, 0, 1024},   {"", -1, 0, 1024},
};

namespace vxa::tbuffer {

namespace {

constexpr int kNoRow = -1;
constexpr std::int32_t kEndOfTable = -1;
constexpr std::int64_t kFieldHeader = 8;  // what a field buffer gets beyond the size that was asked for

template <class Predicate>
const TypeRow* first_row(Predicate matches) {
  for (const TypeRow* row = _tmtypetab; row->type_class != kEndOfTable; ++row)
    if (matches(*row)) return row;
  return nullptr;
}

const TypeRow* row_named(const char* name) {
  return first_row([=](const TypeRow& row) { return std::strcmp(row.name, name) == 0; });
}

// The first row of a class, whose name stands for the class.
const TypeRow* canonical_row(std::int32_t type_class) {
  return first_row([=](const TypeRow& row) { return row.type_class == type_class; });
}

int index_of(const TypeRow* row) { return row ? static_cast<int>(row - _tmtypetab) : kNoRow; }

std::int32_t struct_size_of(const char* subtype) {
  const sdl::StructRow* described = sdl::find_struct(subtype);
  return described ? described->host_size : -1;
}

// Read anew for every buffer: a program may change it between two.
std::int64_t string_extra() {
  const char* setting = std::getenv("VESK_STRING_NULL");
  return setting && (*setting == 'Y' || *setting == 'y') ? 1 : 0;
}

std::int64_t granted_capacity(const TypeRow& row, std::int32_t size) {
  std::int64_t capacity = row.minimum_size;
  if (row.minimum_size <= size)
    capacity = std::int64_t{size} + (row.type_class == payload::kString ? string_extra() : 0);
  return row.type_class == payload::kField ? capacity + kFieldHeader : capacity;
}

// The header's size word is 32 bits wide.
bool capacity_possible(std::int64_t capacity) { return capacity >= 0 && capacity <= INT32_MAX; }

// The data bytes that were there before a resize, free of the reserve that a trailer adds to the size word. A trailer
// that has been resized already adds none: the size word was set anew, and the reserve marked as free.
std::int64_t old_capacity(const MsgHeader* header) {
  const bool reserve_counted = (header->reqctl & (kTrailerPresent | kTrailerFree)) == kTrailerPresent;
  return std::int64_t{header->size} - (reserve_counted ? kTrailerReserve : 0);
}

// Cuts a string to the size that was asked for and ends the buffer with a terminator.
void terminate_string(char* data, std::int32_t size, std::int64_t capacity) {
  if (size >= 1) data[size - 1] = 0;
  data[capacity - 1] = 0;
}

}  // namespace

Result<char*> allocate(const char* type, const char* subtype, std::int32_t size) {
  if (!type) return Error{TPEINVAL};
  char name[sdl::kNameLength + 1] = {};
  if (subtype) std::strncpy(name, subtype, sdl::kNameLength);
  const TypeRow* row = row_named(type);
  const std::int32_t struct_size = row && row->needs_subtype ? struct_size_of(name) : 0;
  if (!row || struct_size < 0) return Error{TPENOENT};

  const std::int64_t capacity = granted_capacity(*row, struct_size != 0 ? std::max(size, struct_size) : size);
  if (!capacity_possible(capacity)) return Error{TPEOS};
  HeapPtr<MsgHeader> block = heap_alloc<MsgHeader>(typed_block_size(capacity));
  if (!block) return Error{TPEOS};
  MsgHeader* header = block.release();
  std::memset(static_cast<void*>(header), 0, static_cast<std::size_t>(kHeaderSize + capacity));
  header->magic = kMessageMagic;
  header->type = row->type_class;
  header->size = static_cast<std::int32_t>(capacity);
  header->reqctl = kTrailerFree;
  if (struct_size != 0) std::memcpy(header->subtype, name, sizeof header->subtype);

  char* data = payload_of(header);
  if (header->type == payload::kField) {
    fb::write_empty(data);
    fcache::clear(data);
  }
  return data;
}

Result<std::int64_t> resized_capacity(const char* data, std::int32_t size) {
  const TypedBuffer buffer{data};
  if (!buffer.alive()) return Error{TPEINVAL};
  const TypeRow* row = canonical_row(buffer.header()->type);
  if (!row) return Error{TPENOENT};
  const std::int64_t capacity = granted_capacity(*row, size);
  if (!capacity_possible(capacity)) return Error{TPEOS};
  return capacity;
}

Result<char*> resize(char* data, std::int32_t size) {
  const Result<std::int64_t> granted = resized_capacity(data, size);
  if (granted.failed()) return granted.error();
  const std::int64_t capacity = granted.value();
  const std::int64_t before = old_capacity(TypedBuffer{data}.header());
  const bool field = TypedBuffer{data}.header()->type == payload::kField;

  if (field) fcache::clear(data);
  void* moved = std::realloc(TypedBuffer{data}.header(), static_cast<std::size_t>(typed_block_size(capacity)));
  if (!moved) return Error{TPEOS};
  MsgHeader* header = static_cast<MsgHeader*>(moved);
  data = payload_of(header);
  if (capacity > before && before >= 0) std::memset(data + before, 0, static_cast<std::size_t>(capacity - before));
  header->size = static_cast<std::int32_t>(capacity);
  header->reqctl |= kTrailerFree;
  if (header->type == payload::kString) terminate_string(data, size, capacity);
  if (field) fcache::clear(data);
  return data;
}

void release(char* data) {
  const TypedBuffer buffer{data};
  if (!buffer.alive()) return;
  MsgHeader* header = buffer.header();
  if (header->type == payload::kField) fcache::clear(data);
  header->magic = 0;
  std::free(header);
}

}  // namespace vxa::tbuffer

using namespace vxa;

extern "C" int _get_type_idx(const char* type, const char* subtype, int* struct_size) {
  const TypeRow* row = type ? tbuffer::row_named(type) : nullptr;
  if (!row || !row->needs_subtype) return tbuffer::index_of(row);
  *struct_size = tbuffer::struct_size_of(subtype);
  return *struct_size < 0 ? tbuffer::kNoRow : tbuffer::index_of(row);
}

extern "C" int _get_idx_from_typeno(int type_class) { return tbuffer::index_of(tbuffer::canonical_row(type_class)); }

extern "C" int _vesk_IsHeapPtr(const void* pointer) { return is_heap_pointer(pointer) ? 1 : 0; }

extern "C" const char* tpstrerror(int) { return kTpErrorText; }

extern "C" char* tpalloc(const char* type, const char* subtype, long size) {
  static constexpr ApiTexts texts{"tpalloc", "tpalloc(\"%s\", \"%s\", %d)", "tpalloc = %#x",
                                  "tpalloc = NULL [%d : %s]"};
  static constexpr ApiTexts plain{"tpalloc", "tpalloc(\"%s\", \"\", %d)", texts.success, texts.failure};
  const char* type_text = type ? type : "";
  const TpCall call = subtype && *subtype ? TpCall{texts, type_text, subtype, size} : TpCall{plain, type_text, size};
  return call.finish(tbuffer::allocate(type, subtype, static_cast<std::int32_t>(size)));
}

extern "C" char* tprealloc(char* ptr, long size) {
  static constexpr ApiTexts texts{"tprealloc", "tprealloc(%#x, %d)", "tprealloc = %#x", "tprealloc = NULL [%d : %s]"};
  const TpCall call{texts, ptr, size};
  return call.finish(tbuffer::resize(ptr, static_cast<std::int32_t>(size)));
}

// Unlike its siblings it leaves tperrno alone unless it fails.
extern "C" long tptypes(const char* ptr, char* type, char* subtype) {
  static constexpr ApiTexts texts{"tptypes", "tptypes(%#x, %#x, %#x)", "tptypes = %d", "tptypes = %d [%d : %s]"};
  const TpCall call{keep_code, texts, static_cast<const void*>(ptr), type, subtype};
  const TypedBuffer buffer{ptr};
  const TypeRow* row = buffer.alive() ? tbuffer::canonical_row(buffer.header()->type) : nullptr;
  if (!buffer.alive() || (type && !row)) return call.fail_with(-1L, TPEINVAL);
  if (type) std::strcpy(type, row->name);
  if (subtype) std::memcpy(subtype, buffer.header()->subtype, sizeof buffer.header()->subtype);
  return call.done(static_cast<long>(buffer.header()->size));
}

// Says the same on every return, whether it released anything or not, and leaves tperrno alone.
extern "C" void tpfree(char* ptr) {
  static constexpr ApiTexts texts{"tpfree", "tpfree(%#x)", "tpfree", nullptr};
  const TpCall call{keep_code, texts, ptr};
  tbuffer::release(ptr);
  call.done_as(texts.success, 0);
}
