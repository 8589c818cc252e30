/* What a host process uses of libvxa beside the XA and XATMI calls: the log functions that it supplies, the trace hook,
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

/* ---- Error log: supplied by the host, all or none; the library logs nothing without them ------------------------- */

/* Nonzero when records of that level are wanted: 1 for trouble that ends a service, 2 for the rest. */
int _vesk_check_loglvl(int level);

/* Writes one record. flag 1: add the text of errno. code: three letters and four digits, as "COM0104". format: printf
 * format for the values. The result is not looked at. */
int _real_errwork(int flag, int level, const char *code, const char *format, ...);

/* The same, called without asking for the level first. */
int vesk_errwork(int flag, int level, const char *code, const char *format, ...);

/* ---- Trace hook -------------------------------------------------------------------------------------------------- */

/* Called by every typed-buffer and field-buffer call once on entry (event 1) and once before it returns (event 2) or
 * fails (event 4), with the call's name, call class 1, and a printf format with its values. The library's own
 * definition does nothing and returns 1; a host that defines the function itself receives the events, as it is always
 * called by its exported name. Pointers travel as the unsigned value of their low 32 bits, which "%#x" prints. */
int _vesk_trace(const char *name, int call_class, int event, const char *format, ...);

/* Always 1. */
int _internal_call_chk(void);

/* ---- Message header and byte order -------------------------------------------------------------------------------- */

/* The header in front of every message, and, unseen by the application, in front of every typed buffer's data. Words
 * are in host order in memory and big-endian on the wire; the two texts travel as they are. */
struct vesk_msg_header {
  uint32_t magic;      /* 0x90352082 */
  int32_t seqno;       /* request sequence number */
  int32_t type;        /* payload kind: 1 struct, 2 field, 3 string, 4 bytes, 5 start/init, 9 header only */
  int32_t size;        /* capacity of the payload area; in an XA request payload length + 136 */
  int32_t msgtype;     /* request code; a reply carries it + 1000 (success) or + 2000 (failure) */
  int32_t result;      /* reply: XA result or application return code */
  int32_t reserved24;  /* zero */
  int32_t aux;         /* zero on gateway messages; an argument on the process channel */
  int32_t reserved32;  /* zero */
  int32_t reserved36;  /* zero */
  int32_t txid[3];     /* transaction identifier, assigned by the gateway */
  char subtype[16];    /* struct name, NUL-padded, not terminated at 16 characters */
  char svcname[32];    /* service name, at most 31 characters, NUL-padded */
  int32_t datalen;     /* payload bytes that follow on the wire */
  uint32_t flags;      /* request: the caller's flags; reply: error number, 0 for success */
  int32_t cd;          /* call descriptor of an asynchronous call */
  int32_t reserved112; /* zero */
  uint32_t reqctl;     /* request control word: trailer bits, or 0x10000000 in a service request */
  int32_t reserved120; /* zero */
  int32_t handle;      /* XA handle, -1 for a synchronous XA request */
  int32_t rmid;        /* XA resource manager id */
  int32_t reserved132; /* zero */
};
typedef struct vesk_msg_header vesk_msg_header;

/* Host byte order, 0 until _check_node has run: 1 big-endian, 2 little-endian. Doubles travel with their halves
 * swapped until then: call _check_node once at start, on both ends of the link. */
extern int32_t _endian;

/* 0 until _check_node has run: 2 big-endian, 4 little-endian. */
extern int32_t _node_type;

/* Probes the host's byte order and sets _endian and _node_type. Returns 1. */
int _check_node(void);

/* Fills a 136-byte header: zero, but for the magic number and type 9. Returns 1. */
int _init_header(vesk_msg_header *header);

/* Allocates a header-only message (144 bytes) with that message type and result. The caller releases it with free.
 * Null when memory is short, after log record COM0001. */
vesk_msg_header *_header_msg_make(int msgtype, int result);

/* Convert a header between host and network order; src and dst may be the same. Return dst. */
vesk_msg_header *_hton_header(const vesk_msg_header *src, vesk_msg_header *dst);
vesk_msg_header *_ntoh_header(const vesk_msg_header *src, vesk_msg_header *dst);

