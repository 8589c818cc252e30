// A length policy of VESK_SEMANTICS that holds as long as the object lives.
#pragma once

#include "tests/support/host.h"
#include "vxa/vxa_host.h"

namespace host {

class Semantics {
 public:
  explicit Semantics(const char* settings) : variable_("VESK_SEMANTICS", settings) { _vesk_init_semantics(); }
  ~Semantics() { _vesk_init_semantics(); }

 private:
  Environment variable_;
};

}  // namespace host
