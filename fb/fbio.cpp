// Field buffers as byte images on a stream: the hidden header and the whole capacity, as they lie in memory.
#include <algorithm>
#include <cstdio>

#include "base/heap.h"
#include "fb/fbcommon.h"
#include "fb/fberror.h"
#include "fb/fcache.h"

namespace vxa::fb {

namespace {

Outcome write_image(FieldBuffer buffer, std::FILE* stream) {
  const std::int64_t size = kHeaderSize + buffer.capacity();
  if (size < kHeaderSize) return Error{FBEBADFB};
  const void* image = TypedBuffer{buffer.data()}.header();
  if (std::fwrite(image, static_cast<std::size_t>(size), 1, stream) != 1) return Error{FBEOS};
  return success();
}

// The data is read aside, so that a short stream leaves the buffer alone. Of the stored header only the length counts.
Outcome read_image(FieldBuffer buffer, std::FILE* stream) {
  MsgHeader stored;
  if (std::fread(&stored, sizeof stored, 1, stream) != 1) return Error{FBEOS};
  if (stored.size < 0 || stored.size > buffer.capacity()) return Error{FBENOSPACE};
  const auto size = static_cast<std::size_t>(stored.size);
  const HeapPtr<char> data = heap_alloc<char>(std::max(stored.size, 1));
  if (!data) return Error{FBEMALLOC};
  if (std::fread(data.get(), size, 1, stream) != 1) return Error{FBEOS};
  std::memcpy(buffer.data(), data.get(), size);
  fcache::clear(buffer.data());
  return success();
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbwrite(const void* buf, FILE* stream) {
  static constexpr ApiTexts texts{"fbwrite", "fbwrite(%#x, %#x)", "fbwrite = %d", "fbwrite = -1 [%d : %s]"};
  const FbCall call{texts, buf, stream};
  if (!buf || !stream) return call.fail(FBEINVAL);
  return call.finish(write_image(FieldBuffer{buf}, stream));
}

extern "C" int fbread(void* buf, FILE* stream) {
  static constexpr ApiTexts texts{"fbread", "fbread(%#x, %#x)", "fbread = %d", "fbread = -1 [%d : %s]"};
  const FbCall call{texts, buf, stream};
  if (!buf || !stream) return call.fail(FBEINVAL);
  return call.finish(read_image(FieldBuffer{buf}, stream));
}
