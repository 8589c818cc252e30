// What a peer sends before it hangs up, for the targets that read messages from a descriptor.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "base/bytes.h"
#include "vxa/vxa_host.h"

namespace fuzz {

constexpr std::size_t kHeader = 136;
constexpr std::size_t kMost = 60000;  // what a pipe or a socket holds without a reader

// Makes the word at an offset small: a large one would only measure the allocator's patience. Negative ones stay.
inline std::int32_t curb(std::string& stream, std::size_t at, bool network_order) {
  const auto value = network_order ? vxa::load_be<std::int32_t>(&stream[at]) : vxa::load<std::int32_t>(&stream[at]);
  if (value < 0) return value;
  network_order ? vxa::store_be(&stream[at], value & 0x1FFFF) : vxa::store(&stream[at], value & 0x1FFFF);
  return value & 0x1FFFF;
}

// Curbs the lengths in each header of a stream. The gateway link reads no payload behind a negative size, the channels
// do not look at the size.
inline void curb_lengths(std::string& stream, bool network_order, bool by_size) {
  for (std::size_t at = 0; at + kHeader <= stream.size(); at += kHeader) {
    const std::int32_t size = by_size ? curb(stream, at + offsetof(vesk_msg_header, size), network_order) : 0;
    const std::int32_t datalen = curb(stream, at + offsetof(vesk_msg_header, datalen), network_order);
    if (size >= 0 && datalen > 0) at += static_cast<std::size_t>(datalen);
  }
}

// A descriptor to read the stream and its end from.
inline int sent(const std::string& stream, bool socket) {
  int fds[2];
  if ((socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, fds) : pipe(fds)) != 0) std::abort();
  if (write(fds[1], stream.data(), stream.size()) != static_cast<ssize_t>(stream.size())) std::abort();
  close(fds[1]);
  return fds[0];
}

}  // namespace fuzz
