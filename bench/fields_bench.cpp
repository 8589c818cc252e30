// Records of mixed fields: the library beside msgpack, FlexBuffers and protobuf, doing the same logical work in the
// same run. Ends with a table of ratios of medians; below 1 the library is faster than the fastest of the others.
//
// Fields go round through the eight types. All sides reuse their buffers between rounds, and read by key: msgpack by a
// search of its map, FlexBuffers by its sorted keys, protobuf by generated accessors (records of 50 fields alone).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/peers.h"
#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"

extern "C" int _clear_fcache(const void* buf);

namespace {

using bench::kText;

class Vxa {
 public:
  static constexpr const char* kName = "vxa";
  static constexpr int kLeast = 1, kMost = 10000;

  explicit Vxa(int fields) : fields_(fields), buf_(static_cast<char*>(fballoc(fields, fields * 24))) {
    _check_node();
    for (int i = 0; i < fields; ++i) keys_.push_back(fbmake_fldkey(bench::type_of(i), i + 1));
  }
  ~Vxa() {
    fbfree(buf_);
    std::free(wire_);
  }

  void build() {
    fbinit(buf_, 0);
    for (int i = 0; i < fields_; ++i) put(i);
  }

  void encode() {
    std::free(wire_);
    vesk_msg_header* header = header_of(buf_);
    header->datalen = static_cast<std::int32_t>(fbget_used(buf_));
    int length = 0;
    wire_ = _hton_data_fdl(header, &length);
    std::memcpy(wire_, header, sizeof *header);
  }

  void decode() {
    record_ = reinterpret_cast<char*>(wire_ + 1);
    _clear_fcache(record_);
    benchmark::DoNotOptimize(_ntoh_data_fdl(wire_, record_, record_));
  }

  // Of the record that was decoded last, or built when none was.
  long read() const {
    const char* record = record_ ? record_ : buf_;
    long sum = 0;
    for (const int key : keys_) {
      int len = 0;
      const char* value = static_cast<const char*>(fbgetval(record, key, 0, &len));
      sum += *value + len;
    }
    return sum;
  }

  long walk() const {
    int key = 0, nth = 0;
    long sum = 0;
    while (fbnext_tu(buf_, &key, &nth, nullptr, nullptr) == 1) sum += key;
    return sum;
  }

  void update() {
    for (int i = 0; i < fields_; ++i) fbupdate(buf_, keys_[static_cast<std::size_t>(i)], 0, bench::value_of(i), 12);
  }

  char* buffer() { return buf_; }
  const std::vector<int>& keys() const { return keys_; }

 private:
  static vesk_msg_header* header_of(char* buf) { return reinterpret_cast<vesk_msg_header*>(buf) - 1; }
  void put(int i) { fbput(buf_, keys_[static_cast<std::size_t>(i)], bench::value_of(i), 12); }

