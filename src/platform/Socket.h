// Stream sockets for the connection engine: POSIX non-blocking sockets behind small functions in
// the engine's own types. Failures carry the Windows socket error numbers that the engine
// compares against, mapped from errno and resolver codes by explicit tables.
#pragma once

#include <cstdint>

namespace quillon::platform {

using SocketId = int;
constexpr SocketId kInvalidSocket = -1;

// The socket error numbers that the engine tests by name; every number of the engine's socket
// error table can come out of MapErrno.
enum SocketErrorCode : int {
  errSocketInterrupted = 10004, // a wait was interrupted by a signal
  errInvalidArgument = 10022,   // also what an errno without a row of its own becomes
  errWouldBlock = 10035,        // nothing to read, no room to send, or a connect under way
  errNotSocket = 10038,         // the descriptor is no socket (or no longer open)
  errConnectionAborted = 10053, // the connection was dropped on this side
  errConnectionReset = 10054,   // the peer reset the connection
  errNoBufferSpace = 10055,     // out of memory or of local ports
  errNotConnected = 10057,      // no peer
  errConnectionRefused = 10061, // nobody listens on the port
  errSocketsNotStarted = 10093, // never on Linux; tested by the resolving code
  errHostNotFound = 11001,      // the name does not exist, or is no host name at all
  errHostTryAgain = 11002,      // the resolver could not answer now
  errHostNoRecovery = 11003,    // the resolver failed for good
  errHostNoData = 11004,        // the name exists without an address of the family asked for
};

// Socket events, numbered as the wait loop carries them in the low 16 bits of a status word.
enum SocketEvent : uint32_t {
  evRead = 1,
  evWrite = 2,
  evAccept = 8,
  evConnect = 16,
  evClose = 32,
};

constexpr uint16_t kFamilyIPv4 = 2;
constexpr uint16_t kFamilyIPv6 = 23;

// An IPv6 socket address in the 28-byte layout that the engine keeps: family 23, the port in
// network order, the flow label, the address bytes and the scope id.
struct IPv6Address {
  uint16_t family = kFamilyIPv6;
  uint16_t port = 0;
  uint32_t flowInfo = 0;
  uint8_t address[16] = {};
  uint32_t scopeId = 0;
};
static_assert(sizeof(IPv6Address) == 28);

// The port of `address` in host order.
inline int PortOf(const IPv6Address& address) {
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&address.port);
  return bytes[0] << 8 | bytes[1];
}

// Start-up state of the socket layer: its result (always 0 here) and version, low byte major.
int SocketsStartupStatus();
uint16_t SocketsVersion();

// Errors. Each operation below that fails stores its number for LastSocketError on this thread;
// the operations returning int also return it (0 on success).
int LastSocketError();
void SetLastSocketError(int code);
// The socket error number of an errno value. `fromConnect` gives connect's meanings: EINPROGRESS
// is the would-block 10035 and EAGAIN (no free local port) 10055.
int MapErrno(int errorNumber, bool fromConnect = false);
// The socket error number of a getaddrinfo result; `errorNumber` serves EAI_SYSTEM.
int MapResolverError(int resolverCode, int errorNumber);

// Stream sockets. A socket is created non-blocking and closed on exec.
SocketId SocketOpen(bool ipv6); // kInvalidSocket on failure
int SocketClose(SocketId s);
int SocketSetNonBlocking(SocketId s);
// `address` is in network order; `port` in host order.
int SocketBind(SocketId s, uint32_t address, int port);
int SocketBind(SocketId s, const IPv6Address& address, int port);
// 10035 while the connection is under way. A connection that Linux refuses at once is reported
// the same way, and its error comes later from SocketPendingError, as from any failed connect.
int SocketConnect(SocketId s, uint32_t address, int port);
int SocketConnect(SocketId s, const IPv6Address& address, int port);
// Counts of bytes, or -1 with the error stored. Send never raises SIGPIPE. With `more` the
// kernel holds the bytes back until a send without it, so that pieces of one message leave
// together instead of waiting for the peer's acknowledgement of the first.
long SocketSend(SocketId s, const char* bytes, long count, bool more = false);
long SocketRecv(SocketId s, char* buffer, long count);

enum SocketOption { optKeepAlive, optOobInline, optNoDelay, optReceiveBuffer, optSendBuffer };
int SocketSetOption(SocketId s, SocketOption option, int value);
int SocketGetOption(SocketId s, SocketOption option, int& value);
int SocketSetLinger(SocketId s, bool on, int seconds);
// Idle time before the first probe and the time between probes, in milliseconds (rounded up to
// whole seconds, at least 1).
int SocketSetKeepAliveTimes(SocketId s, int idleMillis, int intervalMillis);
// The result of a finished connect: 0 or its error.
int SocketPendingError(SocketId s);
// 0 when the socket has a peer, else the error (10057).
int SocketPeerCheck(SocketId s);
int SocketLocalAddress(SocketId s, uint32_t& address, int& port);
int SocketLocalAddress(SocketId s, IPv6Address& address);
// True when a connect failed at once and SocketPendingError has not reported it yet.
bool SocketConnectFailed(SocketId s);

struct SocketReadiness {
  bool readable = false;    // data, end of stream, or an error to collect by reading
  bool writable = false;    // asked for only; also a finished connect, good or bad
  bool exceptional = false; // urgent data
};
// Waits up to `milliseconds` for the one socket: -1 on failure (10004 when a signal interrupted
// the wait), 0 when nothing happened, 1 when `ready` says what did.
int SocketPoll(SocketId s, bool watchWrite, int milliseconds, SocketReadiness& ready);

// Names and addresses
// A dotted IPv4 address in network order, or 0xFFFFFFFF when `text` is none.
uint32_t ParseIPv4(const char* text);
// The first IPv4 address of `name`. A name with characters that no host name holds (blanks,
// controls, most punctuation) gives 11001 without a lookup.
int ResolveIPv4(const char* name, uint32_t& address);
// The first IPv6 address of `name`; `socketType` 1 asks for stream sockets, 0 for any.
int ResolveIPv6(const char* name, int flags, int socketType, IPv6Address& address);
int LocalHostName(char* out, int size);
int NumericIPv6Text(const IPv6Address& address, char* out, int size);

} // namespace quillon::platform
