/** @file
 * What a host process uses of libvxa beside the XA and XATMI calls: the log functions that it supplies, the trace hook,
 * message headers, struct descriptions, link state, trailers, sockets and the runtime toolkit.
 *
 * Names that begin with an underscore belong to the system's shared runtime and keep their historical spelling.
 */
#ifndef VXA_HOST_H
#define VXA_HOST_H

#include <stddef.h>
#include <stdint.h>

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/** @defgroup host_log Error log
 * Functions that the host supplies, all or none; the library logs nothing without them.
 * @{
 */

/** Whether records of a level are wanted.
 *
 * @param level  1 for trouble that ends a service, 2 for the rest
 * @return nonzero when they are
 */
int _vesk_check_loglvl(int level);

/** Writes one record.
 *
 * @param flag    1: add the text of errno
 * @param level   as of _vesk_check_loglvl()
 * @param code    three letters and four digits, as "COM0104"
 * @param format  printf format for the values
 * @param ...     the values
 * @return anything: the result is not looked at
 */
int _real_errwork(int flag, int level, const char *code, const char *format, ...);

/** Writes one record, called without asking for the level first.
 *
 * @param flag    1: add the text of errno
 * @param level   as of _vesk_check_loglvl()
 * @param code    three letters and four digits, as "COM0104"
 * @param format  printf format for the values
 * @param ...     the values
 * @return anything: the result is not looked at
 */
int vesk_errwork(int flag, int level, const char *code, const char *format, ...);

/** @} */

/** @defgroup host_trace Trace hook
 * The function that every typed-buffer and field-buffer call reports to.
 * @{
 */

/** Called by every typed-buffer and field-buffer call once on entry, and once before it returns or fails.
 *
 * The library's own definition does nothing; a host that defines the function itself receives the events, as it is
 * always called by its exported name. Pointers travel as the unsigned value of their low 32 bits, which `%#x` prints.
 *
 * @param name        the call's name
 * @param call_class  1
 * @param event       1 on entry, 2 before it returns, 4 before it fails
 * @param format      printf format for the values
 * @param ...         the values
 * @return 1
 */
int _vesk_trace(const char *name, int call_class, int event, const char *format, ...);

/** Does nothing.
 *
 * @return 1, always
 */
int _internal_call_chk(void);

/** @} */

/** @defgroup host_header Message header and byte order
 * What stands in front of every message, and how its numbers travel.
 * @{
 */

/** The header in front of every message, and, unseen by the application, in front of every typed buffer's data.
 *
 * Words are in host order in memory and big-endian on the wire; the two texts travel as they are.
 */
struct vesk_msg_header {
  uint32_t magic;      /**< 0x90352082 */
  int32_t seqno;       /**< request sequence number */
  int32_t type;        /**< payload kind: 1 struct, 2 field, 3 string, 4 bytes, 5 start/init, 9 header only */
  int32_t size;        /**< capacity of the payload area; in an XA request payload length + 136 */
  int32_t msgtype;     /**< request code; a reply carries it + 1000 (success) or + 2000 (failure) */
  int32_t result;      /**< reply: XA result or application return code */
  int32_t reserved24;  /**< zero */
  int32_t aux;         /**< zero on gateway messages; an argument on the process channel */
  int32_t reserved32;  /**< zero */
  int32_t reserved36;  /**< zero */
  int32_t txid[3];     /**< transaction identifier, assigned by the gateway */
  char subtype[16];    /**< struct name, NUL-padded, not terminated at 16 characters */
  char svcname[32];    /**< service name, at most 31 characters, NUL-padded */
  int32_t datalen;     /**< payload bytes that follow on the wire */
  uint32_t flags;      /**< request: the caller's flags; reply: error number, 0 for success */
  int32_t cd;          /**< call descriptor of an asynchronous call */
  int32_t reserved112; /**< zero */
  uint32_t reqctl;     /**< request control word: trailer bits, or 0x10000000 in a service request */
  int32_t reserved120; /**< zero */
  int32_t handle;      /**< XA handle, -1 for a synchronous XA request */
  int32_t rmid;        /**< XA resource manager id */
  int32_t reserved132; /**< zero */
};
typedef struct vesk_msg_header vesk_msg_header; /**< The header in front of every message. */

/** Host byte order, 0 until _check_node() has run: 1 big-endian, 2 little-endian.
 *
 * Doubles travel with their halves swapped until then: call _check_node() once at start, on both ends of the link.
 */
extern int32_t _endian;

/** 0 until _check_node() has run: 2 big-endian, 4 little-endian. */
extern int32_t _node_type;

/** Probes the host's byte order and sets #_endian and #_node_type.
 *
 * @return 1
 */
int _check_node(void);

/** Fills a header: zero, but for the magic number and type 9.
 *
 * @param[out] header  136 bytes
 * @return 1
 */
int _init_header(vesk_msg_header *header);

/** Allocates a header-only message (144 bytes).
 *
 * @param msgtype  its message type
 * @param result   its result
 * @return the message, which the caller releases with free; null when memory is short, after log record COM0001
 */
vesk_msg_header *_header_msg_make(int msgtype, int result);

/** Converts a header from host to network order.
 *
 * @param src       the header in host order
 * @param[out] dst  receives it in network order; may be src
 * @return dst
 */
vesk_msg_header *_hton_header(const vesk_msg_header *src, vesk_msg_header *dst);

/** Converts a header from network to host order.
 *
 * @param src       the header in network order
 * @param[out] dst  receives it in host order; may be src
 * @return dst
 */
vesk_msg_header *_ntoh_header(const vesk_msg_header *src, vesk_msg_header *dst);

/** @} */

/** @defgroup host_sdl Struct descriptions
 * The layouts of the application's structs, from struct description files.
 * @{
 */

