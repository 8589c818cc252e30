// The field table (FDL) file: the layout of its records, and the slots in which its producer puts them.
//
// A file is a header, a table of n name records and a table of n key records, numbers in host order, without padding:
//
//   b8 22 00 00  01 00 00 00  00 00 00 00              magic 8888, n = 1, reserved
//   41 4d 4f 55 4e 54 00 ...  01 00 00 18              "AMOUNT" in 48 bytes; its key: a double, number 1
//   01 00 00 18  00 00 00 00                           the key; the index of its name record
//
// Either table is an open-addressing hash table: a record lies at the slot that its hash gives, or at the first free
// one after it. The hashes take an AND mask, which need not be of the form 2^m - 1; that of one file is n - 1.
#pragma once

#include <cstdint>
#include <cstring>

#include "base/bytes.h"

namespace vxa::fdl {

inline constexpr std::uint32_t kMagic = 8888;
inline constexpr int kNameSize = 48;  // with the terminator
inline constexpr std::int32_t kNoName = -1;

struct FileHeader {
  std::uint32_t magic;
  std::int32_t slots;
  std::uint32_t reserved;
};

struct NameRecord {
  char name[kNameSize];
  std::uint32_t key;
};

struct KeyRecord {
  std::uint32_t key;
  std::int32_t name;  // index of the name record, or kNoName
};

static_assert(sizeof(FileHeader) == 12 && sizeof(NameRecord) == 52 && sizeof(KeyRecord) == 8);

// From this mask on, both hashes add up 16-bit words; below it the name hash adds bytes and the key hash divides.
inline constexpr int kWordSumMask = 512;

// The sum of the name's characters as 24 big-endian words; what lies beyond 48 characters does not count.
inline std::uint32_t word_sum(const char* name) {
  std::uint32_t sum = 0;
  for (int at = 0; at < kNameSize && name[at]; ++at) {
    const std::uint32_t byte = static_cast<unsigned char>(name[at]);
    sum += at % 2 == 0 ? byte << 8 : byte;
  }
  return sum;
}

// The sum of all the name's characters as signed bytes.
inline std::uint32_t byte_sum(const char* name) {
  std::uint32_t sum = 0;
  for (; *name; ++name) sum += static_cast<std::uint32_t>(static_cast<signed char>(*name));
  return sum;
}

inline int name_hash(const char* name, int mask) {
  const std::uint32_t sum = mask >= kWordSumMask ? word_sum(name) : byte_sum(name);
  return static_cast<int>(sum & static_cast<std::uint32_t>(mask));
}

// slots: records of the key table; without one the dividing form gives 0.
inline int key_hash(std::uint32_t key, int mask, int slots) {
  if (mask < kWordSumMask) return slots > 0 ? static_cast<int>(key % static_cast<std::uint32_t>(slots)) : 0;
  const std::uint32_t low = byteswap(static_cast<std::uint16_t>(key));
  const std::uint32_t high = byteswap(static_cast<std::uint16_t>(key >> 16));
  return static_cast<int>((low + high) & static_cast<std::uint32_t>(mask));
}

}  // namespace vxa::fdl