/* ---- Struct descriptions ------------------------------------------------------------------------------------------ */

/* One struct, as it lies in a struct description file and in _sdl_table. */
struct vesk_sdl_struct {
  char name[16];                               /* not terminated at 16 characters */
  void (*hton)(const void *src, void *dst);    /* host form to wire form, one element; null: the library's own */
  void (*ntoh)(const void *src, void *dst);    /* wire form to host form, one element; null: the library's own */
  int32_t first;                               /* index of its first member in _sdl_field_table */
  int32_t last;                                /* index of its last member */
  char unused40[8];
  int32_t host_size;                           /* bytes of one element in memory */
  int32_t unused52;
  int32_t network_size;                        /* bytes of one element on the wire */
  int32_t unused60;
};

/* One member of a struct, as it lies in a struct description file and in _sdl_field_table. */
struct vesk_sdl_member {
  char name[32];
  uint32_t key;          /* the field that the member maps to */
  int32_t type;          /* 1 char, 2 short, 3 int, 4 long, 5 float, 6 double, 7 string, 8 carray */
  char null_value[36];   /* text of the value that stands for an absent field */
  int32_t count;         /* elements; for string and carray the member's bytes */
  int32_t length;        /* bytes of one string or carray element */
  int32_t offset;        /* of the member in the struct in memory */
  int32_t unused88;
};

/* All loaded descriptions, in file order; empty until _sdlfile_load. */
extern struct vesk_sdl_struct *_sdl_table;
extern int32_t _sdl_table_size;
extern struct vesk_sdl_member *_sdl_field_table;
extern int32_t _sdl_field_table_size;

/* 1 once _sdlfile_load has succeeded. */
extern int32_t _sdlfile_loadsw;

/* Loads the struct description files that SDLFILE64 names, or, when that is not set, SDLFILE: a list of paths with
 * commas between them, 255 characters at most. Call it once at start, before the first struct buffer; without a list it
 * does nothing. Returns 1, or -1 after a log record (CLI0116 to CLI0125): a file that cannot be opened or is no
 * description file stops the load with what the files before it gave, one that is cut short, or memory that is short,
 * empties the tables. A second call loads anew and releases what the first one loaded. */
int _sdlfile_load(void);

/* The size in memory of one struct of that name (at most 16 characters count); -1 when it is not described. */
int _get_host_stsize(const char *name);

/* Both sizes of the struct of that name. Returns 1, or -1 and stores nothing when it is not described. */
int _get_host_nw_stsize(const char *name, int *host_size, int *network_size);

/* ---- Gateway link ------------------------------------------------------------------------------------------------- */

/* 1 while the link is open; xa_open and xa_close set these six. */
extern int32_t _xa_opensw;

/* The resource manager id that the link was opened under; -1 when closed. */
extern int32_t _rmid;

/* The socket to the gateway; 0 before the first open, -1 after a close. */
extern int32_t _gwfd;

/* From the open string: seconds that each synchronous XA call waits for its reply (0: it must be there already), the
 * debug level (which nothing consults), the gateway's host and port. Timeout and level outlive a reopen that does not
 * name them. */
extern int32_t _timeout;
extern int32_t _dbg_lvl;
extern char vesk_hostaddr[256];
extern int32_t vesk_hostport;

/* The transaction that service calls belong to, as the gateway named it in its reply to the last synchronous xa_start.
 */
extern int32_t txid[3];

/* Seconds that tpgetrply, and tpacall under TPACKWAIT, wait for the reply that answers the call. 0, the initial value:
 * they take the next message on the link, whatever it is, and wait for it without limit. For the host to set. */
extern int32_t _bc_timeout;

/* An outstanding tpacall. */
struct vesk_acall_slot {
  int32_t cd;             /* its descriptor; -1 marks a free slot */
  uint32_t flags;         /* the flags of the call */
  vesk_msg_header *reply; /* a reply that came before it was asked for, owned by the slot; or null */
};

