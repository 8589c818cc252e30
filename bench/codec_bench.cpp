// Encoding and decoding field buffers beside memcpy of the same bytes: the two take turns, and x_memcpy is the ratio of
// the medians. An iteration is one turn.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"

namespace {

constexpr int kFields = 1000;
constexpr int kTurn = 100;  // calls of one side before the other has its turn

int key(int type, int number) { return type << 26 | number; }

void put(void* buf, int type, int number, const void* value, int length = 0) {
  if (fbput(buf, key(type, number), value, length) != 1) std::abort();
}

void put_number(void* buf, int type, int number, long value) {
  const double real = static_cast<double>(value) / 3;
  const float single = static_cast<float>(real);
  if (type == FB_FLOAT)
    put(buf, type, number, &single);
  else if (type == FB_DOUBLE)
    put(buf, type, number, &real);
  else
    put(buf, type, number, &value);
}

using Fill = void (*)(void* buf, std::mt19937& random);

// Types in no order, all in slots of 8 bytes.
void numbers(void* buf, std::mt19937& random) {
  for (int i = 0; i < kFields; ++i) put_number(buf, 1 + static_cast<int>(random() % 5), i, static_cast<long>(random()));
}

// Types in runs, as records of one table have them.
void numbers_in_runs(void* buf, std::mt19937& random) {
  for (int i = 0; i < kFields; ++i) put_number(buf, 1 + i / 20 % 5, i, static_cast<long>(random()));
}

void every_type(void* buf, std::mt19937& random) {
  for (int i = 0; i < kFields; ++i) {
    const int type = 1 + static_cast<int>(random() % 8);
    const std::string text(random() % 30, 'x');
    if (type < FB_STRING)
      put_number(buf, type, i, static_cast<long>(random()));
    else
      put(buf, type, i, text.c_str(), static_cast<int>(text.size()) + 1);
  }
}

void carrays(void* buf, std::mt19937&) {
  const std::string kilobyte(1024, 'x');
  for (int i = 0; i < kFields; ++i) put(buf, FB_CARRAY, i, kilobyte.data(), 1024);
}

void strings(void* buf, std::mt19937&) {
  const std::string text(20, 'x');
  for (int i = 0; i < kFields; ++i) put(buf, FB_STRING, i, text.c_str());
}

class Message {
 public:
  explicit Message(Fill fill) : data_(tpalloc("FIELD", nullptr, 1200 * kFields)) {
    std::mt19937 random(1);
    fill(data_, random);
    header()->datalen = static_cast<int>(used());
  }
  ~Message() { tpfree(data_); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  vesk_msg_header* header() const { return reinterpret_cast<vesk_msg_header*>(data_) - 1; }
  const char* data() const { return data_; }
  std::size_t used() const { return static_cast<std::size_t>(fbget_used(data_)); }

 private:
  char* data_;
};

template <class Work>
double seconds(Work work) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kTurn; ++i) {
    work();
    benchmark::ClobberMemory();
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

template <class Work>
void beside_memcpy(benchmark::State& state, const Message& message, Work work) {
  std::string copy(message.used(), '\0');
  std::vector<double> ours;
  std::vector<double> plain;
  for ([[maybe_unused]] auto _ : state) {
    ours.push_back(seconds(work));
    plain.push_back(seconds([&] { std::memcpy(copy.data(), message.data(), message.used()); }));
    state.SetIterationTime(ours.back());
  }
  const double call = median(ours) / kTurn;
  state.counters["bytes"] = static_cast<double>(message.used());
  state.counters["ns_per_call"] = call * 1e9;
  state.counters["x_memcpy"] = call / (median(plain) / kTurn);
}

void encode(benchmark::State& state, Fill fill) {
  const Message message(fill);
  beside_memcpy(state, message, [&] {
    int length = 0;
    std::free(_hton_data_fdl(message.header(), &length));
  });
}

void decode(benchmark::State& state, Fill fill) {
  const Message message(fill);
  int length = 0;
  vesk_msg_header* sent = _hton_data_fdl(message.header(), &length);
  std::string received(message.used(), '\0');
  beside_memcpy(state, message,
                [&] { _ntoh_data_fdl(message.header(), reinterpret_cast<const char*>(sent + 1), received.data()); });
  std::free(sent);
}

BENCHMARK_CAPTURE(encode, numbers, numbers)->UseManualTime();
BENCHMARK_CAPTURE(decode, numbers, numbers)->UseManualTime();
BENCHMARK_CAPTURE(encode, numbers_in_runs, numbers_in_runs)->UseManualTime();
BENCHMARK_CAPTURE(decode, numbers_in_runs, numbers_in_runs)->UseManualTime();
BENCHMARK_CAPTURE(encode, every_type, every_type)->UseManualTime();
BENCHMARK_CAPTURE(decode, every_type, every_type)->UseManualTime();
BENCHMARK_CAPTURE(encode, strings_of_20, strings)->UseManualTime();
BENCHMARK_CAPTURE(decode, strings_of_20, strings)->UseManualTime();
BENCHMARK_CAPTURE(encode, carrays_of_1024, carrays)->UseManualTime();
BENCHMARK_CAPTURE(decode, carrays_of_1024, carrays)->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
  _check_node();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