/** One struct, as it lies in a struct description file and in #_sdl_table. */
struct vesk_sdl_struct {
  char name[16];                            /**< not terminated at 16 characters */
  void (*hton)(const void *src, void *dst); /**< host form to wire form, one element; null: the library's own */
  void (*ntoh)(const void *src, void *dst); /**< wire form to host form, one element; null: the library's own */
  int32_t first;                            /**< index of its first member in #_sdl_field_table */
  int32_t last;                             /**< index of its last member */
  char unused40[8];                         /**< not looked at */
  int32_t host_size;                        /**< bytes of one element in memory */
  int32_t unused52;                         /**< not looked at */
  int32_t network_size;                     /**< bytes of one element on the wire */
  int32_t unused60;                         /**< not looked at */
};

/** One member of a struct, as it lies in a struct description file and in #_sdl_field_table. */
struct vesk_sdl_member {
  char name[32];       /**< its name in the struct */
  uint32_t key;        /**< the field that the member maps to */
  int32_t type;        /**< 1 char, 2 short, 3 int, 4 long, 5 float, 6 double, 7 string, 8 carray */
  char null_value[36]; /**< text of the value that stands for an absent field */
  int32_t count;       /**< elements; for string and carray the member's bytes */
  int32_t length;      /**< bytes of one string or carray element */
  int32_t offset;      /**< of the member in the struct in memory */
  int32_t unused88;    /**< not looked at */
};

extern struct vesk_sdl_struct *_sdl_table;       /**< all loaded structs, in file order; empty until _sdlfile_load() */
extern int32_t _sdl_table_size;                  /**< structs in #_sdl_table */
extern struct vesk_sdl_member *_sdl_field_table; /**< the members of all structs, in file order */
extern int32_t _sdl_field_table_size;            /**< members in #_sdl_field_table */

/** 1 once _sdlfile_load() has succeeded. */
extern int32_t _sdlfile_loadsw;

/** Loads the struct description files. Call it once at start, before the first struct buffer.
 *
 * The files are those that the environment variable SDLFILE64 names, or, when that is not set, SDLFILE: a list of paths
 * with commas between them, 255 characters at most. Without a list the call does nothing. A second call loads anew and
 * releases what the first one loaded.
 *
 * @return 1, or -1 after a log record (CLI0116 to CLI0125): a file that cannot be opened or is no description file
 *   stops the load with what the files before it gave; one that is cut short, or memory that is short, empties the
 *   tables
 */
int _sdlfile_load(void);

/** The size in memory of one struct.
 *
 * @param name  the struct's name, of which 16 characters count
 * @return bytes; -1 when it is not described
 */
int _get_host_stsize(const char *name);

/** The sizes of one struct in memory and on the wire. Nothing is stored when it is not described.
 *
 * @param name               the struct's name, of which 16 characters count
 * @param[out] host_size     receives the bytes in memory
 * @param[out] network_size  receives the bytes on the wire
 * @return 1, or -1 when it is not described
 */
int _get_host_nw_stsize(const char *name, int *host_size, int *network_size);

/** @} */

/** @defgroup host_link Gateway link
 * The state of the link, and of the calls that are outstanding on it.
 * @{
 */

/** @name Set by vesk_xa_open() and vesk_xa_close()
 * @{
 */
extern int32_t _xa_opensw; /**< 1 while the link is open */
extern int32_t _rmid;      /**< the resource manager id that the link was opened under; -1 when closed */
extern int32_t _gwfd;      /**< the socket to the gateway; 0 before the first open, -1 after a close */
/** @} */

/** @name From the open string
 * Timeout and level outlive a reopen that does not name them.
 * @{
 */
extern int32_t _timeout;        /**< seconds that a synchronous XA call waits; 0: its reply must be there already */
extern int32_t _dbg_lvl;        /**< the debug level, which nothing consults */
extern char vesk_hostaddr[256]; /**< the gateway's host */
extern int32_t vesk_hostport;   /**< the gateway's port */
/** @} */

/** The transaction that service calls belong to, as the gateway named it in its reply to the last synchronous xa_start.
 */
extern int32_t txid[3];

/** Seconds that tpgetrply(), and tpacall() under #TPACKWAIT, wait for the reply that answers the call. For the host to
 * set.
 *
 * 0, the initial value: they take the next message on the link, whatever it is, and wait for it without limit.
 */
extern int32_t _bc_timeout;

/** An outstanding tpacall(). */
struct vesk_acall_slot {
  int32_t cd;             /**< its descriptor; -1 marks a free slot */
  uint32_t flags;         /**< the flags of the call */
  vesk_msg_header *reply; /**< a reply that came before it was asked for, owned by the slot; or null */
};

/** @name Outstanding calls
 * To look at, not to change.
 * @{
 */
extern struct vesk_acall_slot *_acall; /**< their table, 16 slots once the link was opened, null before */
extern int32_t _acall_size;            /**< slots of #_acall */
extern int32_t _active_tpacall_count;  /**< slots of #_acall that are in use */
extern int32_t _cur_acall_cd;          /**< the last descriptor that was handed out */
/** @} */

/** @} */

/** @defgroup host_encoding Payload encoding
 * How payloads are converted for the wire and back.
 *
 * Payloads of type 1 (struct) and 2 (field buffer) travel converted, numbers big-endian; 11 and 12 are the same behind
 * a 168-byte request control block; every other type travels as it lies in memory. The last bytes of a payload may be
 * a trailer (see @ref host_trailers), which is never converted.
 *
 * @note DOUBLES TRAVEL WITH THEIR HALVES EXCHANGED until _check_node() has been called: call it at start, on both ends.
 * @{
 */

/** Encodes a message's payload when its type asks for it and datalen is not 0. Cost: the payload.
 *
 * @param message  the message, header in host order; released when a new one takes its place
 * @return the message itself when there is nothing to do; else a new message that the caller releases with free, with
 *   the header of the old one (in host order) and the encoded datalen. Null when it cannot be encoded, after log record
 *   CSC6402, CSC6404 or CSC6405; the old message is then untouched.
 */