/* The table of outstanding calls, 16 slots once the link was opened, null before; how many are in use; and the last
 * descriptor handed out. To look at, not to change. */
extern struct vesk_acall_slot *_acall;
extern int32_t _acall_size;
extern int32_t _active_tpacall_count;
extern int32_t _cur_acall_cd;

/* ---- Payload encoding --------------------------------------------------------------------------------------------- */

/* Payloads of type 1 (struct) and 2 (field buffer) travel converted, numbers big-endian; 11 and 12 are the same behind
 * a 168-byte request control block; every other type travels as it lies in memory. The last bytes of a payload may be
 * a trailer (see below), which is never converted. DOUBLES TRAVEL WITH THEIR HALVES EXCHANGED until _check_node has
 * been called: call it at start, on both ends. */

/* Encodes a message's payload when its type asks for it and datalen is not 0. Returns the message itself when there is
 * nothing to do; else a new message that the caller releases with free, with the header of the old one (in host order)
 * and the encoded datalen, the old message being released. Null when it cannot be encoded; the old message is then
 * untouched. Log records CSC6402, CSC6404, CSC6405. Cost: the payload. */
vesk_msg_header *_vesk_encode_odata(vesk_msg_header *message);

/* Decodes a received message (heap block, header in host order) when its type asks for it and datalen is at least 1.
 * Returns the message, decoded in place, or a new message in its place when a struct's sizes differ, the old one being
 * released. Null when the struct is not described or the payload is damaged: the caller then still owns the message,
 * whose fields may be decoded in part. Log record CSC6406. Cost: the payload. */
vesk_msg_header *_vesk_decode_idata(vesk_msg_header *message);

/* Encode the struct elements or the field buffer of a message in host form, which stays as it is. Return a new message
 * that the caller releases with free, its header zero, and store the bytes of its payload in length; null when it
 * cannot be encoded. */
vesk_msg_header *_hton_data_sdl(const vesk_msg_header *message, int *length);
vesk_msg_header *_hton_data_fdl(const vesk_msg_header *message, int *length);

/* Decodes datalen / network size elements of the struct that the header's subtype names from src to dst, which may be
 * the same address; dst holds as many host sizes. Returns dst and stores its bytes in length; null when the struct is
 * not described or memory is short. */
char *_ntoh_data_sdl(const vesk_msg_header *header, const char *src, char *dst, int *length);

/* Decodes a field buffer from src to dst, which may be the same address; both hold the used length that src tells,
 * which is believed. The header is not looked at. Returns dst; null when a record does not fit the used length or its
 * type is unknown, the records before it being decoded. */
char *_ntoh_data_fdl(const vesk_msg_header *header, const char *src, char *dst);

/* Converts the 168-byte request control block at the start of a message's payload in place. Does nothing when _endian
 * is 1. */
void _hton_data_rqctl(vesk_msg_header *message);

/* Convert the 8 bytes of a double between host form and wire form. Return 1. */
int _double_encode(const void *src, void *dst);
int _double_decode(const void *src, void *dst);

/* ---- Typed buffer trailers ---------------------------------------------------------------------------------------- */

/* Tagged entries of up to 62 bytes behind a typed buffer's data, in a reserve of 64 bytes that every typed buffer has;
 * an entry costs 2 bytes beside its data. They are part of the payload and travel with it, unconverted. header: the
 * address 136 bytes in front of the buffer's data. A tag is one byte, 0 to 255. tpcall and tpacall clear the control
 * word of the buffer that they send, so only messages that a host sends itself carry a trailer. */

/* Adds an entry. Returns 1, or -1 with log record COM0050, the buffer being as it was: a null argument, a length below
 * 1, or no room. */
int _vesk_add_trailer(vesk_msg_header *header, const void *data, int tag, int length);

/* Finds the first entry with that tag. length, unless null: in, the bytes that out holds; out, those copied, 0 when
 * the entry is longer. It is left alone when out is null or its value below 1. Returns 1, or 0 when there is none. */
int _vesk_find_trailer(vesk_msg_header *header, void *out, int tag, int *length);