  int fields_;
  char* buf_;
  char* record_ = nullptr;
  vesk_msg_header* wire_ = nullptr;
  std::vector<int> keys_;
};

// ---- The same rows for every library

template <class Library>
void life_cycle(benchmark::State& state) {
  Library library{static_cast<int>(state.range(0))};
  for (auto _ : state) {
    library.build();
    library.encode();
    library.decode();
    benchmark::DoNotOptimize(library.read());
  }
}

template <class Library>
void build(benchmark::State& state) {
  Library library{static_cast<int>(state.range(0))};
  for (auto _ : state) library.build();
}

template <class Library>
void encode(benchmark::State& state) {
  Library library{static_cast<int>(state.range(0))};
  library.build();
  for (auto _ : state) library.encode();
}

// Starts from the wire form every time.
template <class Library>
void encode_decode_read(benchmark::State& state) {
  Library library{static_cast<int>(state.range(0))};
  library.build();
  for (auto _ : state) {
    library.encode();
    library.decode();
    benchmark::DoNotOptimize(library.read());
  }
}

template <class Library>
void read(benchmark::State& state) {
  Library library{static_cast<int>(state.range(0))};
  library.build();
  library.encode();
  library.decode();
  for (auto _ : state) benchmark::DoNotOptimize(library.read());
}

template <class Library>
void add(const char* row, void (*body)(benchmark::State&), std::initializer_list<int> counts) {
  auto* registered = benchmark::RegisterBenchmark((std::string(row) + '/' + Library::kName).c_str(), body);
  for (const int fields : counts)
    if (fields >= Library::kLeast && fields <= Library::kMost) registered->Arg(fields);
}

template <class Library>
void add_rows() {
  add<Library>("life cycle", life_cycle<Library>, {50});
  add<Library>("build", build<Library>, {10, 50, 100, 1000, 10000});
  add<Library>("encode", encode<Library>, {50, 1000});
  add<Library>("encode, decode, read", encode_decode_read<Library>, {50, 1000});
  add<Library>("read by key", read<Library>, {10, 50, 100, 1000, 10000});
}

// ---- Rows that only a buffer that is changed in place has

void walk(benchmark::State& state) {
  Vxa library{static_cast<int>(state.range(0))};
  library.build();
  for (auto _ : state) benchmark::DoNotOptimize(library.walk());
}

void update(benchmark::State& state) {
  Vxa library{static_cast<int>(state.range(0))};
  library.build();
  for (auto _ : state) library.update();
}

// One string in the middle made longer and shorter again.
void replace_string(benchmark::State& state) {
  Vxa library{static_cast<int>(state.range(0))};
  library.build();
  const int key = library.keys()[6];
  for (auto _ : state) {
    fbupdate(library.buffer(), key, 0, "a text that is longer than it was", 0);
    fbupdate(library.buffer(), key, 0, kText, 0);
  }
}

void delete_and_put(benchmark::State& state) {
  Vxa library{static_cast<int>(state.range(0))};
  library.build();
  const int key = library.keys()[2];
  for (auto _ : state) {
    fbdelete(library.buffer(), key, 0);
    fbput(library.buffer(), key, bench::value_of(2), 0);
  }
}

// The occurrences of one key, with another key between each two.
class Run {
 public:
  explicit Run(int occurrences) : count_(occurrences), buf_(fballoc(occurrences * 2, 0)) {
    for (int i = 0; i < occurrences; ++i) {
      fbput(buf_, kKey, &i, 0);
      fbput(buf_, fbmake_fldkey(FB_INT, 100 + i % 50), &i, 0);
    }
  }
  ~Run() { fbfree(buf_); }
  long read() const {
    long sum = 0;
    for (int nth = 0; nth < count_; ++nth) sum += *static_cast<const int*>(fbgetval(buf_, kKey, nth, nullptr));
    return sum;
  }
  int count() const { return fbkeyoccur(buf_, kKey); }
  void clear() { _clear_fcache(buf_); }

 private:
  static constexpr int kKey = (FB_INT << 26) + 1;
  int count_;
  void* buf_;
};

void read_occurrences(benchmark::State& state) {
  const Run run{static_cast<int>(state.range(0))};
  for (auto _ : state) benchmark::DoNotOptimize(run.read());
  state.SetComplexityN(state.range(0));
}

void count_occurrences(benchmark::State& state) {
  Run run{static_cast<int>(state.range(0))};
  for (auto _ : state) {
    run.clear();
    benchmark::DoNotOptimize(run.count());
  }
  state.SetComplexityN(state.range(0));
}

// Keeps the medians and prints what they say at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const std::string& name = run.run_name.function_name;
      if (run.aggregate_name != "median" || name.find('/') == std::string::npos) continue;
      medians_[name.substr(0, name.find('/')) + " of " + run.run_name.args][name.substr(name.find('/') + 1)] =
          run.GetAdjustedCPUTime();
    }
  }

  void Finalize() override {
    std::printf("\n%-34s %12s  %s\n", "row", "vxa ns", "ratio to each (and to the fastest)");
    for (const auto& [row, libraries] : medians_) {
      const auto own = libraries.find(Vxa::kName);
      if (own == libraries.end() || libraries.size() < 2) continue;
      double fastest = 0;
      std::printf("%-34s %12.1f ", row.c_str(), own->second);
      for (const auto& [library, time] : libraries) {
        if (library == Vxa::kName) continue;
        std::printf(" %s %.2f", library.c_str(), own->second / time);
        fastest = std::max(fastest, own->second / time);
      }
      std::printf("  (%.2f)\n", fastest);
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> medians_;
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  for (const char* standard : {"--benchmark_repetitions=7", "--benchmark_report_aggregates_only=true",
                               "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.05"})
    arguments.insert(arguments.begin() + 1, const_cast<char*>(standard));
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  add_rows<Vxa>();
  bench::each_peer([]<class Peer>(Peer*) { add_rows<Peer>(); });
  benchmark::RegisterBenchmark("walk", walk)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
  benchmark::RegisterBenchmark("update in place", update)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
  benchmark::RegisterBenchmark("replace a string", replace_string)->Arg(50)->Arg(1000);
  benchmark::RegisterBenchmark("delete and put", delete_and_put)->Arg(50)->Arg(1000);
  benchmark::RegisterBenchmark("read occurrences", read_occurrences)
      ->RangeMultiplier(10)
      ->Range(1, 10000)
      ->Complexity();
  benchmark::RegisterBenchmark("count occurrences", count_occurrences)
      ->RangeMultiplier(10)
      ->Range(1, 10000)
      ->Complexity();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
}