vesk_msg_header *_vesk_encode_odata(vesk_msg_header *message);

/** Decodes a received message when its type asks for it and datalen is at least 1. Cost: the payload.
 *
 * @param message  the message, a heap block, header in host order; released when a new one takes its place
 * @return the message, decoded in place, or a new message in its place when a struct's sizes differ. Null when the
 *   struct is not described or the payload is damaged, after log record CSC6406: the caller then still owns the
 *   message, whose fields may be decoded in part.
 */
vesk_msg_header *_vesk_decode_idata(vesk_msg_header *message);

/** Encodes the struct elements of a message.
 *
 * @param message      the message in host form, which stays as it is
 * @param[out] length  receives the bytes of the new message's payload
 * @return a new message that the caller releases with free, its header zero; null when it cannot be encoded
 */
vesk_msg_header *_hton_data_sdl(const vesk_msg_header *message, int *length);

/** Encodes the field buffer of a message.
 *
 * @param message      the message in host form, which stays as it is
 * @param[out] length  receives the bytes of the new message's payload
 * @return a new message that the caller releases with free, its header zero; null when it cannot be encoded
 */
vesk_msg_header *_hton_data_fdl(const vesk_msg_header *message, int *length);

/** Decodes struct elements: datalen / network size of them.
 *
 * @param header       its subtype names the struct, its datalen the bytes at src
 * @param src          the elements in wire form
 * @param[out] dst     receives them in host form, with room for as many host sizes; may be the same address as src
 * @param[out] length  receives the bytes stored at dst
 * @return dst; null when the struct is not described or memory is short
 */
char *_ntoh_data_sdl(const vesk_msg_header *header, const char *src, char *dst, int *length);

/** Decodes a field buffer.
 *
 * @param header    not looked at
 * @param src       the field buffer in wire form; the used length that it tells is believed
 * @param[out] dst  receives it in host form, with room for the used length; may be the same address as src
 * @return dst; null when a record does not fit the used length or its type is unknown, the records before it being
 *   decoded
 */
char *_ntoh_data_fdl(const vesk_msg_header *header, const char *src, char *dst);

/** Converts the 168-byte request control block at the start of a message's payload in place.
 *
 * Does nothing when #_endian is 1.
 *
 * @param message  the message
 */
void _hton_data_rqctl(vesk_msg_header *message);

/** Converts a double from host form to wire form.
 *
 * @param src       8 bytes in host form
 * @param[out] dst  receives 8 bytes in wire form
 * @return 1
 */
int _double_encode(const void *src, void *dst);

/** Converts a double from wire form to host form.
 *
 * @param src       8 bytes in wire form
 * @param[out] dst  receives 8 bytes in host form
 * @return 1
 */
int _double_decode(const void *src, void *dst);

/** @} */

/** @defgroup host_trailers Typed buffer trailers
 * Tagged entries of up to 62 bytes behind a typed buffer's data, in a reserve of 64 bytes that every typed buffer has.
 *
 * An entry costs 2 bytes beside its data. Entries are part of the payload and travel with it, unconverted. tpcall() and
 * tpacall() clear the control word of the buffer that they send, so only messages that a host sends itself carry a
 * trailer.
 *
 * A call's header is the address 136 bytes in front of the buffer's data. A tag is one byte, 0 to 255.
 * @{
 */

/** Adds an entry.
 *
 * @param header  136 bytes in front of the buffer's data
 * @param data    the entry's bytes
 * @param tag     its tag
 * @param length  how many bytes
 * @return 1, or -1 with log record COM0050, the buffer being as it was: a null argument, a length below 1, or no room
 */
int _vesk_add_trailer(vesk_msg_header *header, const void *data, int tag, int length);

/** Finds the first entry with a tag.
 *
 * @param header          136 bytes in front of the buffer's data
 * @param[out] out        null, or receives the entry's bytes, when length is given
 * @param tag             its tag
 * @param[in,out] length  null, or on entry the bytes that out holds and on return those copied, 0 when the entry is
 *                        longer; left alone when out is null or its value below 1
 * @return 1, or 0 when there is none
 */
int _vesk_find_trailer(vesk_msg_header *header, void *out, int tag, int *length);

/** Removes the first entry with a tag.
 *
 * @param header          136 bytes in front of the buffer's data
 * @param[out] out        null, or receives the entry's bytes, when length is given
 * @param tag             its tag
 * @param[in,out] length  null, or on entry the bytes that out holds and on return those copied, 0 whenever nothing is
 * @return 1, or 0 when there is none
 */
int _vesk_del_trailer(vesk_msg_header *header, void *out, int tag, int *length);

/** @} */

/** @defgroup host_sockets Sockets and descriptors
 * IPv4 over TCP, and reads and writes that move all of their bytes.
 *
 * Addresses are in network order, ports in host order. Descriptors up to 16383 can be waited on.
 *
 * The calls that connect take an address and a host's name: an address of 0 or -1 stands for the host's, any other
 * makes the name irrelevant. Those whose names end in 2 connect from a local port, with SO_REUSEADDR.
 * @{
 */

/** Looks a host up.
 *
 * @param name  a dotted address or a host's name
 * @return its address; -1 when the name does not resolve
 */
int _vesk_getipbyname(const char *name);

/** Opens a connection, waiting without limit.
 *
 * @param host  the host's name
 * @param addr  its address, or 0 or -1
 * @param port  its port
 * @return the connected, blocking socket, which the caller closes, or -1
 */
int _network_connect(const char *host, uint32_t addr, int port);

/** Opens a connection from a local port, waiting without limit.
 *
 * @param host       the host's name
 * @param addr       its address, or 0 or -1
 * @param port       its port
 * @param localport  the port to connect from
 * @return the connected, blocking socket, which the caller closes, -1, or -2 when the local port cannot be bound
 */