/* Removes the first entry with that tag; out and length as above, but length becomes 0 whenever nothing is copied.
 * Returns 1, or 0 when there is none. */
int _vesk_del_trailer(vesk_msg_header *header, void *out, int tag, int *length);

/* ---- Sockets and descriptors -------------------------------------------------------------------------------------- */

/* IPv4 over TCP. Addresses are in network order, ports in host order. Descriptors up to 16383 can be waited on. */

/* The address of a dotted address or of a host name; -1 when the name does not resolve. */
int _vesk_getipbyname(const char *name);

/* Open a connection to that address and port; an address of 0 or -1 stands for the host's, any other makes the name
 * irrelevant. Return the connected, blocking socket, which the caller closes, or -1 (with errno ETIME when the time ran
 * out).
 *
 * _network_connect                waits without limit.
 * _network_connect_with_timeout   waits at most secs seconds; without limit when secs is below 1.
 * _network_connect_with_timeout3  waits at most secs seconds and usecs microseconds; without limit when both are below
 *                                 1.
 *
 * The variants that end in 2 connect from that local port, with SO_REUSEADDR, and return -2 when it cannot be bound. */
int _network_connect(const char *host, uint32_t addr, int port);
int _network_connect2(const char *host, uint32_t addr, int port, int localport);
int _network_connect_with_timeout(const char *host, uint32_t addr, int port, int secs);
int _network_connect_with_timeout2(const char *host, uint32_t addr, int port, int secs, int localport);
int _network_connect_with_timeout3(const char *host, uint32_t addr, int port, int secs, int usecs);

/* The same without waiting: return 1 with a connected, blocking socket in *fd, 0 with a non-blocking one there whose
 * connection is in progress (the caller completes it), or -1 or -2 with *fd unchanged. */
int _network_connect_nb(const char *host, uint32_t addr, int port, int *fd);
int _network_connect_nb2(const char *host, uint32_t addr, int port, int *fd, int localport);

/* Open a listening socket (backlog 127) on every address, or on the given one. Return the socket, which the caller
 * closes, -1 when no socket could be made, -2 when it could not be bound, -3 when it could not listen.
 *
 * _network_listen2         does not set SO_REUSEADDR, as the others do.
 * _network_listen_ipaddr2  takes the port from *port (0, or a null pointer: any) and stores the one that was bound
 *                          there; -4 when that could not be read back. */
int _network_listen(int port);
int _network_listen2(int port);
int _network_listen_ipaddr(uint32_t addr, int port);
int _network_listen_ipaddr2(uint32_t addr, int *port);

/* Accept a connection and set SO_KEEPALIVE on it; _network_accept2 stores the peer's address in *addr unless that is
 * null. Return the new socket, which the caller closes, or -1. */
int _network_accept(int fd);
int _network_accept2(int fd, uint32_t *addr);

/* Read n bytes, however they arrive and whatever signals do: from a socket, and from any descriptor. Return n, fewer
 * when the stream ended before (0 included), 0 for an n below 1, or -1 with errno set. */
int _vesk_readn(int fd, void *buf, int n);
int pipe_readn(int fd, void *buf, int n);

/* Write n bytes: to a socket (twice the same), and to any descriptor. Return n, 0 for an n below 1, or the 0 or -1 of
 * the write that failed; the bytes before it are not counted. A signal is such a failure: a host whose signals may
 * arrive meanwhile installs its handlers with SA_RESTART. A peer that is gone raises SIGPIPE unless the host ignores
 * it. */
int _vesk_writen(int fd, const void *buf, int n);
int _vesk_writen_urg(int fd, const void *buf, int n);
int pipe_writen(int fd, const void *buf, int n);

/* Waits until fd is readable, at most secs seconds (a signal starts the wait anew), then reads: n bytes as _vesk_readn
 * does when whole is nonzero, else what one read gives. Returns the read's result, or -1, with errno EINTR when the
 * time ran out. */
int _vesk_read_timeout(int fd, void *buf, int n, int secs, int whole);

