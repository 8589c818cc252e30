#include "wire/fieldcodec.h"

#include <bit>
#include <cstring>

#include "base/log.h"
#include "fb/fbcommon.h"
#include "wire/double.h"

namespace vxa::codec {

namespace {

static_assert(std::endian::native == std::endian::little, "slots are put together as little-endian words");

// A 32-bit number of the source, in host order.
template <To to>
std::uint32_t in_host_order(std::uint32_t number) {
  return to == To::kWire ? number : byteswap(number);
}

// Unused high bytes of a narrow value are shifted out, so that its own bytes come first and zero bytes follow.
std::uint32_t convert_value(int type, std::uint32_t value) {
  switch (type) {
    case fb::kChar:
      return byteswap(value) >> 24;
    case fb::kShort:
      return byteswap(value) >> 16;
    default:
      return byteswap(value);
  }
}

void store_pair(char* dst, std::uint32_t first, std::uint32_t second) {
  store(dst, std::uint64_t{second} << 32 | first);
}

// Moves the bytes of a value behind the converted front of its slot and zeroes the slot's tail.
void move_bytes(const char* src, char* dst, std::int64_t front, std::int64_t length, std::int64_t slot) {
  if (src == dst) return;
  store(dst + slot - 8, std::uint64_t{0});
  std::memcpy(dst + front, src + front, static_cast<std::size_t>(length));
}

struct Slot {
  std::int64_t length;  // 0: the slot leaves the room that it has, or its type is unknown
  int type;
};

template <To to>
class SlotConverter {
 public:
  Slot convert(const char* src, char* dst, std::int64_t room) const {
    if (room < fb::kMinimumSlot) return {0, fb::kChar};
    const auto key = load<std::uint32_t>(src);
    const auto value = load<std::uint32_t>(src + fb::kKeySize);
    const int type = fb::FieldKey{in_host_order<to>(key)}.type();
    switch (type) {
      case fb::kChar:
      case fb::kShort:
      case fb::kInt:
      case fb::kLong:
      case fb::kFloat:
        store_pair(dst, byteswap(key), convert_value(type, value));
        return {fb::kMinimumSlot, type};
      case fb::kDouble:
        return {convert_double(src, dst, byteswap(key), room), type};
      case fb::kString:
        return {convert_string(src, dst, byteswap(key), room), type};
      case fb::kCarray:
        return {convert_carray(src, dst, byteswap(key), value, room), type};
      default:
        return {0, type};
    }
  }

 private:
  std::int64_t convert_double(const char* src, char* dst, std::uint32_t key, std::int64_t room) const {
    constexpr std::int64_t kSlot = 16;
    if (room < kSlot) return 0;
    const auto bits = load<std::uint64_t>(src + 8);
    store_pair(dst, key, 0);
    store(dst + 8, doubles_.convert(bits));
    return kSlot;
  }

  static std::int64_t convert_string(const char* src, char* dst, std::uint32_t key, std::int64_t room) {
    const auto most = static_cast<std::size_t>(room - fb::kKeySize);
    const std::size_t characters = strnlen(src + fb::kKeySize, most);
    const std::int64_t length = static_cast<std::int64_t>(characters) + 1;
    const std::int64_t slot = align8(fb::kKeySize + length);
    if (characters == most || slot > room) return 0;
    move_bytes(src, dst, fb::kKeySize, length, slot);
    store(dst, key);
    return slot;
  }

  static std::int64_t convert_carray(const char* src, char* dst, std::uint32_t key, std::uint32_t length_word,
                                     std::int64_t room) {
    const std::int64_t length = in_host_order<to>(length_word);
    const std::int64_t slot = align8(8 + length);
    if (slot > room) return 0;
    move_bytes(src, dst, 8, length, slot);
    store_pair(dst, key, byteswap(length_word));
    return slot;
  }

  DoubleOrder doubles_;
};

constexpr const char* type_error_code(To to) { return to == To::kWire ? "CSC6405" : "CSC6406"; }

}  // namespace

template <To to>
bool convert_fields(const char* src, char* dst, std::int64_t used) {
  const SlotConverter<to> converter;
  for (std::int64_t at = fb::kBufferHeader; at < used;) {
    const Slot slot = converter.convert(src + at, dst + at, used - at);
    if (slot.length == 0) {
      if (!fb::type_known(slot.type))
        log_record(SystemError::Omit, 2, type_error_code(to), "0209 internal error : type error: %d", slot.type);
      return false;
    }
    at += slot.length;
  }
  return true;
}

template bool convert_fields<To::kWire>(const char*, char*, std::int64_t);
template bool convert_fields<To::kHost>(const char*, char*, std::int64_t);

}  // namespace vxa::codec
