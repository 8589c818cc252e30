#include "wire/fieldcodec.h"

#include <cstring>

#include "base/log.h"
#include "fb/fbcommon.h"
#include "wire/double.h"
#include "wire/numberslots.h"

namespace vxa::codec {

namespace {

// A 32-bit number of the source, in host order.
template <To to>
std::uint32_t in_host_order(std::uint32_t number) {
  return to == To::kWire ? number : byteswap(number);
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

// One record, or several.
struct Slot {
  std::int64_t length;  // 0: the slot leaves the room that it has, or its type is unknown
  int type;
};

template <To to>
class SlotConverter {
 public:
  Slot convert(const char* src, char* dst, std::int64_t room) {
    if (room < fb::kMinimumSlot) return {0, fb::kChar};
    const auto key = load<std::uint32_t>(src);
    const int type = fb::FieldKey{in_host_order<to>(key)}.type();
    if (is_number_slot(type)) return {convert_numbers(src, dst, type, room), type};
    numbers_in_row_ = 0;
    switch (type) {
      case fb::kDouble:
        return {convert_double(src, dst, byteswap(key), room), type};
      case fb::kString:
        return {convert_string(src, dst, byteswap(key), room), type};
      case fb::kCarray:
        return {convert_carray(src, dst, byteswap(key), load<std::uint32_t>(src + fb::kKeySize), room), type};
      default:
        return {0, type};
    }
  }

 private:
  static constexpr int kShortRun = 4;  // so few numbers in a row are not worth a block

  // The slot; or, in a longer run and from where dst is aligned for blocks, as many as come next.
  std::int64_t convert_numbers(const char* src, char* dst, int type, std::int64_t room) {
    const bool aligned = reinterpret_cast<std::uintptr_t>(dst) % kNumberBlock == 0;
    if (blocks_ && ++numbers_in_row_ > kShortRun && aligned)
      if (const std::int64_t converted = convert_number_blocks(to, src, dst, room)) return converted;
    store(dst, convert_number_slot(type, load<std::uint64_t>(src)));
    return fb::kMinimumSlot;
  }

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
  bool blocks_ = can_convert_number_blocks();
  int numbers_in_row_ = 0;
};

constexpr const char* type_error_code(To to) { return to == To::kWire ? "CSC6405" : "CSC6406"; }

}  // namespace

template <To to>
bool convert_fields(const char* src, char* dst, std::int64_t used) {
  SlotConverter<to> converter;
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