/* Clears errno and waits until fd is readable, at most secs seconds. Returns 1 when it is, 0 when the time ran out, -1
 * on an error, a signal (EINTR) included. */
int _vesk_read_check(int fd, int secs);

/* Set and clear bits of the file status flags (O_NONBLOCK and the like). Return 1, or -1 after a log record. */
int _set_fl(int fd, int flags);
int _clr_fl(int fd, int flags);

/* Prints O_APPEND, O_NONBLOCK and O_SYNC of the descriptor on standard output, each as its bit or 0. Returns 1, or -1
 * after a log record. */
int _show_fl(int fd);

/* Sets close-on-exec: flag must be 1 (FD_CLOEXEC). Returns 1, or -1 after a log record. */
int _set_fd(int fd, int flag);

/* ---- Process and node channels ------------------------------------------------------------------------------------ */

/* Messages between the system's own processes: a header and its payload over a socket or a pipe. A process channel,
 * within a node, carries the header in host order; a node channel, between nodes, in network order. Every call moves
 * one whole message and waits as long as that takes. Signals and a peer that is gone: as for _vesk_writen. */

/* What the host sets: its process type, an index into _tproc_name, and its node's number. They travel as the type word
 * of the messages that are made here. */
extern int32_t _my_tproc;
extern int32_t _my_nodeno;

/* Short names of the process types; the host may put its own in their place. */
extern const char *_tproc_name[34];

/* Outcome of the last read: 0 a message, -1 end of input before it, -2 header cut short or not readable, -3 no magic
 * number, -4 no memory, -5 payload cut short, not readable, or of negative length. All but 0, -1 and a first allocation
 * that failed are logged. */
extern int32_t _procio_errno;
extern int32_t _nodeio_errno;

/* Read a message. Return a new block with the header in host order and the payload as it arrived, which the caller
 * releases with free, or null with the outcome set. */
vesk_msg_header *_read_procmsg_sync(int fd);
vesk_msg_header *_read_nodemsg_sync(int fd);

/* Write a message of 136 + datalen bytes. Return 1, or -1: nothing is written when datalen is negative. The node call
 * leaves the message's header in network order. */
int _write_procmsg_sync(int fd, const vesk_msg_header *message);
int _write_nodemsg_sync(int fd, vesk_msg_header *message);

/* Make a message without payload and write it. svcname: 32 bytes, which travel whole. text: at most 31 characters, at
 * offset 36 of the header. Return 1, or -1 when the write failed, memory was short, a text was missing or too long. */
int _send_procmsg_nodata(int fd, int msgtype, int result, int cd, int flags);
int _send_procmsg_nodata_svcname(int fd, int msgtype, const char *svcname, int result, int cd, int flags);
int _send_procmsg_nodata_svcname2(int fd, int msgtype, const char *svcname, const char *text, int result, int cd,
                                  int flags);
int _send_procmsg_nodata_3(int fd, int msgtype, int result, int cd, int aux, int flags);
int _send_nodemsg_nodata(int fd, int msgtype, int result, int cd, int flags);

/* Make a message with datalen bytes of payload and write it. Return 1, or -1 when the write failed, memory was short or
 * datalen is negative. */
int _send_procmsg_data(int fd, int msgtype, int result, int cd, int flags, int datalen, const void *data);
int _send_procmsg_data_3(int fd, int msgtype, int result, int cd, int aux, int flags, int datalen, const void *data);
int _send_nodemsg_data(int fd, int msgtype, int result, int cd, int flags, int datalen, const void *data);

/* Convert the payload of a recover-data message (code 173 or 1173, header in host order) in place between host and
 * network order: result records of 20 bytes, of which the last 4 stay as they are. When datalen is not 0, no record
 * beyond it is touched. Until _check_node has run the host counts as little-endian. Return 1, or -1 for other codes. */
int _hton_recover_data(vesk_msg_header *message);
int _ntoh_recover_data(vesk_msg_header *message);

/* ---- Trace specification ------------------------------------------------------------------------------------------ */