int _network_connect2(const char *host, uint32_t addr, int port, int localport);

/** Opens a connection, waiting so many seconds.
 *
 * @param host  the host's name
 * @param addr  its address, or 0 or -1
 * @param port  its port
 * @param secs  the most seconds to wait; no limit when it is below 1
 * @return the connected, blocking socket, which the caller closes, or -1, with errno ETIME when the time ran out
 */
int _network_connect_with_timeout(const char *host, uint32_t addr, int port, int secs);

/** Opens a connection from a local port, waiting so many seconds.
 *
 * @param host       the host's name
 * @param addr       its address, or 0 or -1
 * @param port       its port
 * @param secs       the most seconds to wait; no limit when it is below 1
 * @param localport  the port to connect from
 * @return the connected, blocking socket, which the caller closes, -1, with errno ETIME when the time ran out, or -2
 *   when the local port cannot be bound
 */
int _network_connect_with_timeout2(const char *host, uint32_t addr, int port, int secs, int localport);

/** Opens a connection, waiting so many seconds and microseconds.
 *
 * @param host   the host's name
 * @param addr   its address, or 0 or -1
 * @param port   its port
 * @param secs   the most seconds to wait
 * @param usecs  microseconds beside them; no limit when both are below 1
 * @return the connected, blocking socket, which the caller closes, or -1, with errno ETIME when the time ran out
 */
int _network_connect_with_timeout3(const char *host, uint32_t addr, int port, int secs, int usecs);

/** Opens a connection without waiting for it.
 *
 * @param host     the host's name
 * @param addr     its address, or 0 or -1
 * @param port     its port
 * @param[out] fd  receives the socket; unchanged on failure
 * @return 1 with a connected, blocking socket in `*fd`, 0 with a non-blocking one there whose connection is in progress
 *   (the caller completes it), or -1
 */
int _network_connect_nb(const char *host, uint32_t addr, int port, int *fd);

/** Opens a connection from a local port without waiting for it.
 *
 * @param host       the host's name
 * @param addr       its address, or 0 or -1
 * @param port       its port
 * @param[out] fd    receives the socket; unchanged on failure
 * @param localport  the port to connect from
 * @return as _network_connect_nb(), or -2 when the local port cannot be bound
 */
int _network_connect_nb2(const char *host, uint32_t addr, int port, int *fd, int localport);

/** Opens a listening socket (backlog 127, SO_REUSEADDR) on every address.
 *
 * @param port  the port; 0: any
 * @return the socket, which the caller closes, or
 *   - -1: no socket could be made
 *   - -2: it could not be bound
 *   - -3: it could not listen
 */
int _network_listen(int port);

/** Opens a listening socket on every address as _network_listen() does, but without SO_REUSEADDR.
 *
 * @param port  the port; 0: any
 * @return as _network_listen()
 */
int _network_listen2(int port);

/** Opens a listening socket on one address as _network_listen() does.
 *
 * @param addr  the address
 * @param port  the port; 0: any
 * @return as _network_listen()
 */
int _network_listen_ipaddr(uint32_t addr, int port);

/** Opens a listening socket on one address as _network_listen() does, and tells its port.
 *
 * @param addr          the address
 * @param[in,out] port  null for any port, or on entry the port (0: any) and on return the one that was bound
 * @return as _network_listen(), or -4 when the port that was bound could not be read back
 */
int _network_listen_ipaddr2(uint32_t addr, int *port);

/** Accepts a connection and sets SO_KEEPALIVE on it.
 *
 * @param fd  a listening socket
 * @return the new socket, which the caller closes, or -1
 */
int _network_accept(int fd);

/** Accepts a connection, sets SO_KEEPALIVE on it, and tells the peer's address.
 *
 * @param fd         a listening socket
 * @param[out] addr  null, or receives the address
 * @return the new socket, which the caller closes, or -1
 */
int _network_accept2(int fd, uint32_t *addr);

/** Reads n bytes from a socket, however they arrive and whatever signals do.
 *
 * @param fd        the socket
 * @param[out] buf  receives them
 * @param n         how many
 * @return n, fewer when the stream ended before (0 included), 0 for an n below 1, or -1 with errno set
 */
int _vesk_readn(int fd, void *buf, int n);

/** Reads n bytes from any descriptor, however they arrive and whatever signals do.
 *
 * @param fd        the descriptor
 * @param[out] buf  receives them
 * @param n         how many
 * @return as _vesk_readn()
 */
int pipe_readn(int fd, void *buf, int n);

/** Writes n bytes to a socket.
 *
 * A signal is a failure: a host whose signals may arrive meanwhile installs its handlers with SA_RESTART. A peer that
 * is gone raises SIGPIPE unless the host ignores it.
 *
 * @param fd   the socket
 * @param buf  the bytes
 * @param n    how many
 * @return n, 0 for an n below 1, or the 0 or -1 of the write that failed; the bytes before it are not counted
 */
int _vesk_writen(int fd, const void *buf, int n);

/** The same as _vesk_writen().
 *
 * @param fd   the socket
 * @param buf  the bytes
 * @param n    how many
 * @return as _vesk_writen()
 */
int _vesk_writen_urg(int fd, const void *buf, int n);

/** Writes n bytes to any descriptor; signals and a peer that is gone as for _vesk_writen().
 *
 * @param fd   the descriptor
 * @param buf  the bytes
 * @param n    how many
 * @return as _vesk_writen()
 */
int pipe_writen(int fd, const void *buf, int n);

/** Waits until a socket is readable, then reads.
 *
 * @param fd        the socket
 * @param[out] buf  receives the bytes
 * @param n         how many
 * @param secs      the most seconds to wait; a signal starts the wait anew
 * @param whole     nonzero: read n bytes as _vesk_readn() does; 0: what one read gives
 * @return the read's result, or -1, with errno EINTR when the time ran out
 */
