// The record of the field benchmarks in the libraries that it is compared with, as far as they are installed.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "vxa/fbuf.h"

#ifdef VXA_BENCH_MSGPACK
#include <msgpack.hpp>
#endif
#ifdef VXA_BENCH_FLEXBUFFERS
#include <flatbuffers/flexbuffers.h>
#endif
#ifdef VXA_BENCH_PROTOBUF
#include "record.pb.h"
#endif

namespace bench {

inline constexpr char kText[] = "twelve chars";
inline constexpr std::uint32_t kTextLength = 12;

inline int type_of(int field) { return field % 8 + 1; }

inline const void* value_of(int field) {
  static const char c = 'c';
  static const short s = -2;
  static const int i = 123456;
  static const long l = 1234567;
  static const float f = 1.5F;
  static const double d = 2.25;
  static const void* const values[] = {&c, &s, &i, &l, &f, &d, kText, kText};
  return values[field % 8];
}

#ifdef VXA_BENCH_MSGPACK
class Msgpack {
 public:
  static constexpr const char* kName = "msgpack";
  static constexpr int kLeast = 1, kMost = 10000;

  explicit Msgpack(int fields) : fields_(fields) {}

  // A packer writes the wire form at once.
  void build() {
    wire_.clear();
    msgpack::packer<msgpack::sbuffer> packer(wire_);
    packer.pack_map(static_cast<std::uint32_t>(fields_));
    for (int i = 0; i < fields_; ++i) {
      packer.pack_int32(i + 1);
      pack(packer, i);
    }
  }
  void encode() { build(); }
  void decode() { record_ = msgpack::unpack(wire_.data(), wire_.size()); }

  long read() const {
    const msgpack::object_map& map = record_.get().via.map;
    long sum = 0;
    for (int i = 0; i < fields_; ++i)
      for (const msgpack::object_kv* at = map.ptr;; ++at)
        if (at->key.via.u64 == static_cast<std::uint64_t>(i + 1)) {
          sum += first_byte(at->val);
          break;
        }
    return sum;
  }

 private:
  static void pack(msgpack::packer<msgpack::sbuffer>& packer, int i) {
    const void* value = value_of(i);
    switch (type_of(i)) {
      case FB_CHAR:
        packer.pack(*static_cast<const signed char*>(value));
        return;
      case FB_SHORT:
        packer.pack(*static_cast<const short*>(value));
        return;
      case FB_INT:
        packer.pack(*static_cast<const int*>(value));
        return;
      case FB_LONG:
        packer.pack(*static_cast<const long*>(value));
        return;
      case FB_FLOAT:
        packer.pack(*static_cast<const float*>(value));
        return;
      case FB_DOUBLE:
        packer.pack(*static_cast<const double*>(value));
        return;
      case FB_STRING:
        packer.pack_str(kTextLength).pack_str_body(kText, kTextLength);
        return;
      default:
        packer.pack_bin(kTextLength).pack_bin_body(kText, kTextLength);
    }
  }

  static long first_byte(const msgpack::object& value) {
    switch (value.type) {
      case msgpack::type::STR:
        return *value.via.str.ptr + static_cast<long>(value.via.str.size);
      case msgpack::type::BIN:
        return *value.via.bin.ptr + static_cast<long>(value.via.bin.size);
      default:
        return static_cast<long>(value.via.u64 & 0xFF);
    }
  }

  int fields_;
  msgpack::sbuffer wire_;
  msgpack::object_handle record_;
};
#endif

#ifdef VXA_BENCH_FLEXBUFFERS
class FlexBuffers {
 public:
  static constexpr const char* kName = "flexbuffers";
  static constexpr int kLeast = 1, kMost = 10000;

  explicit FlexBuffers(int fields) : builder_(512 + static_cast<std::size_t>(fields) * 24) {
    char name[16];
    for (int i = 0; i < fields; ++i) {
      std::snprintf(name, sizeof name, "f%05d", i);
      names_.emplace_back(name);
    }
  }

  void build() {
    builder_.Clear();
    const std::size_t start = builder_.StartMap();
    for (std::size_t i = 0; i < names_.size(); ++i) add(names_[i].c_str(), static_cast<int>(i));
    builder_.EndMap(start);
    builder_.Finish();
  }
  void encode() { build(); }
  void decode() {}

