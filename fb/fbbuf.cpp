// Lifecycle of field buffers: allocation, initialisation, sizes, reallocation and release, on top of typed buffers.
#include "fb/fbcommon.h"
#include "fb/fberror.h"
#include "fb/fcache.h"

namespace vxa::fb {

namespace {

long buffer_size_for(int count, int datalen) { return kBufferHeader + 8 * static_cast<long>(count) + datalen; }

Outcome initialise(FieldBuffer buffer, int size) {
  const std::int32_t capacity = buffer.capacity();
  if (capacity < size) return Error{FBENOSPACE};
  if (capacity > 0) std::memset(buffer.data(), 0, static_cast<std::size_t>(capacity));
  buffer.reset();
  fcache::clear(buffer.data());
  return success();
}

Result<void*> allocate(int count, int datalen) {
  const auto size = static_cast<std::int32_t>(buffer_size_for(count, datalen));
  const Result<char*> data = tbuffer::noted(tbuffer::allocate("FIELD", "", size));
  if (data.failed()) return Error{FBEMALLOC};
  return static_cast<void*>(data.value());
}

Outcome release(void* buf) {
  if (!is_heap_pointer(buf)) return Error{FBEINVAL};
  FieldBuffer buffer{buf};
  if (!buffer.valid()) return Error{FBEINVAL};
  std::memset(buf, 0, kBufferHeader);
  tbuffer::release(buffer.data());
  return success();
}

// Refused when the fields in use would not fit the capacity that the size is granted.
Result<void*> resize(void* buf, int count, int datalen) {
  const auto size = static_cast<std::int32_t>(buffer_size_for(count, datalen));
  const FieldBuffer buffer{buf};
  const Result<std::int64_t> granted = tbuffer::resized_capacity(buffer.data(), size);
  if (!granted.failed() && buffer.valid() && buffer.used() > granted.value()) return Error{FBENOSPACE};
  const Result<char*> moved = tbuffer::noted(tbuffer::resize(buffer.data(), size));
  if (moved.failed()) return Error{FBEOS};
  return static_cast<void*>(moved.value());
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbisfbuf(const void* buf) {
  static constexpr ApiTexts texts{"fbisfbuf", "fbisfbuf(%#x)", nullptr, nullptr};
  const FbCall call{texts, buf};
  return buf && FieldBuffer{buf}.valid() ? call.done_as("fbisfbuf = 1", 1) : call.done_as("fbisfbuf = 0", 0);
}

extern "C" long fbcalcsize(int count, int datalen) {
  static constexpr ApiTexts texts{"fbcalcsize", "fbcalcsize(%d, %d)", "fbcalcsize = %d", nullptr};
  const FbCall call{texts, count, datalen};
  return call.done(buffer_size_for(count, datalen));
}

extern "C" int fbinit(void* buf, int size) {
  static constexpr ApiTexts texts{"fbinit", "fbinit(%#x, %d)", "fbinit = %d", "fbinit = -1 [%d : %s]"};
  const FbCall call{texts, buf, size};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(initialise(FieldBuffer{buf}, size));
}

extern "C" void* fballoc(int count, int datalen) {
  static constexpr ApiTexts texts{"fballoc", "fballoc(%d, %d)", "fballoc = %#x", "fballoc = NULL [%d : %s]"};
  const FbCall call{texts, count, datalen};
  return call.finish(allocate(count, datalen));
}

extern "C" int fbfree(void* buf) {
  static constexpr ApiTexts texts{"fbfree", "fbfree(%#x)", "fbfree = %d", "fbfree = -1 [%d : %s]"};
  const FbCall call{texts, buf};
  return call.finish(release(buf));
}

extern "C" long fbget_fbsize(const void* buf) {
  static constexpr ApiTexts texts{"fbget_fbsize", "fbget_fbsize(%#x)", "fbget_fbsize = %d",
                                  "fbget_fbsize = -1 [%d : %s]"};
  const FbCall call{texts, buf};
  if (!buf) return call.fail(FBEINVAL);
  return call.done(static_cast<long>(FieldBuffer{buf}.capacity()));
}

extern "C" long fbget_unused(const void* buf) {
  static constexpr ApiTexts texts{"fbget_unused", "fbget_unused(%#x)", "fbget_unused = %d",
                                  "fbget_unused = -1 [%d : %s]"};
  const FbCall call{texts, buf};
  if (!buf) return call.fail(FBEINVAL);
  const FieldBuffer buffer{buf};
  const std::uint32_t free_bytes =
      static_cast<std::uint32_t>(buffer.capacity()) - static_cast<std::uint32_t>(buffer.used());
  return call.done(static_cast<long>(static_cast<std::int32_t>(free_bytes)));
}

extern "C" long fbget_used(const void* buf) {
  static constexpr ApiTexts texts{"fbget_used", "fbget_used(%#x)", "fbget_used = %d", "fbget_used = -1 [%d : %s]"};
  const FbCall call{texts, buf};
  if (!buf) return call.fail(FBEINVAL);
  return call.done(static_cast<long>(FieldBuffer{buf}.used()));
}

extern "C" void* fbrealloc(void* buf, int count, int datalen) {
  static constexpr ApiTexts texts{"fbrealloc", "fbrealloc(%#x, %d, %d)", "fbrealloc = %#x",
                                  "fbrealloc = NULL [%d : %s]"};
  const FbCall call{texts, buf, count, datalen};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(resize(buf, count, datalen));
}
