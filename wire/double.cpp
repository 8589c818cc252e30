// Doubles on the wire under their exported names.
#include "wire/double.h"

using namespace vxa;

namespace {

int convert_double(const void* src, void* dst) {
  store(dst, codec::DoubleOrder{}.convert(load<std::uint64_t>(src)));
  return 1;
}

}  // namespace

extern "C" int _double_encode(const void* src, void* dst) { return convert_double(src, dst); }

extern "C" int _double_decode(const void* src, void* dst) { return convert_double(src, dst); }
