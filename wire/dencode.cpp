// Encoding and decoding of messages: the dispatch by payload kind, blocks, trailers, and the exported names.
#include "wire/dencode.h"

#include <algorithm>
#include <bit>

#include "base/log.h"
#include "fb/fbheader.h"
#include "fb/fcache.h"
#include "tbuffer/tbuffer.h"
#include "wire/double.h"
#include "wire/fieldcodec.h"
#include "wire/structcodec.h"

namespace vxa::codec {

namespace {

constexpr std::int64_t kControlBlock = 168;  // the request control block that payload kinds 11 and 12 begin with
constexpr std::int64_t kLoggedExtra = 200;   // header and trailer reserve, as log records count them

bool is_converted(std::int32_t type) {
  return type == payload::kStruct || type == payload::kField || type == payload::kControlledStruct ||
         type == payload::kControlledField;
}

// A payload's bytes in front of its trailer, and those of the trailer.
struct Extent {
  explicit Extent(const MsgHeader* message)
      : body(std::int64_t{message->datalen} - trailer_length(message)), trailer(trailer_length(message)) {}

  bool sound() const { return body >= 0 && trailer <= kTrailerReserve; }

  std::int64_t body;
  std::int64_t trailer;
};

// Bytes of payload that the message's block holds by its header: a capacity, where the header has one.
std::int64_t payload_room(const MsgHeader* message) { return std::max(message->size, message->datalen); }

// Makes the block for length bytes of encoded payload, which the caller writes, and puts the message's trailer behind
// them. spare: bytes that the caller writes beyond them.
Encoded make_output(const MsgHeader* message, std::int64_t length, std::int64_t spare, const char* log_code) {
  const Extent extent{message};
  HeapPtr<MsgHeader> block;
  if (extent.sound() && length >= 0 && length + extent.trailer <= INT32_MAX)
    block = heap_alloc<MsgHeader>(typed_block_size(length + spare));
  if (!block) {
    log_record(SystemError::Omit, 2, log_code, "0003 memory allocation error : size = %d",
               static_cast<int>(length + kLoggedExtra));
    return {};
  }
  char* tail = payload_of(block.get()) + length;
  std::memset(static_cast<void*>(block.get()), 0, kHeaderSize);
  std::memset(tail, 0, static_cast<std::size_t>(spare + kTrailerReserve));
  std::memcpy(tail, payload_of(message) + extent.body, static_cast<std::size_t>(extent.trailer));
  return {std::move(block), static_cast<std::int32_t>(length + extent.trailer)};
}

// The elements of kind 11 lie behind the control block on both sides, which is neither copied nor counted.
Encoded encode_struct(const MsgHeader* message) {
  const StructCodec codec{message->subtype, To::kWire};
  if (!codec) return {};
  const std::int64_t count = std::max(Extent{message}.body, std::int64_t{0}) / codec.host_size();
  const std::int64_t length = count * codec.wire_size();
  const std::int64_t front = message->type == payload::kControlledStruct ? kControlBlock : 0;
  if (front != 0 && message->size >= message->datalen &&
      front + count * codec.host_size() > message->size + kTrailerReserve)
    return {};
  Encoded output = make_output(message, length, front, "CSC6402");
  if (!output.message) return {};
  char* data = payload_of(output.message.get());
  std::memset(data, 0, static_cast<std::size_t>(length));
  codec.convert(payload_of(message) + front, data + front, count);
  return output;
}

// Converts the header of a field buffer, and hands the buffer to its new reader without remembered positions.
void finish_fields(const char* src, char* dst) {
  const auto words = load<std::uint64_t>(src);
  store(dst, std::rotl(byteswap(words), 32));
  fcache::clear(dst);
}

// Kind 12 sends its control block as it is. A payload without a field buffer sends its trailer alone.
Encoded encode_fields(const MsgHeader* message) {
  const std::int64_t front = message->type == payload::kControlledField ? kControlBlock : 0;
  const std::int64_t room = payload_room(message) - front;
  const bool empty = Extent{message}.body - front <= 0;
  if (room < (empty ? 0 : fb::kBufferHeader)) return {};
  const char* fields = payload_of(message) + front;
  const std::int64_t used = empty ? 0 : fb::used_of(fields);
  if (used != 0 && (used < fb::kBufferHeader || used > room)) return {};

  Encoded output = make_output(message, front + used, 0, "CSC6404");
  if (!output.message) return {};
  char* data = payload_of(output.message.get());
  std::memcpy(data, payload_of(message), static_cast<std::size_t>(front));
  if (used == 0) return output;
  if (!convert_fields<To::kWire>(fields, data + front, used)) return {};
  finish_fields(fields, data + front);
  return output;
}

// Converts received elements; what is to be decoded in place goes through a temporary. False without memory for it.
bool decode_elements(const StructCodec& codec, const char* src, char* dst, std::int64_t count) {
  if (src != dst) {
    codec.convert(src, dst, count);
    return true;
  }
  const std::int64_t length = count * codec.host_size();
  const HeapPtr<char> decoded = heap_alloc_zeroed<char>(length);
  if (!decoded) return false;
  codec.convert(src, decoded.get(), count);
  std::memcpy(dst, decoded.get(), static_cast<std::size_t>(length));
  return true;
}

void set_decoded_length(MsgHeader* message, std::int64_t length) {
  message->datalen = static_cast<std::int32_t>(length);
  if (message->reqctl & kTrailerPresent)
    message->reqctl = (message->reqctl & ~(kTrailerPresent | kTrailerLengthMask)) | kTrailerFree;
}

Decoding decode_struct(HeapPtr<MsgHeader>& message) {
  const StructCodec codec{message->subtype, To::kHost};
  if (!codec) return {Decoding::kUnknownStruct};
  const std::int64_t count = message->datalen / codec.wire_size();
  const std::int64_t length = count * codec.host_size();
  char* data = payload_of(message.get());
  if (codec.host_size() == codec.wire_size()) {
    if (!decode_elements(codec, data, data, count)) return {Decoding::kFailed};
    set_decoded_length(message.get(), length);
    return {};
  }

  HeapPtr<MsgHeader> block;
  const std::int64_t capacity = std::max(length, std::int64_t{message->size});
  if (length <= INT32_MAX) block = heap_alloc_zeroed<MsgHeader>(typed_block_size(capacity));
  if (!block) return {Decoding::kNoBlock, kHeaderSize + length};
  *block = *message;
  block->size = static_cast<std::int32_t>(capacity);
  codec.convert(data, payload_of(block.get()), count);
  set_decoded_length(block.get(), length);
  message = std::move(block);
  return {};
}

bool decode_fields(const char* src, char* dst) {
  if (!convert_fields<To::kHost>(src, dst, load_be<std::int32_t>(src + 4))) return false;
  finish_fields(src, dst);
  return true;
}

// A payload that is a trailer alone has nothing to decode.
Decoding decode_fields(MsgHeader* message) {
  if (Extent{message}.body == 0) return {};
  char* data = payload_of(message);
  if (message->datalen < fb::kBufferHeader) return {Decoding::kFailed};
  const auto used = load_be<std::int32_t>(data + 4);
  const bool sound = used >= fb::kBufferHeader && used <= message->datalen;
  return {sound && decode_fields(data, data) ? Decoding::kDone : Decoding::kFailed};
}

}  // namespace

bool needs_encoding(const MsgHeader* message) { return message->datalen != 0 && is_converted(message->type); }

Encoded encode(const MsgHeader* message) {
  return message->type == payload::kField ? encode_fields(message) : encode_struct(message);
}

Decoding decode(HeapPtr<MsgHeader>& message) {
  if (message->datalen < 1 || !is_converted(message->type)) return {};
  return message->type == payload::kStruct ? decode_struct(message) : decode_fields(message.get());
}

}  // namespace vxa::codec

