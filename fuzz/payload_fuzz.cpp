// Received payloads of any bytes: decoded, and what was decoded encoded and decoded again without a difference.
//
// Input: payload type, _endian, two bytes of control word, then the payload.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/heap.h"
#include "tests/support/structs.h"
#include "vxa/vxa_host.h"

namespace {

using Message = vxa::HeapPtr<vesk_msg_header>;

constexpr std::size_t kPrefix = 4;

Message message_of(int type, const void* payload, std::size_t size) {
  Message message{static_cast<vesk_msg_header*>(std::malloc(sizeof(vesk_msg_header) + size))};
  if (!message) std::abort();
  _init_header(message.get());
  message->type = type;
  message->datalen = message->size = static_cast<int>(size);
  std::memcpy(message.get() + 1, payload, size);
  return message;
}

// A field buffer that was decoded can be sent, and arrives as it was sent.
void send_and_receive(const vesk_msg_header* message) {
  int length = 0;
  const Message sent{_hton_data_fdl(message, &length)};
  if (!sent) std::abort();
  const auto size = static_cast<std::size_t>(length);
  const Message arrived = message_of(message->type, sent.get() + 1, size);
  if (!_ntoh_data_fdl(message, reinterpret_cast<char*>(sent.get() + 1), reinterpret_cast<char*>(arrived.get() + 1)))
    std::abort();
  int second = 0;
  const Message resent{_hton_data_fdl(arrived.get(), &second)};
  if (!resent || second != length || std::memcmp(sent.get() + 1, resent.get() + 1, size) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // "m" is converted member by member and grows on the way in, "w" keeps its size.
  static const host::Structs structs{
      {host::struct_row("m", 24, 15, 0, 2), host::struct_row("w", 5, 5, 2, 2)},
      {host::member_row("a", 4, 1, 0, 0), host::member_row("b", 2, 1, 0, 8), host::member_row("c", 7, 5, 0, 0)}};
  if (size < kPrefix) return 0;
  Message message = message_of(data[0] % 14, data + kPrefix, size - kPrefix);
  _endian = data[1] % 3;
  message->reqctl = static_cast<unsigned>(data[2]) << 24 | data[3];
  message->subtype[0] = data[3] & 1 ? 'm' : 'w';
  Message decoded{_vesk_decode_idata(message.get())};
  if (!decoded) return 0;
  (void)message.release();
  if (decoded->datalen > 0 && decoded->type == 2 && !(decoded->reqctl & 0x04000000)) send_and_receive(decoded.get());
  if (vesk_msg_header* encoded = _vesk_encode_odata(decoded.get())) {
    (void)decoded.release();
    std::free(encoded);
  }
  return 0;
}
