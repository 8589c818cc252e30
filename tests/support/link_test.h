// A test with an open link: the library on one end, a scripted gateway on the other.
#pragma once

#include <cstdio>

#include "tests/support/peer.h"
#include "tests/support/test.h"
#include "xa/vxaio.h"

namespace peer {

inline constexpr int kRmid = 7;

// Console output of what runs while the object lives. What nobody takes is shown in the end, along with the failures
// that were reported meanwhile.
class Console {
 public:
  Console() { testing::internal::CaptureStdout(); }
  ~Console() { std::fputs(text().c_str(), stdout); }
  std::string text() { return std::exchange(taken_, true) ? "" : testing::internal::GetCapturedStdout(); }

 private:
  bool taken_ = false;
};

class LinkTest : public testing::Test {
 protected:
  LinkTest() { open("+timeout=5"); }
  ~LinkTest() override {
    vesk_xa_close(nullptr, 0, 0);
    _bc_timeout = 0;
  }

  void open(const char* options) {
    vesk_xa_close(nullptr, 0, 0);
    std::string info = gateway.open_string(options);
    EXPECT_EQ(vesk_xa_open(info.data(), kRmid, 0), XA_OK);
    gateway.accept();
    _seqno = 0;
    _cur_acall_cd = 0;
  }

  Gateway gateway;
  Console console;
};

}  // namespace peer

using peer::Console;
using peer::kRmid;
using peer::LinkTest;
using peer::Stream;
using peer::Wire;