/* A trace specification, usually the value of VESK_TRACE, is "on", "off", or up to three fields between colons:
 *
 *   LEVEL        "*" or one of "atmi", "iatmi", "xa", "trace", which a '+' or '-' before it adds to or takes from the
 *                level that stands; "atmi" when left out
 *   DESTINATION  "ulog" or "RECEIVER/ulog"
 *   ACTION       "dye", "undye", "abort", "ulog(MESSAGE)", "system(MESSAGE)", "trace(MESSAGE)" or "sleep(SECONDS)", or
 *                "/TARGET/" and one of these; a message may stand in double quotes; "dye" when left out
 *
 * as in "iatmi:ulog:ulog(entering)". At least one of the first two must be there. The library makes the settings below
 * of it, but consults none: they are for a host that defines _vesk_trace itself. */

extern int32_t _level;     /* call classes: 0x1 atmi, 0x3 iatmi, 0x4 xa, 0x8 trace, 0xF all */
extern int32_t _action;    /* 0x10000 abort, 0x20000 ulog, 0x40000 system, 0x80000 trace, 0x100000 dye, 0x200000 undye,
                            * 0x400000 sleep */
extern char *_recv_spec;   /* receiver, a block of 4096 bytes; null until one is named, kept until the next is */
extern char *_act_spec;    /* target, likewise */
extern char *_act_msg;     /* message, a block of 4096 bytes that every parse replaces */
extern int32_t _act_sleep; /* seconds of the last "sleep"; -1 before any parse */
extern int32_t _dye_level; /* 0 after every parse */
extern int32_t _tmtrace;   /* 1: a specification was taken apart, even if then refused; 2: there was none */
extern char _obuf[4096];   /* the specification that was last taken for parsing */

/* For the host's use; the library neither reads nor writes them. */
extern int32_t _trc_set;
extern int32_t _trc_count;
extern int32_t _pflag;
extern int32_t _call;

/* Resets the level, the action and the seconds to 0 and forgets target and message, then parses as _parse_trace does.
 * The forgotten blocks stay allocated: a host that wants them back releases them with free before the call. */
int _chk_trace(const char *spec, int unused);

/* Parses the specification, or that of VESK_TRACE when spec is null, into the settings. Returns 1, also when there is
 * none, or -1 after a log record: for a text of 4096 characters or more, one with more than three fields, or a field
 * that is not as above. What was set before the bad field stays set. */
int _parse_trace(const char *spec, int unused);

/* Prints the settings on standard output, on one line. Returns 1. */
int _trace_dbg(void);

/* ---- Semantics settings ------------------------------------------------------------------------------------------- */

/* The environment variable VESK_SEMANTICS holds settings, as in "FDL_LEN=TRU,CRYPT_SW=Y": items separated by commas,
 * each a key, '=' or ':', and a value; an item has at most 256 characters, a value 255. Blanks are dropped wherever
 * they stand. The library reads it when the length policy is first needed, and again at every need until a read
 * succeeds. */

/* 1 once the settings were read. */
extern int32_t _vesk_semantics_flag;

/* FDL_LEN, what becomes of a string or carray that is longer than the length that its reader gave: 0 (not set) and 1
 * ("OLD") copied whole, 2 ("TRU") cut to that length, 3 ("ERR") refused with FBENOSPACE. */
extern int32_t _vesk_flen_flag;

/* CRYPT_SW: 1 for "Y" or "y". The library does not consult it. */
extern int32_t _vesk_crypt_sw;

/* Reads the settings unless they were read. Returns 1, also when the variable is not set, or -1 for a malformed item
 * (empty, unknown key, no separator, too long): the flags then stay as they were. */
int _vesk_read_semantics(void);

/* Sets the three flags to 0, so that the next use reads the settings again; a key that the variable then does not name
 * keeps the value that was last read for it. Returns 1. */
int _vesk_init_semantics(void);

/* ---- Environment file and paths ----------------------------------------------------------------------------------- */

/* Reads an environment file and puts its assignments into the environment of the process: those outside of sections,
 * and those of the sections labelled with that name (null: of none). Malformed lines are reported to the log (COM0029
 * to COM0034) and skipped. Returns 1 when at least one assignment was put, else -1: none applied, the file cannot be
 * read (COM0035), memory is short (COM0036) or putenv failed (COM0037). What was put before a failure stays. */
