// Reads a script as calls on a few field buffers, makes each on the library and on the model, and compares.
#include "tests/support/field_script.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "tests/support/field_buffer.h"
#include "tests/support/field_model.h"
#include "vxa/vxa_host.h"

extern "C" {
int _clear_fcache(const void* buf);
int _fbput(void* buf, int key, const void* value, int len);
}

namespace fields {

namespace {

class Script {
 public:
  Script(const std::uint8_t* bytes, std::size_t size) : at_(bytes), end_(bytes + size) {}
  bool done() const { return at_ == end_; }
  int byte() { return done() ? 0 : *at_++; }
  int below(int limit) { return byte() % limit; }

  // Few keys of each type, the same again half of the time; now and then a marked or an impossible one.
  std::uint32_t key() {
    const int choice = byte();
    if (choice == 255) return 1;
    if (choice == 254) return 9u << 26;
    if (choice < 128) key_ = static_cast<std::uint32_t>(fields::key(choice % 8 + 1, choice / 8 % 3 + 1));
    return choice % 5 == 0 ? key_ | 0x01000000 : key_;
  }

  // Few values of each type, so that some are equal; long enough to be read as any.
  ModelValue value(std::uint32_t key) {
    const int choice = byte();
    ModelValue value{std::string(40, '\0'), choice % 24 - 2};
    const int type = static_cast<std::int32_t>(key) >> 26;
    const auto set = [&](auto number) { std::memcpy(value.bytes.data(), &number, sizeof number); };
    if (type == FB_STRING || type == FB_CARRAY)
      std::fill_n(value.bytes.begin(), choice % 24, static_cast<char>('a' + choice / 24 % 2));
    else if (type == FB_FLOAT)
      set(static_cast<float>(choice % 4 - 1));
    else if (type == FB_DOUBLE)
      set(choice % 4 - 1.0);
    else
      set(static_cast<long>(choice % 4 - 1) * (choice >= 250 ? 0x100000001L : 1));
    return value;
  }

  // One of six buffers, more than are remembered at a time; the same again most of the time.
  int buffer() {
    if (const int choice = byte(); choice < 32) buffer_ = choice % 6;
    return buffer_;
  }

  int nth() {
    const int choice = byte();
    return choice == 255 ? INT32_MAX : choice >= 250 ? -1 : choice % 8 % 6;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
  std::uint32_t key_ = 0x04000001;
  int buffer_ = 0;
};

struct Pair {
  explicit Pair(int count) : buf(static_cast<char*>(fballoc(count, 0))), model(static_cast<int>(fbget_fbsize(buf))) {}
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair() { fbfree(buf); }