int _vesk_read_timeout(int fd, void *buf, int n, int secs, int whole);

/** Clears errno and waits until a descriptor is readable.
 *
 * @param fd    the descriptor
 * @param secs  the most seconds to wait
 * @return 1 when it is, 0 when the time ran out, -1 on an error, a signal (EINTR) included
 */
int _vesk_read_check(int fd, int secs);

/** Sets bits of the file status flags.
 *
 * @param fd     the descriptor
 * @param flags  O_NONBLOCK and the like
 * @return 1, or -1 after a log record
 */
int _set_fl(int fd, int flags);

/** Clears bits of the file status flags.
 *
 * @param fd     the descriptor
 * @param flags  O_NONBLOCK and the like
 * @return 1, or -1 after a log record
 */
int _clr_fl(int fd, int flags);

/** Prints O_APPEND, O_NONBLOCK and O_SYNC of a descriptor on standard output, each as its bit or 0.
 *
 * @param fd  the descriptor
 * @return 1, or -1 after a log record
 */
int _show_fl(int fd);

/** Sets close-on-exec.
 *
 * @param fd    the descriptor
 * @param flag  must be 1 (FD_CLOEXEC)
 * @return 1, or -1 after a log record
 */
int _set_fd(int fd, int flag);

/** @} */

/** @defgroup host_channels Process and node channels
 * Messages between the system's own processes: a header and its payload over a socket or a pipe.
 *
 * A process channel, within a node, carries the header in host order; a node channel, between nodes, in network order.
 * Every call moves one whole message and waits as long as that takes. Signals and a peer that is gone: as for
 * _vesk_writen().
 *
 * Arguments that messages are made of go to the members of #vesk_msg_header that have their names.
 * @{
 */

/** @name Set by the host
 * They travel as the type word of the messages that are made here.
 * @{
 */
extern int32_t _my_tproc;  /**< its process type, an index into #_tproc_name */
extern int32_t _my_nodeno; /**< its node's number */
/** @} */

/** Short names of the process types; the host may put its own in their place. */
extern const char *_tproc_name[34];

/** @name Outcome of the last read
 * - 0: a message
 * - -1: end of input before it
 * - -2: header cut short or not readable
 * - -3: no magic number
 * - -4: no memory
 * - -5: payload cut short, not readable, or of negative length
 *
 * All but 0, -1 and a first allocation that failed are logged.
 * @{
 */
extern int32_t _procio_errno; /**< of _read_procmsg_sync() */
extern int32_t _nodeio_errno; /**< of _read_nodemsg_sync() */
/** @} */

/** Reads a message from a process channel.
 *
 * @param fd  the channel
 * @return a new block with the header in host order and the payload as it arrived, which the caller releases with free;
 *   null with the outcome in #_procio_errno
 */
vesk_msg_header *_read_procmsg_sync(int fd);

/** Reads a message from a node channel.
 *
 * @param fd  the channel
 * @return a new block with the header in host order and the payload as it arrived, which the caller releases with free;
 *   null with the outcome in #_nodeio_errno
 */
vesk_msg_header *_read_nodemsg_sync(int fd);

/** Writes a message to a process channel.
 *
 * @param fd       the channel
 * @param message  the message, 136 + datalen bytes
 * @return 1, or -1; nothing is written when datalen is negative
 */
int _write_procmsg_sync(int fd, const vesk_msg_header *message);

/** Writes a message to a node channel.
 *
 * @param fd               the channel
 * @param[in,out] message  the message, 136 + datalen bytes; its header is left in network order
 * @return 1, or -1; nothing is written when datalen is negative
 */
int _write_nodemsg_sync(int fd, vesk_msg_header *message);

/** Makes a message without payload and writes it to a process channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param result   its result
 * @param cd       its call descriptor
 * @param flags    its flags
 * @return 1, or -1 when the write failed or memory was short
 */
int _send_procmsg_nodata(int fd, int msgtype, int result, int cd, int flags);

/** Makes a message with a service name and writes it to a process channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param svcname  32 bytes, which travel whole
 * @param result   its result
 * @param cd       its call descriptor
 * @param flags    its flags
 * @return 1, or -1 when the write failed, memory was short or svcname is null
 */
int _send_procmsg_nodata_svcname(int fd, int msgtype, const char *svcname, int result, int cd, int flags);

/** Makes a message with a service name and a text and writes it to a process channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param svcname  32 bytes, which travel whole
 * @param text     at most 31 characters, which travel at offset 36 of the header
 * @param result   its result
 * @param cd       its call descriptor
 * @param flags    its flags
 * @return 1, or -1 when the write failed, memory was short, svcname or text is null, or text is too long
 */
int _send_procmsg_nodata_svcname2(int fd, int msgtype, const char *svcname, const char *text, int result, int cd,
                                  int flags);

/** Makes a message without payload, but with an argument, and writes it to a process channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param result   its result
 * @param cd       its call descriptor
 * @param aux      its argument
 * @param flags    its flags
 * @return 1, or -1 when the write failed or memory was short
 */
int _send_procmsg_nodata_3(int fd, int msgtype, int result, int cd, int aux, int flags);

/** Makes a message without payload and writes it to a node channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param result   its result
 * @param cd       its call descriptor
 * @param flags    its flags
 * @return 1, or -1 when the write failed or memory was short
 */
int _send_nodemsg_nodata(int fd, int msgtype, int result, int cd, int flags);

/** Makes a message with a payload and writes it to a process channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param result   its result
 * @param cd       its call descriptor
 * @param flags    its flags
 * @param datalen  bytes of payload
 * @param data     the payload
 * @return 1, or -1 when the write failed, memory was short or datalen is negative
 */
int _send_procmsg_data(int fd, int msgtype, int result, int cd, int flags, int datalen, const void *data);

