// The rules of field buffers, written down once more in the plainest way: a list of records that every call walks from
// the start. The library is held against it, call by call.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "vxa/fbuf.h"

namespace fields {

// A value for a call: the bytes at its address, and the length that goes with them.
struct ModelValue {
  std::string bytes;
  int len;

  // 0, or the code with which it is refused as one of that type.
  int refusal(int type) const {
    if (type < 1 || type > 8) return FBETYPE;
    return type == FB_CARRAY && len <= 0 ? FBEINVAL : 0;
  }
};

struct ModelRecord {
  static constexpr std::uint32_t kMark = 0x01000000;

  std::uint32_t key;  // as stored, fetched mark included
  std::string value;  // as stored, without a string's terminator

  ModelRecord(std::uint32_t stored_key, const ModelValue& given) : key(stored_key) {
    const int width = type() == FB_CHAR ? 1 : type() == FB_SHORT ? 2 : type() == FB_DOUBLE ? 8 : 4;
    const int stored = type() == FB_CARRAY ? std::max(given.len, 0) : width;
    value = type() == FB_STRING ? given.bytes.c_str() : given.bytes.substr(0, static_cast<std::size_t>(stored));
  }

  int type() const { return static_cast<std::int32_t>(key) >> 26; }

  int slot() const {
    const int length = static_cast<int>(value.size());
    if (type() == FB_DOUBLE) return 16;
    const int size = type() == FB_STRING ? 4 + length + 1 : type() == FB_CARRAY ? 8 + length : 8;
    return (size + 7) / 8 * 8;
  }

  // Whether a search finds it. Scripts hold no floating-point values that are equal with other bytes.
  bool equals(const ModelValue& sought) const {
    if (type() == FB_LONG) return value + std::string(4, '\0') == sought.bytes.substr(0, 8);
    if (type() == FB_STRING) return value == sought.bytes.c_str();
    const std::size_t width = type() == FB_CARRAY ? static_cast<std::size_t>(sought.len) : value.size();
    const std::size_t shorter = std::min(value.size(), width);
    return value.compare(0, shorter, sought.bytes, 0, shorter) == 0;
  }
};

// What a call gives back: its result, and fberror after it.
struct ModelResult {
  int result;
  int error;
  bool operator==(const ModelResult&) const = default;
};

class Model {
 public:
  static constexpr ModelResult kDone{1, 0}, kNoSpace{-1, FBENOSPACE}, kAbsent{-1, FBENOENT};
  static constexpr int kPadding = -1;

  explicit Model(int bytes) : capacity(bytes) {}

  ModelResult put(std::uint32_t key, const ModelValue& value) {
    const ModelRecord record{key, value};
    if (used() + record.slot() > capacity) return kNoSpace;
    if (const int code = value.refusal(record.type())) return {-1, code};
    records.push_back(record);
    return kDone;
  }

  ModelResult insert(std::uint32_t key, int nth, const ModelValue& value) {
    if (nth < 0) return {-1, FBEINVAL};
    const ModelRecord record{key, value}, null{key, {std::string(8, '\0'), 0}};
    const long gap = nth - count(key);
    if (gap == 0) return put(key, value);
    if (used() + record.slot() * std::max(gap, 1L) > capacity) return kNoSpace;
    if (gap > 0 && record.type() == FB_CARRAY) return {-1, FBEINVAL};
    if (const int code = value.refusal(record.type())) return {-1, code};
    if (gap < 0) {
      records.insert(records.begin() + find(key, nth), record);
      return kDone;
    }
    if (used() + null.slot() * gap + record.slot() > capacity) return kNoSpace;
    records.insert(records.end(), static_cast<std::size_t>(gap), null);
    records.push_back(record);
    return kDone;
  }

  ModelResult update(std::uint32_t key, int nth, const ModelValue& value) {
    const int at = find(key, nth);
    if (at < 0) return kAbsent;
    ModelRecord& old = records[static_cast<std::size_t>(at)];
    const ModelRecord record{key, value};
    if (record.slot() > old.slot() && used() + record.slot() - old.slot() > capacity) return kNoSpace;
    if (const int code = value.refusal(record.type())) return {-1, code};
    old = record;
    return kDone;
  }

  ModelResult erase(std::uint32_t key, int nth) {
    const int at = find(key, nth);
    if (at < 0) return kAbsent;
    records.erase(records.begin() + at);
    return kDone;
  }

  ModelResult erase_all(std::uint32_t key) {
    const int erased = static_cast<int>(std::erase_if(records, [=](const ModelRecord& r) { return r.key == key; }));
    return erased > 0 ? ModelResult{erased, 0} : kAbsent;
  }

  // policy: 2 cuts, 3 refuses. out: what is written to the caller's area.
  ModelResult get(std::uint32_t key, int policy, int* len, std::string& out) {
    const int at = find(key, 0);
    return at < 0 ? kAbsent : take(static_cast<std::size_t>(at), policy, len, out);
  }

