// What tests of field calls start from: buffers, keys, length policies, and calls that refuse, a row each, held against
// the one failure event that each must report.
#pragma once

#include <functional>
#include <initializer_list>

#include "tests/support/field_buffer.h"
#include "tests/support/test.h"

namespace fields {

// A length policy of VESK_SEMANTICS that holds as long as the object lives.
class Semantics {
 public:
  explicit Semantics(const char* settings) : variable_("VESK_SEMANTICS", settings) { _vesk_init_semantics(); }
  ~Semantics() { _vesk_init_semantics(); }

 private:
  Environment variable_;
};

struct Refusal {
  const char* result;  // the event's text in front of the code
  int code;
  std::function<void()> call;
};

inline void expect_refusals(std::initializer_list<Refusal> refusals) {
  const host::Tracing tracing;
  int row = 0;
  for (const auto& [result, code, call] : refusals) {
    SCOPED_TRACE(testing::Message() << "row " << ++row << ", " << result);
    call();
    EXPECT_EQ(fberror, code);
    const auto events = host::take_trace();
    ASSERT_EQ(events.size(), 2u) << "an entry and one outcome";
    EXPECT_EQ(events[0].event, 1);
    EXPECT_EQ(events[1].event, 4);
    EXPECT_EQ(events[1].text, std::string(result) + " [" + std::to_string(code) + " : " + fbstrerror(code) + "]");
  }
}

}  // namespace fields

using fields::Buffer;
using fields::expect_refusals;
using fields::key;
using fields::kFetched;
using fields::outcome;
using fields::refusal;
using fields::Semantics;
using namespace fields::sample;
