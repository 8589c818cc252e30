// Field table files, record by record.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace host {

// A table file of n slots, free at first: an empty name with key 0, key 0 without a name.
class TableFile {
 public:
  explicit TableFile(int n) : slots_(static_cast<std::size_t>(n)), bytes_(12 + 60 * slots_, '\0') {
    put(0, 8888);
    put(4, n);
    for (std::size_t slot = 0; slot < slots_; ++slot) put(key_at(slot) + 4, -1);
  }
  TableFile& name(std::size_t slot, const char* name, int key) {
    std::memcpy(&bytes_[12 + 52 * slot], name, std::strlen(name));
    put(12 + 52 * slot + 48, key);
    return *this;
  }
  TableFile& key(std::size_t slot, int key, int name) {
    put(key_at(slot), key);
    put(key_at(slot) + 4, name);
    return *this;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  void put(std::size_t at, int number) { std::memcpy(&bytes_[at], &number, sizeof number); }
  std::size_t key_at(std::size_t slot) const { return 12 + 52 * slots_ + 8 * slot; }

  std::size_t slots_;
  std::string bytes_;
};

}  // namespace host
