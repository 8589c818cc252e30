// Messages as the gateway holds them: typed buffers, each with its header in front, in host order; and their passage
// from and to the wire.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/heap.h"
#include "tbuffer/tbuffer.h"
#include "vxa/xatmi.h"
#include "wire/header.h"

namespace vxa::gateway {

struct BufferFree {
  void operator()(char* data) const { tpfree(data); }
};

// A typed buffer that is owned; null where a request or a reply has no data.
using Buffer = std::unique_ptr<char, BufferFree>;

inline MsgHeader& header_of(const Buffer& buffer) { return *TypedBuffer{buffer.get()}.header(); }

// A new buffer of that type and capacity; throws std::bad_alloc.
Buffer make_buffer(const char* type, std::int64_t capacity);

// A STRING that holds the text; throws std::bad_alloc.
Buffer make_string(const std::string& text);

inline constexpr std::int32_t kLargestPayload = 64 << 20;

// What came off the wire was no message of this protocol: the connection cannot be used any further.
struct BadMessage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using WireHeader = std::array<char, kHeaderSize>;

// The message that a header from the wire announces: its own header converted, room for header().datalen bytes of
// payload. Throws BadMessage when the header is none, or announces more than kLargestPayload.
Buffer announced(const WireHeader& wire);

// Converts the payload, once it was read, to host form. False when it is not what its type says; it is lost then.
bool decode(Buffer& message);

// A message in network order, ready to be written.
struct WireMessage {
  HeapPtr<MsgHeader> block;
  std::size_t length = 0;

  const char* bytes() const { return reinterpret_cast<const char*>(block.get()); }
  char* bytes() { return reinterpret_cast<char*>(block.get()); }
};

// Takes a message and encodes it; nothing when its payload is not what its type says, the message then kept.
std::optional<WireMessage> encode(Buffer& message);

}  // namespace vxa::gateway
