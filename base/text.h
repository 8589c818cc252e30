// Characters of the texts that users write; independent of the host's locale.
#pragma once

namespace vxa {

inline constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline constexpr bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace vxa
