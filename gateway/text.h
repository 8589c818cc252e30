// Lines for people, put together from their parts.
#pragma once

#include <sstream>
#include <string>

namespace vxa::gateway {

template <class... Parts>
std::string joined(const Parts&... parts) {
  std::ostringstream out;
  (out << ... << parts);
  return out.str();
}

}  // namespace vxa::gateway
