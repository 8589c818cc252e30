// The rules of field buffers, written down once more in the plainest way: a list of records that every call walks from
// the start. The library is held against it, call by call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fields {

struct ModelRecord {
  std::uint32_t key;  // as stored, fetched mark included
  std::string value;  // as stored, without a string's terminator
  int slot() const;
};

// A value for a call: the bytes at its address, and the length that goes with them.
struct ModelValue {
  std::string bytes;
  int len;
};

// What a call gives back: its result, and fberror after it.
struct ModelResult {
  int result;
  int error;
  bool operator==(const ModelResult&) const = default;
};

class Model {
 public:
  explicit Model(int bytes) : capacity(bytes) {}

  ModelResult put(std::uint32_t key, const ModelValue& value);
  ModelResult insert(std::uint32_t key, int nth, const ModelValue& value);
  ModelResult update(std::uint32_t key, int nth, const ModelValue& value);
  ModelResult erase(std::uint32_t key, int nth);
  ModelResult erase_all(std::uint32_t key);
  // policy: 2 cuts, 3 refuses. out: what is written to the caller's area.
  ModelResult get(std::uint32_t key, int policy, int* len, std::string& out);
  ModelResult get_from(std::uint32_t key, int policy, int* len, int& pos, std::string& out);
  ModelResult find_value(std::uint32_t key, const ModelValue& value) const;
  ModelResult combine(const Model& source, int op);
  ModelResult project(const Model& source, const std::vector<std::uint32_t>& keys);

  int find(std::uint32_t key, int nth) const;  // index of a record, -1 when there is none
  int count(std::uint32_t key) const;
  int used() const { return offset(records.size()); }
  int offset(std::size_t index) const;  // from the start of the buffer

  // The used part, byte by byte.
  static constexpr int kPadding = -1;
  std::vector<int> image() const;

  std::vector<ModelRecord> records;
  int capacity;

 private:
  ModelResult take(std::size_t index, int policy, int* len, std::string& out);
};

// Drives the library and the model through the calls that the bytes spell, comparing after each. Throws
// std::logic_error at the first difference.
void compare_with_model(const std::uint8_t* script, std::size_t size);

// Makes a field buffer of the bytes, whatever they say, and calls everything on two copies of it, one of which never
// has anything in the search cache. Throws std::logic_error when they differ; a sanitizer sees what leaves the buffer.
void call_on_damaged(const std::uint8_t* bytes, std::size_t size);

}  // namespace fields
