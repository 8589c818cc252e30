// Field buffers as text that people and scripts read and write: a line per field, its name, a tab and its value,
// occurrences of a field in their order.
//
//   ACCOUNT<tab>alice
//   AMOUNT<tab>12500
//
// Names come from the field table (FDLFILE); a field without a name is written as '#' and its key in decimal digits. In
// values stand \t, \n, \r, \\ and \xHH for what a line cannot hold. Numbers are read whole or refused, and written so
// that reading them gives the same number.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "gateway/message.h"

namespace vxa::gateway {

// The text cannot be read; what() names the line and what is wrong with it.
struct TextError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The text of a field buffer; throws TextError when it is damaged.
std::string assignment_text(const char* field_buffer);

// A field buffer of the fields in the text; throws TextError.
Buffer parse_assignments(std::string_view text);

// Sets the payload length in the header of a field buffer to what is in use.
void set_field_length(Buffer& field_buffer);

}  // namespace vxa::gateway