/** Makes a message with a payload and an argument and writes it to a process channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param result   its result
 * @param cd       its call descriptor
 * @param aux      its argument
 * @param flags    its flags
 * @param datalen  bytes of payload
 * @param data     the payload
 * @return 1, or -1 when the write failed, memory was short or datalen is negative
 */
int _send_procmsg_data_3(int fd, int msgtype, int result, int cd, int aux, int flags, int datalen, const void *data);

/** Makes a message with a payload and writes it to a node channel.
 *
 * @param fd       the channel
 * @param msgtype  its message type
 * @param result   its result
 * @param cd       its call descriptor
 * @param flags    its flags
 * @param datalen  bytes of payload
 * @param data     the payload
 * @return 1, or -1 when the write failed, memory was short or datalen is negative
 */
int _send_nodemsg_data(int fd, int msgtype, int result, int cd, int flags, int datalen, const void *data);

/** Converts the payload of a recover-data message from host to network order, in place.
 *
 * It holds result records of 20 bytes, of which the last 4 stay as they are. When datalen is not 0, no record beyond it
 * is touched. Until _check_node() has run the host counts as little-endian.
 *
 * @param message  a message of code 173 or 1173, header in host order
 * @return 1, or -1 for other codes
 */
int _hton_recover_data(vesk_msg_header *message);

/** Converts the payload of a recover-data message from network to host order, in place, as _hton_recover_data() does.
 *
 * @param message  a message of code 173 or 1173, header in host order
 * @return 1, or -1 for other codes
 */
int _ntoh_recover_data(vesk_msg_header *message);

/** @} */

/** @defgroup host_trace_spec Trace specification
 * Settings for a host that defines _vesk_trace() itself.
 *
 * A trace specification, usually the value of VESK_TRACE, is "on", "off", or up to three fields between colons, as in
 * "iatmi:ulog:ulog(entering)". At least one of the first two must be there.
 * - LEVEL: "*" or one of "atmi", "iatmi", "xa", "trace", which a '+' or '-' before it adds to or takes from the level
 *   that stands; "atmi" when left out
 * - DESTINATION: "ulog" or "RECEIVER/ulog"
 * - ACTION: "dye", "undye", "abort", "ulog(MESSAGE)", "system(MESSAGE)", "trace(MESSAGE)" or "sleep(SECONDS)", or
 *   "/TARGET/" and one of these; a message may stand in double quotes; "dye" when left out
 *
 * The library makes the settings below of it, but consults none.
 * @{
 */

/** Call classes: 0x1 atmi, 0x3 iatmi, 0x4 xa, 0x8 trace, 0xF all. */
extern int32_t _level;

/** 0x10000 abort, 0x20000 ulog, 0x40000 system, 0x80000 trace, 0x100000 dye, 0x200000 undye, 0x400000 sleep. */
extern int32_t _action;

extern char *_recv_spec;   /**< receiver, a block of 4096 bytes; null until one is named, kept until the next is */
extern char *_act_spec;    /**< target, likewise */
extern char *_act_msg;     /**< message, a block of 4096 bytes that every parse replaces */
extern int32_t _act_sleep; /**< seconds of the last "sleep"; -1 before any parse */
extern int32_t _dye_level; /**< 0 after every parse */
extern int32_t _tmtrace;   /**< 1: a specification was taken apart, even if then refused; 2: there was none */
extern char _obuf[4096];   /**< the specification that was last taken for parsing */

/** @name For the host's use
 * The library neither reads nor writes them.
 * @{
 */
extern int32_t _trc_set;   /**< the host's */
extern int32_t _trc_count; /**< the host's */
extern int32_t _pflag;     /**< the host's */
extern int32_t _call;      /**< the host's */
/** @} */

/** Resets the settings, then parses as _parse_trace() does.
 *
 * Level, action and seconds become 0; target and message are forgotten. The forgotten blocks stay allocated: a host
 * that wants them back releases them with free before the call.
 *
 * @param spec    as of _parse_trace()
 * @param unused  not looked at
 * @return as _parse_trace()
 */
int _chk_trace(const char *spec, int unused);

/** Parses a specification into the settings.
 *
 * @param spec    the specification; null: that of VESK_TRACE
 * @param unused  not looked at
 * @return 1, also when there is none, or -1 after a log record: for a text of 4096 characters or more, one with more
 *   than three fields, or a field that is not as above. What was set before the bad field stays set.
 */
int _parse_trace(const char *spec, int unused);

/** Prints the settings on standard output, on one line.
 *
 * @return 1
 */
int _trace_dbg(void);

/** @} */

/** @defgroup host_semantics Semantics settings
 * What the environment variable VESK_SEMANTICS chooses.
 *
 * It holds settings, as in "FDL_LEN=TRU,CRYPT_SW=Y": items separated by commas, each a key, '=' or ':', and a value; an
 * item has at most 256 characters, a value 255. Blanks are dropped wherever they stand. The library reads it when the
 * length policy is first needed, and again at every need until a read succeeds.
 * @{
 */

/** 1 once the settings were read. */
extern int32_t _vesk_semantics_flag;

/** FDL_LEN: what becomes of a string or carray that is longer than the length that its reader gave.
 *
 * - 0 (not set) and 1 ("OLD"): copied whole
 * - 2 ("TRU"): cut to that length
 * - 3 ("ERR"): refused with #FBENOSPACE
 */
extern int32_t _vesk_flen_flag;

/** CRYPT_SW: 1 for "Y" or "y". The library does not consult it. */
extern int32_t _vesk_crypt_sw;

/** Reads the settings unless they were read.
 *
 * @return 1, also when the variable is not set, or -1 for a malformed item (empty, unknown key, no separator, too
 *   long): the flags then stay as they were
 */
int _vesk_read_semantics(void);