  ModelResult get_from(std::uint32_t key, int policy, int* len, int& pos, std::string& out) {
    if (pos >= used()) return kAbsent;
    std::size_t start = 0;
    for (std::size_t i = 0; i < records.size(); ++i)
      if (offset(i) == pos + 8 && (records[i].key & ~ModelRecord::kMark) == key) start = i;
    pos = offset(start) - 8;
    for (std::size_t i = start; i < records.size(); ++i) {
      if (records[i].key != key) continue;
      pos = offset(i) - 8;
      return take(i, policy, len, out);
    }
    return kAbsent;
  }

  ModelResult find_value(std::uint32_t key, const ModelValue& value) const {
    if (value.refusal(static_cast<std::int32_t>(key) >> 26) == FBEINVAL) return {-1, FBEINVAL};
    int occurrence = 0;
    for (const ModelRecord& record : records) {
      if (record.key != key) continue;
      if (record.equals(value)) return {occurrence, 0};
      ++occurrence;
    }
    return {-1, 0};
  }

  ModelResult combine(const Model& source, int op) {
    if (op == FB_OP_COPY_WHOLE && source.capacity > capacity) return kNoSpace;
    if (op == FB_OP_COPY_WHOLE || op == FB_OP_COPY) return become(source.records);
    std::vector<ModelRecord> ours = records, rest, result;
    if (op == FB_OP_CONCAT) {
      ours.insert(ours.end(), source.records.begin(), source.records.end());
      return become(ours);
    }
    std::vector<bool> matched(ours.size());
    for (ModelRecord& record : ours) record.key &= ~ModelRecord::kMark;
    for (ModelRecord theirs : source.records) {
      theirs.key &= ~ModelRecord::kMark;
      std::size_t at = 0;
      while (at < ours.size() && (matched[at] || ours[at].key != theirs.key)) ++at;
      if (at == ours.size()) {
        rest.push_back(theirs);
        continue;
      }
      ours[at] = theirs;
      matched[at] = true;
    }
    for (std::size_t i = 0; i < ours.size(); ++i)
      if (op != FB_OP_JOIN || matched[i]) result.push_back(ours[i]);
    if (op == FB_OP_UPDATE) result.insert(result.end(), rest.begin(), rest.end());
    return become(result);
  }

  ModelResult project(const Model& source, const std::vector<std::uint32_t>& keys) {
    std::vector<ModelRecord> result = source.records;
    std::erase_if(result, [&](const ModelRecord& r) { return std::ranges::find(keys, r.key) == keys.end(); });
    return become(result);
  }

  // Index of a record, -1 when there is none.
  int find(std::uint32_t key, int nth) const {
    for (std::size_t i = 0; i < records.size(); ++i)
      if (records[i].key == key && nth-- == 0) return static_cast<int>(i);
    return -1;
  }

  int count(std::uint32_t key) const { return static_cast<int>(std::ranges::count(records, key, &ModelRecord::key)); }
  int used() const { return offset(records.size()); }

  // From the start of the buffer.
  int offset(std::size_t index) const { return end_of(records, index); }

  // The used part, byte by byte.
  std::vector<int> image() const {
    std::vector<int> bytes;
    const auto add = [&](auto number) {
      for (const std::uint8_t byte : std::bit_cast<std::array<std::uint8_t, 4>>(number)) bytes.push_back(byte);
    };
    add(8888);
    add(used());
    for (const ModelRecord& record : records) {
      const std::size_t start = bytes.size();
      add(record.key);
      if (record.type() == FB_CARRAY) add(static_cast<int>(record.value.size()));
      if (record.type() == FB_DOUBLE) bytes.insert(bytes.end(), 4, kPadding);
      for (const char byte : record.value) bytes.push_back(static_cast<std::uint8_t>(byte));
      if (record.type() == FB_STRING) bytes.push_back(0);
      bytes.resize(start + static_cast<std::size_t>(record.slot()), kPadding);
    }
    return bytes;
  }

  std::vector<ModelRecord> records;
  int capacity;

 private:
  static int end_of(const std::vector<ModelRecord>& list, std::size_t count) {
    int at = 8;
    for (std::size_t i = 0; i < count; ++i) at += list[i].slot();
    return at;
  }

  ModelResult become(const std::vector<ModelRecord>& result) {
    if (end_of(result, result.size()) > capacity) return kNoSpace;
    records = std::vector(result);
    return kDone;
  }

  ModelResult take(std::size_t index, int policy, int* len, std::string& out) {
    ModelRecord& record = records[index];
    out = record.value;
    if (record.type() == FB_LONG) out.append(4, '\0');
    if (record.type() == FB_STRING) out.push_back('\0');
    if (record.type() >= FB_STRING) {
      const int whole = static_cast<int>(out.size());
      const int wanted = len ? *len : 0;
      const bool short_area = policy >= 2 && wanted != 0 && wanted < whole;
      if (len) *len = short_area && policy == 2 && wanted > 0 ? wanted : whole;
      if (short_area && (policy == 3 || wanted < 0)) return kNoSpace;
      if (short_area) {
        out.resize(static_cast<std::size_t>(wanted));
        if (record.type() == FB_STRING) out.back() = '\0';
      }
    }
    record.key |= ModelRecord::kMark;
    return kDone;
  }
};

}  // namespace fields
