// Faults on demand: what a gateway, a network or an attacker might do to a reply, for tests of what its receiver does.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gateway/message.h"

namespace vxa::gateway {

// How a message goes out.
struct Delivery {
  WireMessage message;
  std::optional<WireMessage> stray{};  // sent before it
  std::chrono::milliseconds delay{0};  // waited before anything is sent
  std::size_t step = SIZE_MAX;         // bytes per write
  std::optional<std::size_t> cut{};    // after that many bytes the connection is closed
  bool die = false;                    // the process ends where the connection would be closed
  bool late = false;                   // sent behind the next message
  std::string damage{};                // the faults that were put in, for the log; empty for none
};

struct Fault {
  std::string kind;
  std::optional<std::int64_t> value;
  std::optional<std::uint64_t> which;  // the only message to damage, counted from 1; without, every one

  // From KIND[=VALUE][@WHICH]; throws std::invalid_argument with a text for people.
  static Fault parse(const std::string& text);
};

// One line per kind of fault, for help texts.
extern const char kFaultHelp[];

class Faults {
 public:
  explicit Faults(std::vector<Fault> faults) : faults_(std::move(faults)) {}

  // The next message of the gateway, with the faults that are due.
  Delivery apply(WireMessage message);

 private:
  std::vector<Fault> faults_;
  std::uint64_t count_ = 0;
};

}  // namespace vxa::gateway
