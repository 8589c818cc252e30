// Message headers: construction, conversion between host and network order, and the host byte-order probe.
#include "base/log.h"
#include "wire/header.h"

std::int32_t _endian = 0;
std::int32_t _node_type = 0;

namespace vxa {

namespace {

constexpr std::size_t kWordSize = 4;
constexpr std::int64_t kHeaderOnlyBlock = 144;

// Converts the words of one contiguous run of the header.
void convert_words(const char* src, char* dst, std::size_t from, std::size_t to) {
  for (std::size_t at = from; at < to; at += kWordSize) store(dst + at, load_be<std::uint32_t>(src + at));
}

}  // namespace

void init_header(MsgHeader* header) {
  std::memset(header, 0, sizeof *header);
  header->magic = kMessageMagic;
  header->type = payload::kHeaderOnly;
}

Message new_header(int msgtype, int result) {
  Message message = heap_alloc<MsgHeader>(kHeaderOnlyBlock);
  if (!message) {
    log_record(SystemError::Omit, 2, "COM0001", "0001 memory allocation error : size = %d", int{kHeaderSize});
    return nullptr;
  }
  init_header(message.get());
  message->msgtype = msgtype;
  message->result = result;
  return message;
}

void convert_header(const MsgHeader* src, MsgHeader* dst) {
  const auto* from = reinterpret_cast<const char*>(src);
  auto* to = reinterpret_cast<char*>(dst);
  convert_words(from, to, 0, offsetof(MsgHeader, subtype));
  convert_words(from, to, offsetof(MsgHeader, datalen), sizeof(MsgHeader));
  if (src == dst) return;
  std::memcpy(dst->subtype, src->subtype, sizeof dst->subtype);
  const std::size_t length = strnlen(src->svcname, sizeof src->svcname - 1);
  std::memset(dst->svcname, 0, sizeof dst->svcname);
  std::memcpy(dst->svcname, src->svcname, length);
}

}  // namespace vxa

using namespace vxa;

extern "C" int _init_header(MsgHeader* header) {
  init_header(header);
  return 1;
}

extern "C" MsgHeader* _header_msg_make(int msgtype, int result) { return new_header(msgtype, result).release(); }

extern "C" MsgHeader* _hton_header(const MsgHeader* src, MsgHeader* dst) {
  convert_header(src, dst);
  return dst;
}

extern "C" MsgHeader* _ntoh_header(const MsgHeader* src, MsgHeader* dst) {
  convert_header(src, dst);
  return dst;
}

extern "C" int _check_node() {
  const unsigned char probe[4] = {1, 2, 3, 4};
  const bool big = load<std::uint32_t>(probe) == 0x01020304;
  _endian = big ? 1 : 2;
  _node_type = big ? 2 : 4;
  return 1;
}
