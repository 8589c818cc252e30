// The numbers of the protocol in words, for log lines and for people.
#pragma once

#include <string>

namespace vxa::gateway {

// "XAER_NOTA", or the number where it has no name.
std::string xa_code_name(int code);

// What the code says about the branch, as part of a sentence: "no such branch".
const char* xa_code_meaning(int code);

// "TPESVCFAIL", or the number where it has no name.
std::string tp_error_name(int code);
const char* tp_error_meaning(int code);

// "xa_start", "tpcall" for the request code, or the number.
std::string request_name(int msgtype);

// "STRING" for the payload kind in a header's type word.
std::string payload_name(int type);

}  // namespace vxa::gateway