/** Sets the three flags to 0, so that the next use reads the settings again.
 *
 * A key that the variable then does not name keeps the value that was last read for it.
 *
 * @return 1
 */
int _vesk_init_semantics(void);

/** @} */

/** @defgroup host_environment Environment file and paths
 * The file that sets the environment of the system's processes, and the paths in it.
 * @{
 */

/** Reads an environment file and puts its assignments into the environment of the process.
 *
 * Malformed lines are reported to the log (COM0029 to COM0034) and skipped.
 *
 * @param path     the file
 * @param section  beside the assignments outside of sections, those of the sections labelled with this name are put;
 *                 null: of none
 * @return 1 when at least one assignment was put, else -1: none applied, the file cannot be read (COM0035), memory is
 *   short (COM0036) or putenv failed (COM0037). What was put before a failure stays.
 */
int _set_veskenv(const char *path, const char *section);

/** Parses one line of an environment file.
 *
 * @param line      the line, with or without its newline
 * @param[out] out  1024 bytes, which receive the label of result 2 and NAME=VALUE, expanded, of result 4, and are left
 *                  alone otherwise
 * @retval 1   a comment
 * @retval 2   the start of a section
 * @retval 3   the return to the common part
 * @retval 4   an assignment
 * @retval 5   a blank line
 * @retval -1  a malformed line (after a log record), or a null argument
 */
int _process_env_line(const char *line, char *out);

/** Appends a slash to a path that does not end in one.
 *
 * @param[in,out] path  the path, with room for the slash
 * @return 1 when it already did, 0 when the slash was added (an empty path gets one too), -1 when path is null
 */
int _slash_check(char *path);

/** The directory of a path, up to and including its last slash or backslash.
 *
 * @param path  the path
 * @return the directory in a static area that the next call overwrites; null when there is none, or when path is null
 *   or has 256 characters or more
 */
char *_vesk_path_prefix(const char *path);

/** What follows the last slash or backslash of a path, the whole path when it has none.
 *
 * @param path  the path
 * @return a pointer into path; null when path is null or empty
 */
char *_vesk_path_basename(const char *path);

/** Creates a directory and its missing parents, with permissions 0777 less the file-creation mask.
 *
 * @param path  the directory
 * @return 0, or -1 when it is there already, cannot be created, or path is null or has 256 characters or more
 */
int _vesk_create_dir(const char *path);

/** Replaces every backslash of a path by a slash, in place.
 *
 * @param[in,out] path  the path
 */
void _vesk_conv_slash(char *path);

/** Normalises a path in place.
 *
 * Backslashes become slashes, empty and "." components go, and ".." goes together with the component in front of it; a
 * last component with no separator behind it is not changed.
 *
 * @param[in,out] path  the path
 * @return 1, or -1 when path is null
 */
int _vesk_proc_path(char *path);

/** Writes the name of the manager's rendezvous file, vmmd: in VESK_PATHDIR when that is set, else in path/ below
 * VESKDIR.
 *
 * @param[out] buffer  receives it, with room for the directory, "/path/" and the name
 * @return 1, or -1 when buffer is null or neither variable is set
 */
int _get_vmm_path(char *buffer);

/** Writes the name of the manager's lock file, vmmld, beside that of _get_vmm_path().
 *
 * @param[out] buffer  receives it, with room for the directory, "/path/" and the name
 * @return as _get_vmm_path()
 */
int _vesk_vmm_lockfile(char *buffer);

/** @} */

/** @defgroup host_process Process utilities
 * Signals, daemons, core dumps, commands, argument vectors, dumps and queue keys.
 * @{
 */

typedef void (*vesk_signal_handler)(int number); /**< A signal handler; it is given the signal's number. */

/** Installs a signal handler.
 *
 * No signals are blocked while it runs but its own, interrupted system calls are not restarted, and for SIGSEGV and
 * SIGBUS it is called with the signal's details.
 *
 * @param number   the signal
 * @param handler  the handler
 * @return the handler before it, or -1 cast to a handler
 */
vesk_signal_handler _vesk_register_signal(int number, vesk_signal_handler handler);

/** Says where a core dump goes, and raises the size limit of core files as far as it goes.
 *
 * @param directory  the directory, 255 characters of it at most; null: log/slog below VESKDIR, nowhere when that is not
 *                   set
 * @return 0, or -1: the limit cannot be raised, or VESKDIR is too long, and dumps then go nowhere
 */
int _vesk_set_coredumpdir(const char *directory);

/** A signal handler that has the process dump its core where _vesk_set_coredumpdir() said, once. Safe at any time.
 *
 * It does nothing when that is nowhere.
 *
 * @param number  the signal
 */
void _vesk_sig_coredump(int number);

/** 1 once _vesk_sig_coredump() has started a dump; 0 again after _vesk_set_coredumpdir(). */
extern int32_t _vesk_coredump;

/** Goes on as a daemon.
 *
 * In a child with a session of its own, the standard streams on /dev/null, descriptors 3 to 255 closed, in /tmp,
 * file-creation mask 0. The parent ends with status 0; what stdio has buffered is written before, exit handlers are
 * left to the child.
 *
 * @return 0 in the child, or -1 when there is none
 */
int _daemon_init(void);

/** 1 after _daemon_init() has succeeded. */
extern int32_t _daemon;

/** Puts the three standard streams on /dev/null.
 *
 * @return 0
 */
int _vesk_detach_console(void);

/** Runs a command with /bin/sh and waits for it, and for no other child.
 *
 * @param command  the command line
 * @return its wait status (as of waitpid; exit status 127 when there is no shell), -1 when it cannot be run or waited
 *   for, 1 when command is null
 */
int _vesk_system(const char *command);

/** Waits that many seconds, whatever signals arrive.
 *
 * @param seconds  how many; at least one is waited
 * @return 0
 */
int _vesk_real_wait(int seconds);

