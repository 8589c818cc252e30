// Calls on field buffers whose bytes nobody vouches for.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "tests/support/field_model.h"
#include "vxa/fbuf.h"

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

constexpr std::size_t kReserve = 64;  // behind the capacity, part of the block

// A full buffer of 1032 bytes: the used length, then the records' bytes again and again.
class Damaged {
 public:
  Damaged(int used, const std::uint8_t* bytes, std::size_t size) : data_(static_cast<char*>(fballoc(0, 0))) {
    std::memcpy(data_ + 4, &used, sizeof used);
    for (std::size_t i = 8; i < kCapacity; ++i) data_[i] = size ? static_cast<char>(bytes[i % size]) : '\0';
    ASAN_POISON_MEMORY_REGION(data_ + kCapacity, kReserve);
  }
  Damaged(const Damaged&) = delete;
  Damaged& operator=(const Damaged&) = delete;
  ~Damaged() {
    ASAN_UNPOISON_MEMORY_REGION(data_ + kCapacity, kReserve);
    const unsigned magic = 8888;
    std::memcpy(data_, &magic, sizeof magic);
    fbfree(data_);
  }

  static constexpr std::size_t kCapacity = 1032;
  char* get() const { return data_; }
  int key_at(int offset) const {
    int key;
    std::memcpy(&key, data_ + offset, sizeof key);
    return key;
  }

 private:
  char* data_;
};

// Calls one function on the buffer; what it gives is comparable between buffers.
long call(char* buf, int which, int key, int argument) {
  static const char value[64] = "a value that serves every type, with its terminator";
  char area[Damaged::kCapacity + 8];
  int number = argument;
  const int keys[] = {key, 0x0c000001, 0};
  switch (which) {
    case 0:
      return fbput(buf, key, value, argument % 32);
    case 1:
      return fbinsert(buf, key, argument, value, argument % 32);
    case 2:
      return fbupdate(buf, key, argument, value, argument % 32);
    case 3:
      return fbdelete(buf, key, argument);
    case 4:
      return fbdelall(buf, key);
    case 5:
      return fbget(buf, key, area, &(number = 0));
    case 6:
      number *= 8;
      return fbgetf(buf, key, area, nullptr, &number) * 10000L + number;
    case 7: {
      const char* found = static_cast<char*>(fbgetval(buf, key, argument, &number));
      return found ? found - buf + number : -1;
    }
    case 8:
      return fbgetlen(buf, key, argument);
    case 9:
      return fbgetnth(buf, key, value, 5);
    case 10:
      return fbkeyoccur(buf, key);
    case 11:
      return fbispres(buf, key, argument);
    case 12:
      return fbfldcount(buf);
    case 13:
      return fbbufop_proj(buf, nullptr, keys);
    default: {
      Damaged other{64, reinterpret_cast<const std::uint8_t*>(value), 16};
      const int op = which % 8;
      return argument % 2 ? fbbufop(buf, other.get(), op) : fbbufop(other.get(), buf, op);
    }
  }
}

// The same for the calls that convert, and for the compatibility operations.
long call_converting(char* buf, int which, int key, int argument) {
  static const char value[8] = "12.5";
  const int type = argument + 3;
  char area[Damaged::kCapacity + 8] = "5";
  int length = sizeof area;
  const auto place = [buf](const void* found) { return found ? static_cast<const char*>(found) - buf : -1L; };
  const auto text = [](long result, const char* bytes, int size) {
    return static_cast<long>(std::hash<std::string>{}(std::string(bytes, static_cast<std::size_t>(size)))) + result;
  };
  switch (which) {
    case 0:
      return fbputt(buf, key, value, 4, type);
    case 1: {
      const char* found = static_cast<char*>(fbgetvalt(buf, key, 0, &length, type));
      return found ? text(1, found, length) : -1;
    }
    case 2:
      return fbgetntht(buf, key, value, 4, type);
    case 3: {
      int position = argument * 8;
      return text(fbgetc(buf, key, area, nullptr, &position, type), area, 64) + position;
    }
    case 4:
      return fbchg_tut(buf, key, argument, argument % 2 ? value : nullptr, 4, type);
    case 5:
      return text(fbget_tut(buf, key, argument, area, &length, type), area, 64) + length;
    case 6:
      return text(fbgetlast_tu(buf, key, &argument, area, &length), area, 64) + argument + length;
    case 7:
      return place(fbgetval_last_tu(buf, key, &argument, &length)) + argument + length;
    case 8: {
      char* block = static_cast<char*>(argument % 2 ? fbgetalloc_tu(buf, key, 0, &length)
                                                    : fbgetalloc_tut(buf, key, 0, type, &length));
      const long result = block ? text(length, block, 1) : -1;
      std::free(block);
      return result;
    }
    case 9:
      return fbgetvall_tu(buf, key, argument) + static_cast<long>(std::strlen(fbgetvals_tu(buf, key, argument)));
    default: {
      const int result = fbnext_tu(buf, &key, &argument, area, which % 2 ? nullptr : &length);
      return text(result, area, 64) + key + argument + length;
    }
  }
}

}  // namespace

void call_on_damaged(const std::uint8_t* bytes, std::size_t size) {
  int used = 1032;
  const std::size_t head = std::min<std::size_t>(size, 4);
  std::memcpy(&used, bytes, head);
  const Damaged cached{used, bytes + head, size - head}, fresh{used, bytes + head, size - head};
  for (std::size_t i = 0; i + 4 < size; i += 4) {
    const int which = bytes[i] % 37;
    const int argument = bytes[i + 1] % 7 - 1;
    const int key = cached.key_at(8 * (1 + bytes[i + 2] % 128)) & (bytes[i + 3] % 4 ? -1 : ~0x01000000);
    const auto one_call = [=](char* buf) {
      return which < 24 ? call(buf, which, key, argument) : call_converting(buf, which - 24, key, argument);
    };
    _clear_fcache(fresh.get());
    const long expected = one_call(fresh.get());
    const int expected_error = fberror;
    if (one_call(cached.get()) != expected || fberror != expected_error)
      throw std::logic_error("result depends on the cache: call " + std::to_string(which));
    if (std::memcmp(cached.get(), fresh.get(), Damaged::kCapacity) != 0)
      throw std::logic_error("contents depend on the cache: call " + std::to_string(which));
  }
}

}  // namespace fields