  long read() const {
    const flexbuffers::Map map = flexbuffers::GetRoot(builder_.GetBuffer()).AsMap();
    long sum = 0;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      const flexbuffers::Reference value = map[names_[i].c_str()];
      const int type = type_of(static_cast<int>(i));
      sum += type == FB_STRING || type == FB_CARRAY ? *value.AsString().c_str() : static_cast<long>(value.AsInt64());
    }
    return sum;
  }

 private:
  void add(const char* name, int i) {
    const void* value = value_of(i);
    switch (type_of(i)) {
      case FB_CHAR:
        return builder_.Int(name, *static_cast<const char*>(value));
      case FB_SHORT:
        return builder_.Int(name, *static_cast<const short*>(value));
      case FB_INT:
        return builder_.Int(name, *static_cast<const int*>(value));
      case FB_LONG:
        return builder_.Int(name, *static_cast<const long*>(value));
      case FB_FLOAT:
        return builder_.Float(name, *static_cast<const float*>(value));
      case FB_DOUBLE:
        return builder_.Double(name, *static_cast<const double*>(value));
      default:
        builder_.Key(name);
        builder_.String(kText, kTextLength);
    }
  }

  flexbuffers::Builder builder_;
  std::vector<std::string> names_;
};
#endif

#ifdef VXA_BENCH_PROTOBUF
class Protobuf {
 public:
  static constexpr const char* kName = "protobuf";
  static constexpr int kLeast = 50, kMost = 50;

  explicit Protobuf(int) {}

// clang-format off
#define VXA_EACH_ROUND(X)                                                                                \
  X(0, 1, 2, 3, 4, 5, 6, 7)          X(8, 9, 10, 11, 12, 13, 14, 15)    X(16, 17, 18, 19, 20, 21, 22, 23) \
  X(24, 25, 26, 27, 28, 29, 30, 31)  X(32, 33, 34, 35, 36, 37, 38, 39)  X(40, 41, 42, 43, 44, 45, 46, 47)
  // clang-format on

  void build() {
    built_.Clear();
#define VXA_SET(a0, a1, a2, a3, a4, a5, a6, a7) \
  built_.set_f##a0(get<char>(0));               \
  built_.set_f##a1(get<short>(1));              \
  built_.set_f##a2(get<int>(2));                \
  built_.set_f##a3(get<long>(3));               \
  built_.set_f##a4(get<float>(4));              \
  built_.set_f##a5(get<double>(5));             \
  built_.set_f##a6(kText, kTextLength);         \
  built_.set_f##a7(kText, kTextLength);
    VXA_EACH_ROUND(VXA_SET)
#undef VXA_SET
    built_.set_f48(get<char>(0));
    built_.set_f49(get<short>(1));
  }
  void encode() { built_.SerializeToString(&wire_); }
  void decode() { read_.ParseFromString(wire_); }

  long read() const {
    double sum = 0;
#define VXA_GET(a0, a1, a2, a3, a4, a5, a6, a7)                                                               \
  sum += read_.f##a0() + read_.f##a1() + read_.f##a2() + static_cast<double>(read_.f##a3()) + read_.f##a4() + \
         read_.f##a5() + read_.f##a6()[0] + read_.f##a7()[0];
    VXA_EACH_ROUND(VXA_GET)
#undef VXA_GET
    return static_cast<long>(sum + read_.f48() + read_.f49());
  }

 private:
  template <class T>
  static T get(int field) {
    return *static_cast<const T*>(value_of(field));
  }

  bench::Record built_, read_;
  std::string wire_;
};
#endif

template <class Visit>
void each_peer([[maybe_unused]] Visit visit) {
#ifdef VXA_BENCH_MSGPACK
  visit(static_cast<Msgpack*>(nullptr));
#endif
#ifdef VXA_BENCH_FLEXBUFFERS
  visit(static_cast<FlexBuffers*>(nullptr));
#endif
#ifdef VXA_BENCH_PROTOBUF
  visit(static_cast<Protobuf*>(nullptr));
#endif
}

}  // namespace bench
