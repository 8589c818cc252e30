// Sockets as the rest of the library uses them: transfers of whole blocks, and the connection to the gateway.
#pragma once

#include <cstdint>

namespace vxa::net {

// Reads n bytes from a socket, whatever pieces and signals they arrive with. Gives n, fewer when the stream ended
// before (0 included), or -1 with errno set; 0 when n is below 1.
int read_full(int fd, void* to, int n);

// Writes n bytes to a socket. Gives n, or the 0 or -1 of the send that failed, a signal included: what went before is
// then not counted. 0 when n is below 1.
int write_full(int fd, const void* from, int n);

// The same two with read and write, for descriptors that are no sockets.
int read_full_any(int fd, void* to, int n);
int write_full_any(int fd, const void* from, int n);

// Opens a TCP connection and waits for it without limit. addr is in network order; 0 and -1 stand for the address of
// the host. Gives the socket or -1.
int connect_to(const char* host, std::uint32_t addr, int port);

}  // namespace vxa::net