  char* buf;
  Model model;
  int position = 0;                // for reads from a position
  int walk_key = 0, walk_nth = 0;  // the record that a walk with fbnext_tu was told last; key 0 before its first
};

void require(bool holds, const char* what) {
  if (!holds) throw std::logic_error(what);
}

// What the library's call has just given back, and the error code it left, against the model's.
void require_same(int result, ModelResult model, const char* call) {
  const ModelResult library{result, fberror};
  if (library == model) return;
  const auto text = [](ModelResult r) { return std::to_string(r.result) + " [" + std::to_string(r.error) + "]"; };
  throw std::logic_error(std::string(call) + " gave " + text(library) + " for " + text(model));
}

void require_same_image(const Pair& pair) {
  const std::vector<int> expected = pair.model.image();
  require(fbget_used(pair.buf) == static_cast<long>(expected.size()), "used length");
  for (std::size_t i = 0; i < expected.size(); ++i)
    require(expected[i] == Model::kPadding || expected[i] == static_cast<std::uint8_t>(pair.buf[i]), "image");
}

void change(Script& script, Pair& pair, int call) {
  const std::uint32_t key = script.key();
  const int field = static_cast<int>(key);
  const int nth = call >= 2 && call <= 4 ? script.nth() : 0;
  const ModelValue value = call <= 3 ? script.value(key) : ModelValue{};
  const void* at = value.bytes.data();
  char* buf = pair.buf;
  Model& model = pair.model;
  if (call == 0) require_same(fbput(buf, field, at, value.len), model.put(key, value), "fbput");
  if (call == 1) require_same(_fbput(buf, field, at, value.len), model.put(key, value), "_fbput");
  if (call == 2) require_same(fbinsert(buf, field, nth, at, value.len), model.insert(key, nth, value), "fbinsert");
  if (call == 3) require_same(fbupdate(buf, field, nth, at, value.len), model.update(key, nth, value), "fbupdate");
  if (call == 4) require_same(fbdelete(buf, field, nth), model.erase(key, nth), "fbdelete");
  if (call == 5) require_same(fbdelall(buf, field), model.erase_all(key), "fbdelall");
}

void take(Script& script, Pair& pair, bool from_position) {
  const std::uint32_t key = script.key();
  const int field = static_cast<int>(key);
  const int policy = _vesk_flen_flag;
  const int choice = script.byte();
  int len = choice % 16 - 1, expected_len = len;
  int* const given = choice >= 200 ? nullptr : &len;
  int* const expected = choice >= 200 ? nullptr : &expected_len;
  std::string area(64, 'z'), out;
  if (choice % 5 == 0) pair.position = script.byte() - 16;
  int position = pair.position;
  const int library = from_position ? fbgetf(pair.buf, field, area.data(), given, &pair.position)
                                    : fbget(pair.buf, field, area.data(), given);
  const ModelResult model = from_position ? pair.model.get_from(key, policy, expected, position, out)
                                          : pair.model.get(key, policy, expected, out);
  require_same(library, model, from_position ? "fbgetf" : "fbget");
  require(pair.position == position, "position after fbgetf");
  require(len == expected_len, "length after fbget");
  if (model.result != 1) out.clear();
  require(area.compare(0, out.size(), out) == 0 && area[out.size()] == 'z', "value after fbget");
}

void look(Script& script, const Pair& pair, std::uint32_t key) {
  const int field = static_cast<int>(key);
  const int nth = script.nth();
  const Model& model = pair.model;
  const int at = model.find(key, nth);
  require(fbispres(pair.buf, field, nth) == (at >= 0), "fbispres");
  require_same(fbkeyoccur(pair.buf, field), {model.count(key), 0}, "fbkeyoccur");
  require_same(fbfldcount(pair.buf), {static_cast<int>(model.records.size()), 0}, "fbfldcount");
  const ModelValue value = script.value(key);
  require_same(fbgetnth(pair.buf, field, value.bytes.data(), value.len), model.find_value(key, value), "fbgetnth");
  int len = -5;
  const char* found = static_cast<char*>(fbgetval(pair.buf, field, nth, &len));
  require((found != nullptr) == (at >= 0), "fbgetval");
  if (!found) return;
  const int length = static_cast<int>(model.records[static_cast<std::size_t>(at)].value.size());
  const int type = field >> 26;
  const int start = model.offset(static_cast<std::size_t>(at)) + (type == FB_DOUBLE || type == FB_CARRAY ? 8 : 4);
  require(found == pair.buf + start && len == length, "place and length of fbgetval");
  require_same(fbgetlen(pair.buf, field, nth), {length, 0}, "fbgetlen");
}

// One step of a walk, whatever has happened to the buffer since the one before; now and then from another record.
void walk(Script& script, Pair& pair) {
  const Model& model = pair.model;
  if (script.byte() < 16) {
    pair.walk_key = static_cast<int>(script.key());
    pair.walk_nth = script.nth();
  }
  const int told = model.find(static_cast<std::uint32_t>(pair.walk_key), pair.walk_nth);
  const auto at = static_cast<std::size_t>(told + 1);
  const bool lost = pair.walk_key != 0 && told < 0, end = at == model.records.size();
  int length = -5;
  const int library = fbnext_tu(pair.buf, &pair.walk_key, &pair.walk_nth, nullptr, &length);
  require_same(library, lost ? ModelResult{-1, FBEINVAL} : ModelResult{end ? 0 : 1, 0}, "fbnext_tu");
  if (library != 1) {
    pair.walk_key = 0;
    return;
  }
  const ModelRecord& record = model.records[at];
  require(pair.walk_key == static_cast<int>(record.key) && model.find(record.key, pair.walk_nth) == told + 1,
          "record told by fbnext_tu");
  require(length == static_cast<int>(record.value.size()), "length told by fbnext_tu");
}

void combine(Script& script, Pair& dest, const Pair& source) {
  const int op = script.below(8);
  if (op == FB_OP_COMPARE) return;
  if (op != 0) return require_same(fbbufop(dest.buf, source.buf, op), dest.model.combine(source.model, op), "fbbufop");
  std::vector<std::uint32_t> keys;
  for (int i = script.below(4); i > 0; --i) keys.push_back(script.key());
  std::vector<int> list(keys.begin(), keys.end());
  list.push_back(0);
  const char* const from = &dest == &source ? nullptr : source.buf;  // in place
  require_same(fbbufop_proj(dest.buf, from, list.data()), dest.model.project(source.model, keys), "fbbufop_proj");
}

void step(Script& script, Pair (&pairs)[6]) {
  Pair& pair = pairs[script.buffer()];
  const int call = script.below(24);
  if (call >= 18) {
    const std::uint32_t key = script.key();
    look(script, pair, key);
    look(script, pair, key ^ 0x01000000);
  } else if (call >= 16) {
    change(script, pair, 0);
  } else if (call < 6) {
    change(script, pair, call);
  } else if (call < 10) {
    take(script, pair, call >= 8);
  } else if (call == 10) {
    combine(script, pair, pairs[script.buffer()]);
  } else if (call == 11) {
    _clear_fcache(pair.buf);
  } else if (call == 12) {
    _vesk_flen_flag = script.below(4);
  } else if (call == 13 && script.below(3) == 0) {
    fbinit(pair.buf, 0);
    pair.model.records.clear();
  } else if (call == 14 && script.below(4) == 0) {
    if (void* moved = fbrealloc(pair.buf, 128 + script.byte(), 0)) pair.buf = static_cast<char*>(moved);
    pair.model.capacity = static_cast<int>(fbget_fbsize(pair.buf));
  }
  for (int i = call == 15 ? script.byte() : call % 2; i > 0; --i) walk(script, pair);
  require_same_image(pair);
}

}  // namespace

void compare_with_model(const std::uint8_t* bytes, std::size_t size) {
  _vesk_semantics_flag = 1;
  _vesk_flen_flag = 0;
  Script script{bytes, size};
  Pair pairs[] = {Pair{0}, Pair{140}, Pair{200}, Pair{0}, Pair{140}, Pair{200}};
  while (!script.done()) step(script, pairs);
  _vesk_init_semantics();
}

}  // namespace fields
