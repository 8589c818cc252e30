#include "wire/structcodec.h"

#include "sdl/memberwise.h"

namespace vxa::codec {

namespace {

auto* routine_of(const sdl::StructRow& row, To to) { return to == To::kWire ? row.hton : row.ntoh; }

bool can_travel(const sdl::StructRow& row, To to) {
  if (row.host_size <= 0 || row.network_size <= 0) return false;
  return routine_of(row, to) || sdl::memberwise_possible(row);
}

}  // namespace

StructCodec::StructCodec(const char* name, To to) : row_(sdl::find_struct(name)), to_(to) {
  if (row_ && !can_travel(*row_, to)) row_ = nullptr;
}

void StructCodec::convert(const char* src, char* dst, std::int64_t count) const {
  const std::int64_t src_step = to_ == To::kWire ? host_size() : wire_size();
  const std::int64_t dst_step = to_ == To::kWire ? wire_size() : host_size();
  for (; count > 0; --count, src += src_step, dst += dst_step) convert_element(src, dst);
}

void StructCodec::convert_element(const char* src, char* dst) const {
  if (const auto routine = routine_of(*row_, to_))
    routine(src, dst);
  else if (to_ == To::kWire)
    sdl::pack_members(*row_, src, dst);
  else
    sdl::unpack_members(*row_, src, dst);
}

}  // namespace vxa::codec
