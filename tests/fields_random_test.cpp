// Long random scripts with fixed seeds: the library against the model, over every call, type and mark, with the search
// cache emptied at any time; and damaged buffers.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "tests/support/field_script.h"

namespace {

class RandomScripts : public testing::TestWithParam<unsigned> {};

TEST_P(RandomScripts, DoWhatTheModelDoes) {
  std::mt19937 random{GetParam()};
  std::vector<std::uint8_t> script(60000);
  for (std::uint8_t& byte : script) byte = static_cast<std::uint8_t>(random());
  fields::compare_with_model(script.data(), script.size());  // throws at a difference
}

// Records that mostly can be stepped over, so that calls get somewhere: keys of every type, small words elsewhere.
TEST_P(RandomScripts, GetNowhereFromDamagedBuffers) {
  std::mt19937 random{GetParam()};
  for (int round = 0; round < 300; ++round) {
    std::vector<std::uint8_t> bytes(4 + random() % 512);
    const int used = random() % 4 ? static_cast<int>(random() % 1100) : static_cast<int>(random());
    for (std::size_t i = 4; i < bytes.size(); ++i) {
      const bool key = i % 8 < 4;
      const unsigned word = static_cast<unsigned>(random());
      bytes[i] = static_cast<std::uint8_t>(!key ? word % 60 : i % 4 == 3 ? word % 10 << 2 : i % 4 == 0 ? word % 3 : 0);
    }
    std::memcpy(bytes.data(), &used, sizeof used);
    fields::call_on_damaged(bytes.data(), bytes.size());
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomScripts, testing::Range(0U, 20U));

}  // namespace
