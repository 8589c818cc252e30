// Waiting for descriptors with sets that hold 16384 of them, not the 1024 of the system's own type.
#pragma once

#include <sys/select.h>

#include <array>
#include <cerrno>
#include <climits>

namespace vxa {

class FdSet {
 public:
  static constexpr int kCapacity = 16384;

  // False, and nothing added, for a descriptor that no set can hold.
  bool add(int fd) {
    if (fd < 0 || fd >= kCapacity) return false;
    word_of(fd) |= bit_of(fd);
    return true;
  }

  bool holds(int fd) { return word_of(fd) & bit_of(fd); }

  fd_set* get() { return reinterpret_cast<fd_set*>(words_.data()); }

 private:
  using Word = unsigned long;
  static constexpr int kWordBits = sizeof(Word) * CHAR_BIT;

  Word& word_of(int fd) { return words_[static_cast<std::size_t>(fd / kWordBits)]; }
  static Word bit_of(int fd) { return Word{1} << (fd % kWordBits); }

  std::array<Word, kCapacity / kWordBits> words_{};
};

// Waits once until fd is readable, at most secs seconds; 0 polls. Gives what select gives: 1 readable, 0 time out, -1
// with errno set, EBADF also for a descriptor beyond the set.
inline int wait_readable_once(int fd, int secs) {
  FdSet readable;
  if (!readable.add(fd)) {
    errno = EBADF;
    return -1;
  }
  timeval limit{secs, 0};
  return ::select(fd + 1, readable.get(), nullptr, nullptr, &limit);
}

// The same, except that a wait which a signal interrupts starts anew with the full time.
inline int wait_readable(int fd, int secs) {
  for (;;) {
    const int ready = wait_readable_once(fd, secs);
    if (ready >= 0 || errno != EINTR) return ready;
  }
}

}  // namespace vxa
