#include "tools/dump.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "gateway/message.h"
#include "gateway/names.h"
#include "vxa/fbuf.h"
#include "wire/header.h"

namespace vxa::tools {

namespace {

constexpr auto kHeader = static_cast<std::size_t>(kHeaderSize);
constexpr int kReplies = 1000;    // replies carry the request's code and this, or twice this for a failure
constexpr int kXaRequests = 100;  // and above

std::string message_name(int msgtype) {
  const char* suffix = msgtype < kReplies ? "" : msgtype < 2 * kReplies ? " reply" : " failure";
  return gateway::request_name(msgtype % kReplies) + suffix;
}

void print_bytes(const char* data, std::size_t length, std::FILE* out) {
  for (std::size_t line = 0; line < length; line += 16) {
    std::fprintf(out, "  %06zx ", line);
    for (std::size_t i = line; i < line + 16; ++i)
      i < length ? std::fprintf(out, " %02x", static_cast<unsigned char>(data[i])) : std::fprintf(out, "   ");
    std::fputs("  ", out);
    for (std::size_t i = line; i < line + 16 && i < length; ++i)
      std::fputc(std::isprint(static_cast<unsigned char>(data[i])) ? data[i] : '.', out);
    std::fputc('\n', out);
  }
}

void print_header(const MsgHeader& header, std::FILE* out) {
  std::fprintf(out, "%s", message_name(header.msgtype).c_str());
  if (header.svcname[0]) std::fprintf(out, " %.32s", header.svcname);
  std::fprintf(out, ": msgtype %d, seqno %d, %d bytes of %s", header.msgtype, header.seqno, header.datalen,
               gateway::payload_name(header.type).c_str());
  if (header.subtype[0]) std::fprintf(out, " %.16s", header.subtype);
  std::fprintf(out, "\n  txid %d %d %d  flags %#x  result %d  cd %d  handle %d  rmid %d  reqctl %#x\n", header.txid[0],
               header.txid[1], header.txid[2], header.flags, header.result, header.cd, header.handle, header.rmid,
               header.reqctl);
}

// A field buffer is decoded and listed when it is sound; everything else is shown as its bytes.
void print_payload(gateway::Buffer message, const std::string& payload, std::FILE* out) {
  const MsgHeader& header = gateway::header_of(message);
  const bool fields = header.type == payload::kField && header.msgtype % kReplies < kXaRequests;
  std::copy(payload.begin(), payload.end(), message.get());
  if (fields && gateway::decode(message)) {
    fbfprint(message.get(), out);
    return;
  }
  if (fields) std::fputs("  damaged field buffer:\n", out);
  print_bytes(payload.data(), payload.size(), out);
}

// Shows one message and gives the bytes it takes.
std::size_t print_message(const std::string& stream, std::size_t at, std::FILE* out) {
  if (stream.size() - at < kHeader) throw std::runtime_error("the last message is cut off inside its header");
  gateway::WireHeader wire;
  std::copy_n(stream.data() + at, kHeader, wire.data());
  gateway::Buffer message = gateway::announced(wire);
  const auto length = static_cast<std::size_t>(gateway::header_of(message).datalen);
  print_header(gateway::header_of(message), out);
  if (stream.size() - at - kHeader < length) throw std::runtime_error("the last message is cut off inside its payload");
  if (length > 0) print_payload(std::move(message), stream.substr(at + kHeader, length), out);
  return kHeader + length;
}

void print_image(const std::string& image, std::FILE* out) {
  MsgHeader header;
  std::memcpy(static_cast<void*>(&header), image.data(), kHeader);
  if (header.size < 0 || static_cast<std::size_t>(header.size) > image.size() - kHeader)
    throw std::runtime_error("the field buffer image is cut off: its capacity is " + std::to_string(header.size));
  const gateway::Buffer buffer = gateway::make_buffer("FIELD", header.size);
  std::copy_n(image.data() + kHeader, header.size, buffer.get());
  std::fprintf(out, "field buffer, capacity %d, used %ld\n", header.size, fbget_used(buffer.get()));
  if (fbfprint(buffer.get(), out) < 0) throw std::runtime_error("this typed buffer holds no field buffer");
}

}  // namespace

void dump(const std::string& bytes, std::FILE* out) {
  std::uint32_t first = 0;
  if (bytes.size() >= kHeader) std::memcpy(&first, bytes.data(), sizeof first);
  if (first == kMessageMagic) return print_image(bytes, out);
  for (std::size_t at = 0; at < bytes.size();) at += print_message(bytes, at, out);
}

}  // namespace vxa::tools
