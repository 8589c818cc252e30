#include "tests/support/field_model.h"

#include <algorithm>
#include <array>
#include <bit>

#include "vxa/fbuf.h"

namespace fields {

namespace {

constexpr std::uint32_t kMark = 0x01000000;
constexpr ModelResult kDone{1, 0};

int type_of(std::uint32_t key) { return static_cast<std::int32_t>(key) >> 26; }

std::size_t fixed_width(int type) { return type == FB_CHAR ? 1 : type == FB_SHORT ? 2 : type == FB_DOUBLE ? 8 : 4; }

std::string stored_form(int type, const ModelValue& value) {
  if (type == FB_STRING) return value.bytes.c_str();
  if (type == FB_CARRAY) return value.bytes.substr(0, static_cast<std::size_t>(std::max(value.len, 0)));
  return value.bytes.substr(0, fixed_width(type));
}

// 0, or the code with which the value is refused.
int refusal(int type, const ModelValue& value) {
  if (type < 1 || type > 8) return FBETYPE;
  return type == FB_CARRAY && value.len <= 0 ? FBEINVAL : 0;
}

// Whether a search finds the record. Scripts hold no floating-point values that are equal with other bytes.
bool equal(const ModelRecord& record, const ModelValue& value) {
  const std::string& stored = record.value;
  switch (type_of(record.key)) {
    case FB_LONG:
      return stored + std::string(4, '\0') == value.bytes.substr(0, 8);
    case FB_STRING:
      return stored == value.bytes.c_str();
    case FB_CARRAY: {
      const std::size_t shorter = std::min(stored.size(), static_cast<std::size_t>(value.len));
      return stored.compare(0, shorter, value.bytes, 0, shorter) == 0;
    }
    default:
      return stored == value.bytes.substr(0, stored.size());
  }
}

}  // namespace

int ModelRecord::slot() const {
  const int length = static_cast<int>(value.size());
  const int type = type_of(key);
  if (type == FB_DOUBLE) return 16;
  const int size = type == FB_STRING ? 4 + length + 1 : type == FB_CARRAY ? 8 + length : 8;
  return (size + 7) / 8 * 8;
}

int Model::offset(std::size_t index) const {
  int at = 8;
  for (std::size_t i = 0; i < index; ++i) at += records[i].slot();
  return at;
}

int Model::find(std::uint32_t key, int nth) const {
  for (std::size_t i = 0; i < records.size(); ++i)
    if (records[i].key == key && nth-- == 0) return static_cast<int>(i);
  return -1;
}

int Model::count(std::uint32_t key) const {
  return static_cast<int>(std::ranges::count(records, key, &ModelRecord::key));
}

ModelResult Model::put(std::uint32_t key, const ModelValue& value) {
  const ModelRecord record{key, stored_form(type_of(key), value)};
  if (used() + record.slot() > capacity) return {-1, FBENOSPACE};
  if (const int code = refusal(type_of(key), value)) return {-1, code};
  records.push_back(record);
  return kDone;
}

ModelResult Model::insert(std::uint32_t key, int nth, const ModelValue& value) {
  if (nth < 0) return {-1, FBEINVAL};
  const ModelRecord record{key, stored_form(type_of(key), value)};
  const long gap = nth - count(key);
  if (gap == 0) return put(key, value);
  if (used() + record.slot() * std::max(gap, 1L) > capacity) return {-1, FBENOSPACE};
  if (gap > 0 && type_of(key) == FB_CARRAY) return {-1, FBEINVAL};
  if (const int code = refusal(type_of(key), value)) return {-1, code};
  if (gap < 0) {
    records.insert(records.begin() + find(key, nth), record);
    return kDone;
  }
  const ModelRecord null{key, stored_form(type_of(key), {std::string(8, '\0'), 0})};
  if (used() + null.slot() * gap + record.slot() > capacity) return {-1, FBENOSPACE};
  records.insert(records.end(), static_cast<std::size_t>(gap), null);
  records.push_back(record);
  return kDone;
}

ModelResult Model::update(std::uint32_t key, int nth, const ModelValue& value) {
  const int at = find(key, nth);
  if (at < 0) return {-1, FBENOENT};
  ModelRecord& old = records[static_cast<std::size_t>(at)];
  const ModelRecord record{key, stored_form(type_of(key), value)};
  if (record.slot() > old.slot() && used() + record.slot() - old.slot() > capacity) return {-1, FBENOSPACE};
  if (const int code = refusal(type_of(key), value)) return {-1, code};
  old = record;
  return kDone;
}

ModelResult Model::erase(std::uint32_t key, int nth) {
  const int at = find(key, nth);
  if (at < 0) return {-1, FBENOENT};
  records.erase(records.begin() + at);
  return kDone;
}

ModelResult Model::erase_all(std::uint32_t key) {
  const int erased = static_cast<int>(std::erase_if(records, [=](const ModelRecord& r) { return r.key == key; }));
  return erased > 0 ? ModelResult{erased, 0} : ModelResult{-1, FBENOENT};
}

ModelResult Model::take(std::size_t index, int policy, int* len, std::string& out) {
  ModelRecord& record = records[index];
  const int type = type_of(record.key);
  out = record.value;
  if (type == FB_LONG) out.append(4, '\0');
  if (type == FB_STRING) out.push_back('\0');
  if (type >= FB_STRING) {
    const int whole = static_cast<int>(out.size());
    const int wanted = len ? *len : 0;
    const bool short_area = policy >= 2 && wanted != 0 && wanted < whole;
    if (len) *len = short_area && policy == 2 && wanted > 0 ? wanted : whole;
    if (short_area && (policy == 3 || wanted < 0)) return {-1, FBENOSPACE};
    if (short_area) {
      out.resize(static_cast<std::size_t>(wanted));
      if (type == FB_STRING) out.back() = '\0';
    }
  }
  record.key |= kMark;
  return kDone;
}

ModelResult Model::get(std::uint32_t key, int policy, int* len, std::string& out) {
  const int at = find(key, 0);
  return at < 0 ? ModelResult{-1, FBENOENT} : take(static_cast<std::size_t>(at), policy, len, out);
}

ModelResult Model::get_from(std::uint32_t key, int policy, int* len, int& pos, std::string& out) {
  if (pos >= used()) return {-1, FBENOENT};
  std::size_t start = 0;
  for (std::size_t i = 0; i < records.size(); ++i)
    if (offset(i) == pos + 8 && (records[i].key & ~kMark) == key) start = i;
  pos = offset(start) - 8;
  for (std::size_t i = start; i < records.size(); ++i) {
    if (records[i].key != key) continue;
    pos = offset(i) - 8;
    return take(i, policy, len, out);
  }
  return {-1, FBENOENT};
}

ModelResult Model::find_value(std::uint32_t key, const ModelValue& value) const {
  if (type_of(key) == FB_CARRAY && value.len <= 0) return {-1, FBEINVAL};
  int occurrence = 0;
  for (const ModelRecord& record : records) {
    if (record.key != key) continue;
    if (equal(record, value)) return {occurrence, 0};
    ++occurrence;
  }
  return {-1, 0};
}

ModelResult Model::combine(const Model& source, int op) {
  if (op == FB_OP_COPY_WHOLE && source.capacity > capacity) return {-1, FBENOSPACE};
  if (op == FB_OP_COPY && source.used() > capacity) return {-1, FBENOSPACE};
  if (op == FB_OP_COPY_WHOLE || op == FB_OP_COPY) {
    records = std::vector(source.records);
    return kDone;
  }
  if (op == FB_OP_CONCAT) {
    if (used() + source.used() - 8 > capacity) return {-1, FBENOSPACE};
    const std::vector added = source.records;
    records.insert(records.end(), added.begin(), added.end());
    return kDone;
  }
  Model result{capacity};
  std::vector<ModelRecord> ours = records, rest;
  std::vector<bool> matched(ours.size());
  for (ModelRecord& record : ours) record.key &= ~kMark;
  for (ModelRecord theirs : source.records) {
    theirs.key &= ~kMark;
    std::size_t at = 0;
    while (at < ours.size() && (matched[at] || ours[at].key != theirs.key)) ++at;
    if (at == ours.size()) {
      rest.push_back(theirs);
    } else {
      ours[at] = theirs;
      matched[at] = true;
    }
  }
  for (std::size_t i = 0; i < ours.size(); ++i)
    if (op != FB_OP_JOIN || matched[i]) result.records.push_back(ours[i]);
  if (op == FB_OP_UPDATE) result.records.insert(result.records.end(), rest.begin(), rest.end());
  if (result.used() > capacity) return {-1, FBENOSPACE};
  records = result.records;
  return kDone;
}

ModelResult Model::project(const Model& source, const std::vector<std::uint32_t>& keys) {
  Model result{capacity};
  for (const ModelRecord& record : source.records)
    if (std::ranges::find(keys, record.key) != keys.end()) result.records.push_back(record);
  if (result.used() > capacity) return {-1, FBENOSPACE};
  records = result.records;
  return kDone;
}

std::vector<int> Model::image() const {
  std::vector<int> bytes;
  const auto add = [&](auto number) {
    for (const std::uint8_t byte : std::bit_cast<std::array<std::uint8_t, 4>>(number)) bytes.push_back(byte);
  };
  add(8888);
  add(used());
  for (const ModelRecord& record : records) {
    const std::size_t start = bytes.size();
    const int type = type_of(record.key);
    add(record.key);
    if (type == FB_CARRAY) add(static_cast<int>(record.value.size()));
    if (type == FB_DOUBLE) bytes.insert(bytes.end(), 4, kPadding);
    for (const char byte : record.value) bytes.push_back(static_cast<std::uint8_t>(byte));
    if (type == FB_STRING) bytes.push_back(0);
    bytes.resize(start + static_cast<std::size_t>(record.slot()), kPadding);
  }
  return bytes;
}

}  // namespace fields
