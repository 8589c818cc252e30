// Recover data, the payload of messages 173 and 1173: as many records as the header's result word says, five words
// each. Four of them change their byte order on the way; the fifth always travels as it is.
#include <algorithm>

#include "wire/header.h"

namespace vxa {

namespace {

constexpr std::int32_t kRecover = 173;
constexpr std::int32_t kRecoverReply = 1173;
constexpr std::int64_t kRecordSize = 20;
constexpr std::int64_t kConvertedSize = 16;
constexpr std::int32_t kNetworkOrderHost = 1;

void swap_words(char* from, const char* end) {
  for (; from < end; from += sizeof(std::uint32_t)) store(from, byteswap(load<std::uint32_t>(from)));
}

int convert_recover_data(MsgHeader* message) {
  if (!message || (message->msgtype != kRecover && message->msgtype != kRecoverReply)) return -1;
  if (_endian == kNetworkOrderHost) return 1;
  // A sender may convert before it states the payload's length.
  std::int64_t count = message->result;
  if (message->datalen != 0) count = std::min(count, message->datalen / kRecordSize);
  char* record = payload_of(message);
  for (; count > 0; --count, record += kRecordSize) swap_words(record, record + kConvertedSize);
  return 1;
}

}  // namespace

}  // namespace vxa

using namespace vxa;

extern "C" int _hton_recover_data(MsgHeader* message) { return convert_recover_data(message); }

extern "C" int _ntoh_recover_data(MsgHeader* message) { return convert_recover_data(message); }
