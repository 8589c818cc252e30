#include "gateway/message.h"

#include <algorithm>
#include <new>
#include <utility>

#include "vxa/vxa_host.h"

namespace vxa::gateway {

Buffer make_buffer(const char* type, std::int64_t capacity) {
  Buffer buffer{tpalloc(type, nullptr, static_cast<long>(capacity))};
  if (!buffer) throw std::bad_alloc();
  return buffer;
}

Buffer make_string(const std::string& text) {
  Buffer buffer = make_buffer("STRING", static_cast<std::int64_t>(text.size()) + 1);
  std::copy(text.begin(), text.end(), buffer.get());
  header_of(buffer).datalen = static_cast<std::int32_t>(text.size()) + 1;
  return buffer;
}

Buffer announced(const WireHeader& wire) {
  MsgHeader header;
  std::memcpy(&header, wire.data(), wire.size());
  _ntoh_header(&header, &header);
  if (!has_magic(&header)) throw BadMessage("wrong magic number");
  if (header.datalen < 0 || header.datalen > kLargestPayload) throw BadMessage("impossible payload length");
  if (header.size < 0 || header.size > kLargestPayload + kHeaderSize) throw BadMessage("impossible buffer size");

  header.svcname[sizeof header.svcname - 1] = '\0';
  header.size = std::max(header.size, header.datalen);
  auto block = heap_alloc_zeroed<MsgHeader>(typed_block_size(header.size));
  if (!block) throw std::bad_alloc();
  *block = header;
  return Buffer{payload_of(block.release())};
}

bool decode(Buffer& message) {
  MsgHeader* decoded = _vesk_decode_idata(&header_of(message));
  if (!decoded) return false;
  (void)message.release();  // decoded is the same block or has replaced it
  message.reset(payload_of(decoded));
  return true;
}

std::optional<WireMessage> encode(Buffer& message) {
  MsgHeader* encoded = _vesk_encode_odata(&header_of(message));
  if (!encoded) return {};
  (void)message.release();  // encoded is the same block or has replaced it
  WireMessage wire{HeapPtr<MsgHeader>{encoded}, static_cast<std::size_t>(kHeaderSize + encoded->datalen)};
  _hton_header(encoded, encoded);
  return wire;
}

}  // namespace vxa::gateway