int _set_veskenv(const char *path, const char *section);

/* Parses one line of an environment file, with or without its newline. out, of 1024 bytes, receives the label of
 * result 2 and NAME=VALUE, expanded, of result 4, and is left alone otherwise. Returns 1 for a comment, 2 for the start
 * of a section, 3 for the return to the common part, 4 for an assignment, 5 for a blank line, -1 for a malformed one
 * (after a log record) or a null argument. */
int _process_env_line(const char *line, char *out);

/* Appends '/' to a path that does not end in one; there must be room for it. Returns 1 when it already did, 0 when the
 * slash was added (an empty path gets one too), -1 when path is null. */
int _slash_check(char *path);

/* The directory of a path, up to and including its last '/' or '\': in a static area that the next call overwrites.
 * Null when there is none, or when path is null or has 256 characters or more. */
char *_vesk_path_prefix(const char *path);

/* What follows the last '/' or '\' of a path, the whole path when it has none: a pointer into path. Null when path is
 * null or empty. */
char *_vesk_path_basename(const char *path);

/* Creates a directory and its missing parents, with permissions 0777 less the file-creation mask. Returns 0, or -1 when
 * it is there already, cannot be created, or path is null or has 256 characters or more. */
int _vesk_create_dir(const char *path);

/* Replaces every '\' of a path by '/', in place. */
void _vesk_conv_slash(char *path);

/* Normalises a path in place: '\' becomes '/', empty and "." components go, and ".." goes together with the component
 * in front of it; a last component with no separator behind it is not changed. Returns 1, or -1 when path is null. */
int _vesk_proc_path(char *path);

/* Write the names of the manager's rendezvous file (vmmd) and lock file (vmmld): in VESK_PATHDIR when that is set, else
 * in path/ below VESKDIR. buffer must hold the directory, "/path/" and the name. Return 1, or -1 when buffer is null or
 * neither variable is set. */
int _get_vmm_path(char *buffer);
int _vesk_vmm_lockfile(char *buffer);

/* ---- Process utilities -------------------------------------------------------------------------------------------- */

typedef void (*vesk_signal_handler)(int number);

/* Installs a handler: no signals blocked while it runs but its own, interrupted system calls not restarted, and called
 * with the signal's details for SIGSEGV and SIGBUS. Returns the handler before it, or -1 cast to a handler. */
vesk_signal_handler _vesk_register_signal(int number, vesk_signal_handler handler);

/* Where a core dump goes: into that directory (255 characters of it at most), or, when directory is null, into log/slog
 * below VESKDIR, nowhere when that is not set. Also raises the size limit of core files as far as it goes. Returns 0,
 * or -1: the limit cannot be raised, or VESKDIR is too long, and dumps then go nowhere. */
int _vesk_set_coredumpdir(const char *directory);

/* A signal handler that has the process dump its core where _vesk_set_coredumpdir said, once; it does nothing when that
 * is nowhere. Safe at any time. */
void _vesk_sig_coredump(int number);

/* 1 once _vesk_sig_coredump has started a dump; 0 again after _vesk_set_coredumpdir. */
extern int32_t _vesk_coredump;

/* Goes on as a daemon: in a child with a session of its own, the standard streams on /dev/null, descriptors 3 to 255
 * closed, in /tmp, file-creation mask 0. The parent ends with status 0; what stdio has buffered is written before, exit
 * handlers are left to the child. Returns 0 in the child, or -1 when there is none. */
int _daemon_init(void);

/* 1 after _daemon_init has succeeded. */
extern int32_t _daemon;

/* Puts the three standard streams on /dev/null. Returns 0. */
int _vesk_detach_console(void);

/* Runs a command with /bin/sh and waits for it, and for no other child. Returns its wait status (as of waitpid; exit
 * status 127 when there is no shell), -1 when it cannot be run or waited for, 1 when command is null. */
