// The message header as the rest of the library uses it: its constants and its conversion, inlined.
#pragma once

#include <cstddef>
#include <cstring>

#include "base/bytes.h"
#include "base/heap.h"
#include "vxa/vxa_host.h"

namespace vxa {

using MsgHeader = vesk_msg_header;

static_assert(sizeof(MsgHeader) == 136);
static_assert(offsetof(MsgHeader, txid) == 40 && offsetof(MsgHeader, subtype) == 52 &&
              offsetof(MsgHeader, svcname) == 68 && offsetof(MsgHeader, datalen) == 100 &&
              offsetof(MsgHeader, reqctl) == 116 && offsetof(MsgHeader, rmid) == 128);

inline constexpr std::int64_t kHeaderSize = sizeof(MsgHeader);
inline constexpr std::int64_t kTrailerReserve = 64;  // bytes behind every typed buffer's data
inline constexpr std::uint32_t kMessageMagic = 0x90352082;

// Payload kinds: the buffer classes of typed buffers, and the two that stand behind a request control block.
namespace payload {
enum Type : std::int32_t {
  kStruct = 1,
  kField = 2,
  kString = 3,
  kCarray = 4,
  kStart = 5,
  kHeaderOnly = 9,
  kControlledStruct = 11,
  kControlledField = 12,
};
}  // namespace payload

// Bits of the request control word.
inline constexpr std::uint32_t kTrailerFree = 0x02000000;        // the trailer reserve is unused
inline constexpr std::uint32_t kTrailerPresent = 0x04000000;     // the payload ends with a trailer
inline constexpr std::uint32_t kTrailerLengthMask = 0x000000FF;  // its length

inline bool has_magic(const MsgHeader* header) { return header->magic == kMessageMagic; }

inline std::int32_t trailer_length(const MsgHeader* header) {
  return header->reqctl & kTrailerPresent ? static_cast<std::int32_t>(header->reqctl & kTrailerLengthMask) : 0;
}

inline char* payload_of(MsgHeader* header) { return reinterpret_cast<char*>(header + 1); }
inline const char* payload_of(const MsgHeader* header) { return reinterpret_cast<const char*>(header + 1); }

// A message in one block of the heap, header and payload.
using Message = HeapPtr<MsgHeader>;

// Fills a header: zero, but for the magic number and the header-only type.
void init_header(MsgHeader* header);

// A new header-only message with that type and result. Null when memory is short, after a log record.
Message new_header(int msgtype, int result);

// Converts a header between host order and network order; the same operation both ways. src and dst may be the same
// area, else the service name arrives with at most 31 characters and a terminator.
void convert_header(const MsgHeader* src, MsgHeader* dst);

}  // namespace vxa
