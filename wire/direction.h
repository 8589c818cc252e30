// The two directions of a payload conversion.
#pragma once

namespace vxa::codec {

enum class To { kWire, kHost };

}  // namespace vxa::codec