int _vesk_system(const char *command);

/* Waits that many seconds, at least one, whatever signals arrive. Returns 0. */
int _vesk_real_wait(int seconds);

/* Splits a text at white space into a null-terminated vector of words, and stores their number in *count (count may be
 * null). There is no quoting. Vector and words are one block, which the caller releases with free. Null when memory is
 * short (COM0028). */
char **_vesk_build_argv_argc(const char *text, int *count);

/* The vector of the words of command and of arguments (which may be null). Null when memory is short (COM0026,
 * COM0028). */
char **_vesk_build_argv(const char *command, const char *arguments);

/* Joins that many texts, a blank behind each, in a block that the caller releases with free. Null when memory is short
 * (COM0027). */
char *_vesk_mkstr_from_argv(int count, char *const *vector);

/* The number of texts before the null that ends the vector. */
int _get_argc_from_argv(char *const *vector);

/* 1 when the text is null, empty or white space only, else 0. */
int is_null_data(const char *text);

/* Writes the name of a product's service: 12 and "abc" make "p0012_abc". out must have room for it. Returns 1. */
int _make_svcname_from_prodno_funcname(int product, const char *function, char *out);

/* Print a hexadecimal dump on standard output, 16 bytes a line, the offsets counted from base. The second prints, of
 * more than 1024 bytes, the first 512 and about as many of the last. */
void _vesk_dump2(const void *data, int base, int length);
void _vesk_dump(const void *data, int length);

/* 0 when the descriptor is not open, else 1. */
int _valid_fd(int fd);

/* The IPv4 address that a socket is connected to, in dotted form, in a static area that the next call overwrites;
 * "Unknown" when it cannot be had. */
const char *_vesk_peerip(int socket);

/* 1 when the key is a system queue key: 16 bytes that begin with "$SQID". Else 0. */
int _vesk_sq_issyskey(const char *key, int length);

/* The number of the node that a system queue key ends with, in three hexadecimal digits; -1 when it is no such key. */
int _vesk_sq_getnodeno_from_syskey(const char *key, int length);

/* ---- Access control lists ----------------------------------------------------------------------------------------- */

/* An IPv4 network that is let in. */
struct vesk_acl_entry {
  uint32_t address;            /* network byte order, masked */
  int32_t prefix;              /* leading bits that count, 0 to 32 */
  struct vesk_acl_entry *next; /* null in the last one */
};

/* A list of networks; made by _acl_create, changed by the calls below alone. */
typedef struct vesk_acl {
  struct vesk_acl_entry *first;
  struct vesk_acl_entry *last;
  int32_t count;
} vesk_acl;

/* Reads an access list file. Lines that are not valid are reported to the log (COM0053, COM0054) and skipped. With
 * create not 0, a file that does not exist is created and gives an empty list. The caller releases the list with
 * _acl_destroy. Null when path is null, the file cannot be read or memory is short (COM0051, COM0052). */
vesk_acl *_acl_create(const char *path, int create);

/* Releases a list; null is let pass. Returns 1. */
int _acl_destroy(vesk_acl *list);

/* Add and remove a network: address in network byte order, of which the first prefix bits count. Return 1; 0 when it is
 * in the list already, or is not there to be removed; -1 when list is null, address is 255.255.255.255 or prefix is not
 * 0 to 32, or when memory is short (COM0052). Each takes one pass over the list. */
int _acl_add(vesk_acl *list, uint32_t address, int prefix);
int _acl_del(vesk_acl *list, uint32_t address, int prefix);

/* 1 when a network of the list holds the address (network byte order), else 0. */
int _acl_search(const vesk_acl *list, uint32_t address);

/* Appends an address in dotted form and, unless it is 0, a prefix to an access list file, with a comment that holds the
 * time. An entry without a prefix is read back as that one address. Returns 1, or -1 when an argument is null, the
 * prefix is not 0 to 32, or the file cannot be written. */
int _acl_add_to_file(const char *path, const char *address, int prefix);

/* Not supported: returns -1. */
int _acl_del_from_file(void);

VXA_END_DECLS

#endif
