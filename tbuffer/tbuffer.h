// Typed buffers: a view of the hidden header in front of the caller's data, and the operations behind tpalloc,
// tprealloc and tpfree for code inside the library.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "base/result.h"
#include "trace/api_call.h"
#include "vxa/xatmi.h"
#include "wire/header.h"

namespace vxa {

// An address that the heap may have given out.
inline bool is_heap_pointer(const void* pointer) {
  return pointer && reinterpret_cast<std::uintptr_t>(pointer) % 4 == 0;
}

// The caller's data pointer, seen as a typed buffer.
class TypedBuffer {
 public:
  explicit TypedBuffer(void* data) : data_(static_cast<char*>(data)) {}
  explicit TypedBuffer(const void* data) : TypedBuffer(const_cast<void*>(data)) {}
  static TypedBuffer at(MsgHeader* header) { return TypedBuffer{payload_of(header)}; }

  char* data() const { return data_; }
  MsgHeader* header() const { return reinterpret_cast<MsgHeader*>(data_ - kHeaderSize); }

  // Whether a live typed buffer lies here, as far as its address and its mark tell.
  bool alive() const { return data_ && is_heap_pointer(header()) && has_magic(header()); }

 private:
  char* data_;
};

// Bytes of the block that holds a typed buffer of that capacity.
inline constexpr std::int64_t typed_block_size(std::int64_t capacity) {
  return kHeaderSize + capacity + kTrailerReserve;
}

// What stands for the text of every typed-buffer and XATMI error.
inline constexpr const char* kTpErrorText = " ";

struct TpErrorDomain {
  static int get() { return tperrno; }
  static void set(int code) { tperrno = code; }
  static const char* text(int) { return kTpErrorText; }
};

using TpCall = ApiCall<TpErrorDomain>;

namespace tbuffer {

// As tpalloc, tprealloc and tpfree, untraced; a failure carries the tperrno number.
Result<char*> allocate(const char* type, const char* subtype, std::int32_t size);
Result<char*> resize(char* data, std::int32_t size);
void release(char* data);

// The capacity that resize would grant a live buffer.
Result<std::int64_t> resized_capacity(const char* data, std::int32_t size);

// Leaves in tperrno what the public call would have left there, for calls that are built on these operations.
template <class T>
inline Result<T> noted(Result<T> result) {
  tperrno = result.failed() ? result.code() : 0;
  return result;
}

}  // namespace tbuffer

// A row of the type table, which ends with a row of class -1.
struct TypeRow {
  const char* name;
  std::int32_t type_class;
  std::int32_t needs_subtype;
  std::int32_t minimum_size;
};

}  // namespace vxa

VXA_EXPORT const vxa::TypeRow _tmtypetab[];
VXA_EXPORT int _get_type_idx(const char* type, const char* subtype, int* struct_size);
VXA_EXPORT int _get_idx_from_typeno(int type_class);
VXA_EXPORT int _vesk_IsHeapPtr(const void* pointer);
