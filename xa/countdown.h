// The time that is left of a wait, in whole seconds of the clock.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace vxa::link {

class Countdown {
 public:
  explicit Countdown(int secs) : secs_(secs), start_(std::time(nullptr)) {}

  // Negative once the time has passed; never more than there was at first, should the clock be set back.
  int left() const {
    const std::int64_t elapsed = std::int64_t{std::time(nullptr)} - start_;
    return static_cast<int>(std::clamp<std::int64_t>(secs_ - elapsed, -1, secs_));
  }

 private:
  int secs_;
  std::int64_t start_;
};

}  // namespace vxa::link
