// Payloads of whole messages between host form and wire form. Struct and field payloads are converted; every other
// kind travels as it lies in memory.
#pragma once

#include <cstdint>

#include "base/heap.h"
#include "wire/header.h"

namespace vxa::codec {

// A message in wire form: its header is zero and left to the caller, length is what becomes its datalen. The block ends
// in a zeroed trailer reserve, in which a trailer may lie.
struct Encoded {
  HeapPtr<MsgHeader> message;  // null: the payload could not be encoded
  std::int32_t length = 0;
};

// Whether a message's payload has to be encoded before it is sent.
bool needs_encoding(const MsgHeader* message);

// Encodes the payload of a message in host form, which stays as it is. Null when memory is short or a length does not
// fit the message (log record CSC6402 or CSC6404), when its struct cannot travel, or when its field buffer is damaged
// (record CSC6405 for an unknown type).
Encoded encode(const MsgHeader* message);

struct Decoding {
  enum Status {
    kDone,
    kUnknownStruct,  // the struct named in the subtype cannot travel
    kNoBlock,        // no memory for a struct that grows or shrinks
    kFailed,         // no sound field buffer, or no memory for a temporary
  };
  Status status = kDone;
  std::int64_t block_size = 0;  // of kNoBlock: bytes of the header and the decoded struct
};

// Decodes a received message whose header is already in host form and whose block holds the header and datalen bytes;
// every length inside the payload is checked. A struct whose two sizes differ moves to a new block, which holds what
// the header's size claims and a trailer reserve. A struct keeps no trailer: what there was of one is part of the bytes
// that were divided into elements. On failure the message stays as it was, but a damaged field payload may have been
// decoded in part.
Decoding decode(HeapPtr<MsgHeader>& message);

}  // namespace vxa::codec