/** Splits a text at white space into a null-terminated vector of words. There is no quoting.
 *
 * @param text        the text
 * @param[out] count  null, or receives the number of words
 * @return the vector, one block with its words, which the caller releases with free; null when memory is short
 *   (COM0028)
 */
char **_vesk_build_argv_argc(const char *text, int *count);

/** The vector of the words of a command and of its arguments, as _vesk_build_argv_argc() makes it.
 *
 * @param command    the command
 * @param arguments  its arguments, or null
 * @return the vector, one block with its words, which the caller releases with free; null when memory is short
 *   (COM0026, COM0028)
 */
char **_vesk_build_argv(const char *command, const char *arguments);

/** Joins texts, a blank behind each.
 *
 * @param count   how many; a null in the vector ends them earlier
 * @param vector  the texts, or null
 * @return a block that the caller releases with free; null when memory is short (COM0027)
 */
char *_vesk_mkstr_from_argv(int count, char *const *vector);

/** Counts the texts of a vector.
 *
 * @param vector  the texts, ended by a null
 * @return the number of texts before the null
 */
int _get_argc_from_argv(char *const *vector);

/** Whether a text holds nothing.
 *
 * @param text  the text
 * @return 1 when it is null, empty or white space only, else 0
 */
int is_null_data(const char *text);

/** Writes the name of a product's service: 12 and "abc" make "p0012_abc".
 *
 * @param product   the product's number
 * @param function  the service's name within it
 * @param[out] out  receives the name, with room for it
 * @return 1, or -1 when function or out is null
 */
int _make_svcname_from_prodno_funcname(int product, const char *function, char *out);

/** Prints a hexadecimal dump on standard output, 16 bytes a line.
 *
 * @param data    the bytes; null: none are printed
 * @param base    the offset that the first one is shown with
 * @param length  how many
 */
void _vesk_dump2(const void *data, int base, int length);

/** Prints a hexadecimal dump as _vesk_dump2() does, with offsets from 0.
 *
 * Of more than 1024 bytes it prints the first 512 and about as many of the last.
 *
 * @param data    the bytes; null: none are printed
 * @param length  how many
 */
void _vesk_dump(const void *data, int length);

/** Whether a descriptor is open.
 *
 * @param fd  the descriptor
 * @return 0 when it is not, else 1
 */
int _valid_fd(int fd);

/** The IPv4 address that a socket is connected to.
 *
 * @param socket  the socket
 * @return the address in dotted form, in a static area that the next call overwrites; "Unknown" when it cannot be had
 */
const char *_vesk_peerip(int socket);

/** Whether a key is a system queue key: 16 bytes that begin with `$SQID`.
 *
 * @param key     the key
 * @param length  its bytes
 * @return 1 when it is, else 0
 */
int _vesk_sq_issyskey(const char *key, int length);

/** The number of the node that a system queue key ends with, in three hexadecimal digits.
 *
 * @param key     the key
 * @param length  its bytes
 * @return the number; -1 when it is no such key
 */
int _vesk_sq_getnodeno_from_syskey(const char *key, int length);

/** @} */

/** @defgroup host_acl Access control lists
 * IPv4 networks that are let in, and the files that list them.
 * @{
 */

/** An IPv4 network that is let in. */
struct vesk_acl_entry {
  uint32_t address;            /**< network byte order, masked */
  int32_t prefix;              /**< leading bits that count, 0 to 32 */
  struct vesk_acl_entry *next; /**< null in the last one */
};

/** A list of networks; made by _acl_create(), changed by the calls below alone. */
typedef struct vesk_acl {
  struct vesk_acl_entry *first; /**< null in an empty list */
  struct vesk_acl_entry *last;  /**< null in an empty list */
  int32_t count;                /**< networks in the list */
} vesk_acl;

/** Reads an access list file.
 *
 * Lines that are not valid are reported to the log (COM0053, COM0054) and skipped.
 *
 * @param path    the file
 * @param create  not 0: a file that does not exist is created and gives an empty list
 * @return the list, which the caller releases with _acl_destroy(). Null when path is null, the file cannot be read or
 *   memory is short (COM0051, COM0052).
 */
vesk_acl *_acl_create(const char *path, int create);

/** Releases a list.
 *
 * @param list  the list; null is let pass
 * @return 1
 */
int _acl_destroy(vesk_acl *list);

/** Adds a network, in one pass over the list.
 *
 * @param list     the list
 * @param address  network byte order, of which the first prefix bits count
 * @param prefix   0 to 32
 * @return 1, or
 *   - 0: it is in the list already
 *   - -1: list is null, address is 255.255.255.255, prefix is not 0 to 32, or memory is short (COM0052)
 */
int _acl_add(vesk_acl *list, uint32_t address, int prefix);

/** Removes a network, in one pass over the list.
 *
 * @param list     the list
 * @param address  network byte order, of which the first prefix bits count
 * @param prefix   0 to 32
 * @return 1, or
 *   - 0: it is not in the list
 *   - -1: list is null, address is 255.255.255.255 or prefix is not 0 to 32
 */
int _acl_del(vesk_acl *list, uint32_t address, int prefix);

/** Whether a network of the list holds an address.
 *
 * @param list     the list
 * @param address  network byte order
 * @return 1 when one does, else 0
 */
int _acl_search(const vesk_acl *list, uint32_t address);

/** Appends an entry to an access list file, with a comment that holds the time.
 *
 * @param path     the file
 * @param address  an address in dotted form
 * @param prefix   1 to 32; 0 writes none, and the entry is read back as that one address
 * @return 1, or -1 when an argument is null, the prefix is not 0 to 32, or the file cannot be written
 */
int _acl_add_to_file(const char *path, const char *address, int prefix);

/** Not supported.
 *
 * @return -1
 */
int _acl_del_from_file(void);

/** @} */

VXA_END_DECLS

#endif
