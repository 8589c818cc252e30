// Field calls that refuse, a row each, held against the one failure event that each must report.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>

#include "tests/support/host.h"
#include "vxa/fbuf.h"

namespace fields {

struct Refusal {
  const char* result;  // the event's text in front of the code
  int code;
  std::function<void()> call;
};

inline void expect_refusals(std::initializer_list<Refusal> refusals) {
  const host::Tracing tracing;
  int row = 0;
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(testing::Message() << "row " << ++row << ", " << refusal.result);
    refusal.call();
    EXPECT_EQ(fberror, refusal.code);
    const auto events = host::take_trace();
    ASSERT_EQ(events.size(), 2u) << "an entry and one outcome";
    EXPECT_EQ(events[0].event, 1);
    EXPECT_EQ(events[1].event, 4);
    EXPECT_EQ(events[1].text, std::string(refusal.result) + " [" + std::to_string(refusal.code) + " : " +
                                  fbstrerror(refusal.code) + "]");
  }
}

}  // namespace fields
