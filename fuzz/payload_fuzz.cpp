// Received payloads of any bytes: decoded, and what was decoded encoded and decoded again without a difference.
//
// Input: payload type, _endian, two bytes of control word, then the payload.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "vxa/vxa_host.h"

namespace {

constexpr std::size_t kPrefix = 4;

// "m" is converted member by member and grows on the way in, "w" keeps its size.
vesk_sdl_struct structs[2];
vesk_sdl_member members[3];

void describe_structs() {
  std::memcpy(structs[0].name, "m", 2);
  structs[0].host_size = 24;
  structs[0].network_size = 15;
  structs[0].last = 2;
  std::memcpy(structs[1].name, "w", 2);
  structs[1].host_size = structs[1].network_size = 5;
  structs[1].first = structs[1].last = 2;
  members[0].type = 4;
  members[0].count = 1;
  members[1].type = 2;
  members[1].count = 1;
  members[1].offset = 8;
  members[2].type = 7;
  members[2].count = 5;
  _sdl_table = structs;
  _sdl_table_size = 2;
  _sdl_field_table = members;
  _sdl_field_table_size = 3;
}

vesk_msg_header* received(const std::uint8_t* data, std::size_t size) {
  auto* message = static_cast<vesk_msg_header*>(std::malloc(sizeof(vesk_msg_header) + size));
  if (!message) std::abort();
  _init_header(message);
  message->type = data[0] % 14;
  _endian = data[1] % 3;
  message->reqctl = static_cast<unsigned>(data[2]) << 24 | data[3];
  message->subtype[0] = data[3] & 1 ? 'm' : 'w';
  message->datalen = message->size = static_cast<int>(size);
  std::memcpy(message + 1, data + kPrefix, size);
  return message;
}

const char* payload(const vesk_msg_header* message) { return reinterpret_cast<const char*>(message + 1); }

// A field buffer that was decoded can be sent, and arrives as it was sent.
void send_and_receive(const vesk_msg_header* message) {
  int length = 0;
  vesk_msg_header* sent = _hton_data_fdl(message, &length);
  if (!sent) std::abort();
  auto* again = static_cast<char*>(std::malloc(static_cast<std::size_t>(length) + 1));
  if (!again || !_ntoh_data_fdl(message, payload(sent), again)) std::abort();
  vesk_msg_header* arrived =
      static_cast<vesk_msg_header*>(std::malloc(sizeof *arrived + static_cast<std::size_t>(length)));
  if (!arrived) std::abort();
  *arrived = *message;
  arrived->reqctl = 0;
  arrived->datalen = arrived->size = length;
  std::memcpy(arrived + 1, again, static_cast<std::size_t>(length));
  int second = 0;
  vesk_msg_header* resent = _hton_data_fdl(arrived, &second);
  if (!resent || second != length || std::memcmp(payload(sent), payload(resent), static_cast<std::size_t>(length)) != 0)
    std::abort();
  std::free(resent);
  std::free(arrived);
  std::free(again);
  std::free(sent);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kPrefix) return 0;
  describe_structs();
  vesk_msg_header* message = received(data, size - kPrefix);
  vesk_msg_header* decoded = _vesk_decode_idata(message);
  if (!decoded) {
    std::free(message);
    return 0;
  }
  if (decoded->datalen > 0 && decoded->type == 2 && !(decoded->reqctl & 0x04000000)) send_and_receive(decoded);
  vesk_msg_header* encoded = _vesk_encode_odata(decoded);
  std::free(encoded ? encoded : decoded);
  return 0;
}