using namespace vxa;
using namespace vxa::codec;

namespace {

MsgHeader* hand_out(Encoded encoded, int* length) {
  if (encoded.message) *length = encoded.length;
  return encoded.message.release();
}

}  // namespace

extern "C" MsgHeader* _hton_data_sdl(const MsgHeader* message, int* length) {
  return hand_out(encode_struct(message), length);
}

extern "C" MsgHeader* _hton_data_fdl(const MsgHeader* message, int* length) {
  return hand_out(encode_fields(message), length);
}

extern "C" char* _ntoh_data_sdl(const MsgHeader* header, const char* src, char* dst, int* length) {
  const StructCodec codec{header->subtype, To::kHost};
  if (!codec) return nullptr;
  const std::int64_t count = std::max(header->datalen, 0) / codec.wire_size();
  const std::int64_t decoded = count * codec.host_size();
  if (decoded > INT32_MAX || !decode_elements(codec, src, dst, count)) return nullptr;
  *length = static_cast<int>(decoded);
  return dst;
}

// The bound of the walk is what the payload itself says.
extern "C" char* _ntoh_data_fdl(const MsgHeader*, const char* src, char* dst) {
  return decode_fields(src, dst) ? dst : nullptr;
}

extern "C" MsgHeader* _vesk_encode_odata(MsgHeader* message) {
  if (!needs_encoding(message)) return message;
  Encoded encoded = encode(message);
  if (!encoded.message) return nullptr;
  *encoded.message = *message;
  encoded.message->datalen = encoded.length;
  if (message->type == payload::kField) fcache::clear(payload_of(message));
  std::free(message);
  return encoded.message.release();
}

extern "C" MsgHeader* _vesk_decode_idata(MsgHeader* message) {
  HeapPtr<MsgHeader> owned{message};
  if (decode(owned).status == Decoding::kDone) return owned.release();
  (void)owned.release();
  return nullptr;
}

extern "C" void _hton_data_rqctl(MsgHeader* message) {
  if (_endian == kBigEndianHost) return;
  char* block = payload_of(message);
  for (const int word : {0, 4, 8, 12, 144, 148, 152, 156, 160})
    store(block + word, byteswap(load<std::uint32_t>(block + word)));
  for (const int slot : {112, 120, 128, 136})
    store(block + slot, std::uint64_t{byteswap(load<std::uint32_t>(block + slot))});
}
