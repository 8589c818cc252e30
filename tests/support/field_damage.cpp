// Calls on field buffers whose bytes nobody vouches for.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/support/field_buffer.h"
#include "tests/support/field_script.h"

#if defined(__has_feature)
#define VXA_CLANG_ASAN __has_feature(address_sanitizer)
#endif
#if defined(__SANITIZE_ADDRESS__) || VXA_CLANG_ASAN
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(at, size) ((void)(at), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(at, size) ((void)(at), (void)(size))
#endif

extern "C" int _clear_fcache(const void* buf);

namespace fields {

namespace {

constexpr std::size_t kCapacity = 1032;
constexpr std::size_t kReserve = 64;  // behind the capacity, part of the block
constexpr char kValue[64] = "12.5 serves every type, and has a terminator";

// A full buffer: the used length, then the records' bytes again and again.
struct Damaged : Buffer {
  Damaged(int used, const std::uint8_t* bytes, std::size_t size) {
    std::string records(kCapacity - 8, '\0');
    for (std::size_t i = 0; size && i < records.size(); ++i) records[i] = static_cast<char>(bytes[(i + 8) % size]);
    forge(records, used);
    ASAN_POISON_MEMORY_REGION(*this + kCapacity, kReserve);
  }
  ~Damaged() {
    ASAN_UNPOISON_MEMORY_REGION(*this + kCapacity, kReserve);
    const unsigned magic = 8888;
    std::memcpy(*this, &magic, sizeof magic);
  }
};

// What a call is given, and what it gives back: comparable between two buffers.
struct Call {
  int key;
  int number;  // an occurrence, a position, a value's length
  int type;
  int length = kCapacity;
  long result = 0;
  int error = 0;
  std::array<char, kCapacity + 8> area{"5"};
  bool operator==(const Call&) const = default;

  static long place(const char* buf, const void* found) { return found ? static_cast<const char*>(found) - buf : -1; }
  long copied(const void* found) {
    if (!found) return -1;
    std::memcpy(area.data(), found, static_cast<std::size_t>(length));
    return 1;
  }
  static long freed(void* block) {
    std::free(block);
    return block != nullptr;
  }
};

using Function = long (*)(char* buf, Call& c);

const Function kFunctions[] = {
    [](char* b, Call& c) -> long { return fbput(b, c.key, kValue, c.number); },
    [](char* b, Call& c) -> long { return fbinsert(b, c.key, c.number, kValue, c.type); },
    [](char* b, Call& c) -> long { return fbupdate(b, c.key, c.number, kValue, c.type); },
    [](char* b, Call& c) -> long { return fbdelete(b, c.key, c.number); },
    [](char* b, Call& c) -> long { return fbdelall(b, c.key); },
    [](char* b, Call& c) -> long { return fbget(b, c.key, c.area.data(), &(c.length = 0)); },
    [](char* b, Call& c) -> long { return fbgetf(b, c.key, c.area.data(), nullptr, &(c.number *= 8)); },
    [](char* b, Call& c) -> long { return Call::place(b, fbgetval(b, c.key, c.number, &c.length)); },
    [](char* b, Call& c) -> long { return fbgetlen(b, c.key, c.number); },
    [](char* b, Call& c) -> long { return fbgetnth(b, c.key, kValue, 5); },
    [](char* b, Call& c) -> long { return fbkeyoccur(b, c.key); },
    [](char* b, Call& c) -> long { return fbispres(b, c.key, c.number); },
    [](char* b, Call&) -> long { return fbfldcount(b); },
    [](char* b, Call& c) -> long {
      const int keys[] = {c.key, 0x0c000001, 0};
      return fbbufop_proj(b, nullptr, keys);
    },
    [](char* b, Call& c) -> long {
      const Damaged other{64, reinterpret_cast<const std::uint8_t*>(kValue), 16};
      return c.number % 2 ? fbbufop(b, other, c.type) : fbbufop(other, b, c.type);
    },
    [](char* b, Call& c) -> long { return fbputt(b, c.key, kValue, 4, c.type); },
    [](char* b, Call& c) -> long { return c.copied(fbgetvalt(b, c.key, 0, &c.length, c.type)); },
    [](char* b, Call& c) -> long { return fbgetntht(b, c.key, kValue, 4, c.type); },
    [](char* b, Call& c) -> long { return fbgetc(b, c.key, c.area.data(), nullptr, &(c.number *= 8), c.type); },
    [](char* b, Call& c) -> long { return fbchg_tut(b, c.key, c.number, c.number % 2 ? kValue : nullptr, 4, c.type); },
    [](char* b, Call& c) -> long { return fbget_tut(b, c.key, c.number, c.area.data(), &c.length, c.type); },
    [](char* b, Call& c) -> long { return fbgetlast_tu(b, c.key, &c.number, c.area.data(), &c.length); },
    [](char* b, Call& c) -> long { return Call::place(b, fbgetval_last_tu(b, c.key, &c.number, &c.length)); },
    [](char* b, Call& c) -> long { return Call::freed(fbgetalloc_tu(b, c.key, 0, &c.length)); },
    [](char* b, Call& c) -> long { return Call::freed(fbgetalloc_tut(b, c.key, 0, c.type, &c.length)); },
    [](char* b, Call& c) -> long { return fbgetvall_tu(b, c.key, c.number); },
    [](char* b, Call& c) -> long { return static_cast<long>(std::strlen(fbgetvals_tu(b, c.key, c.number))); },
    [](char* b, Call& c) -> long { return fbnext_tu(b, &c.key, &c.number, c.area.data(), &c.length); },
};

}  // namespace

void call_on_damaged(const std::uint8_t* bytes, std::size_t size) {
  int used = kCapacity;
  const std::size_t head = std::min<std::size_t>(size, 4);
  std::memcpy(&used, bytes, head);
  const Damaged cached{used, bytes + head, size - head}, fresh{used, bytes + head, size - head};
  for (std::size_t i = 0; i + 4 < size; i += 4) {
    const std::size_t which = bytes[i] % std::size(kFunctions);
    Call call{
        .key = cached.key_at(8 * (1 + bytes[i + 2] % 128)), .number = bytes[i + 1] % 7 - 1, .type = bytes[i + 1] % 10};
    if (bytes[i + 3] % 4 == 0) call.key &= ~0x01000000;
    const auto outcome = [&](const Damaged& buffer) {
      Call made = call;
      made.result = kFunctions[which](buffer, made);
      made.error = fberror;
      return made;
    };
    _clear_fcache(fresh);
    if (outcome(fresh) != outcome(cached))
      throw std::logic_error("result depends on the cache: call " + std::to_string(which));
    if (std::memcmp(cached, fresh, kCapacity) != 0)
      throw std::logic_error("contents depend on the cache: call " + std::to_string(which));
  }
}

}  // namespace fields
