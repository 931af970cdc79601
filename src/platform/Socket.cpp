// POSIX sockets in the engine's terms. The error numbers are the Windows ones, from an explicit
// table: Linux numbers its errors differently from 11 up, so no offset would do. Connects that
// Linux refuses inside the connect call are remembered and reported like asynchronous failures,
// so that the engine always learns the outcome of a connect from its connect event.
#include "platform/Socket.h"

#include "platform/MessageQueue.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quillon::platform {

namespace {
thread_local int lastSocketError = 0;

int Failed(int code) {
  lastSocketError = code;
  return code;
}

int FailedErrno(bool fromConnect = false) {
  return Failed(MapErrno(errno, fromConnect));
}

struct ErrnoRow {
  int errorNumber;
  int code;
};

constexpr ErrnoRow kErrnoTable[] = {
    {EINTR, 10004},
    {EBADF, 10009},
    {EACCES, 10013},
    {EPERM, 10013},
    {EFAULT, 10014},
    {EINVAL, 10022},
    {EMFILE, 10024},
    {ENFILE, 10024},
    {EAGAIN, 10035},
    {EINPROGRESS, 10036},
    {EALREADY, 10037},
    {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039},
    {EMSGSIZE, 10040},
    {EPROTOTYPE, 10041},
    {ENOPROTOOPT, 10042},
    {EPROTONOSUPPORT, 10043},
    {ESOCKTNOSUPPORT, 10044},
    {EOPNOTSUPP, 10045},
    {EPFNOSUPPORT, 10046},
    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},
    {EADDRNOTAVAIL, 10049},
    {ENETDOWN, 10050},
    {ENETUNREACH, 10051},
    {ENETRESET, 10052},
    {ECONNABORTED, 10053},
    {ECONNRESET, 10054},
    // Linux reports a write to a connection that the peer has closed or reset as EPIPE, where
    // Windows reports the reset.
    {EPIPE, 10054},
    {ENOBUFS, 10055},
    {ENOMEM, 10055},
    {EISCONN, 10056},
    {ENOTCONN, 10057},
    {ESHUTDOWN, 10058},
    {ETOOMANYREFS, 10059},
    {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061},
    {ELOOP, 10062},
    {ENAMETOOLONG, 10063},
    {EHOSTDOWN, 10064},
    {EHOSTUNREACH, 10065},
    {ENOTEMPTY, 10066},
    {EUSERS, 10068},
    {EDQUOT, 10069},
    {ESTALE, 10070},
    {EREMOTE, 10071},
};

// Connect failures that Windows reports through the connect event rather than from connect.
bool IsDeferredConnectFailure(int errorNumber) {
  return errorNumber == ECONNREFUSED || errorNumber == ETIMEDOUT || errorNumber == ENETUNREACH ||
         errorNumber == EHOSTUNREACH || errorNumber == ECONNRESET || errorNumber == EHOSTDOWN;
}

// Connects refused inside the connect call, until SocketPendingError reports them. A socket has
// at most one, and a thread seldom more than a few; when the table is full the failure comes
// from connect itself.
struct DeferredFailure {
  SocketId socket;
  int code;
};
constexpr int kDeferredLimit = 64;
thread_local DeferredFailure deferredFailures[kDeferredLimit];
thread_local int deferredCount = 0;

bool Defer(SocketId s, int code) {
  if (deferredCount == kDeferredLimit) return false;
  deferredFailures[deferredCount++] = {s, code};
  return true;
}

// The deferred failure of `s`, removed when `take` is set; 0 when none.
int DeferredFailureOf(SocketId s, bool take) {
  for (int i = 0; i < deferredCount; ++i) {
    if (deferredFailures[i].socket != s) continue;
    const int code = deferredFailures[i].code;
    if (take) deferredFailures[i] = deferredFailures[--deferredCount];
    return code;
  }
  return 0;
}

sockaddr_in ToSockaddr(uint32_t address, int port) {
  sockaddr_in sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sin_family = AF_INET;
  sa.sin_port = htons(static_cast<uint16_t>(port));
  sa.sin_addr.s_addr = address;
  return sa;
}

sockaddr_in6 ToSockaddr(const IPv6Address& address, int port) {
  sockaddr_in6 sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sin6_family = AF_INET6;
  sa.sin6_port = htons(static_cast<uint16_t>(port));
  sa.sin6_flowinfo = address.flowInfo;
  std::memcpy(&sa.sin6_addr, address.address, sizeof address.address);
  sa.sin6_scope_id = address.scopeId;
  return sa;
}

IPv6Address FromSockaddr(const sockaddr_in6& sa) {
  IPv6Address address;
  address.port = sa.sin6_port;
  address.flowInfo = sa.sin6_flowinfo;
  std::memcpy(address.address, &sa.sin6_addr, sizeof address.address);
  address.scopeId = sa.sin6_scope_id;
  return address;
}

// Whether every byte of `name` may stand in a host name or a numeric address. Bytes from 0x80 up
// pass, for names in UTF-8 that the resolver may know.
bool CouldBeHostName(const char* name) {
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p) {
    const unsigned char c = *p;
    const bool letterOrDigit =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!letterOrDigit && c != '-' && c != '.' && c != '_' && c != ':' && c < 0x80) return false;
  }
  return true;
}

// getaddrinfo for `name` with `hints`; 0 and the answer, or the socket error number.
int Lookup(const char* name, const addrinfo& hints, addrinfo*& answer) {
  answer = nullptr;
  if (!CouldBeHostName(name)) return Failed(errHostNotFound);
  const int rc = ::getaddrinfo(name, nullptr, &hints, &answer);
  if (rc != 0) return Failed(MapResolverError(rc, errno));
  if (!answer) return Failed(errHostNoData);
  return 0;
}

bool OptionPlace(SocketOption option, int& level, int& name) {
  switch (option) {
  case optKeepAlive:
    level = SOL_SOCKET, name = SO_KEEPALIVE;
    return true;
  case optOobInline:
    level = SOL_SOCKET, name = SO_OOBINLINE;
    return true;
  case optNoDelay:
    level = IPPROTO_TCP, name = TCP_NODELAY;
    return true;
  case optReceiveBuffer:
    level = SOL_SOCKET, name = SO_RCVBUF;
    return true;
  case optSendBuffer:
    level = SOL_SOCKET, name = SO_SNDBUF;
    return true;
  }
  return false;
}

int WholeSeconds(int millis) {
  return millis <= 1000 ? 1 : (millis + 999) / 1000;
}
} // namespace

int SocketsStartupStatus() {
  return 0;
}

uint16_t SocketsVersion() {
  return 0x0202;
}

int LastSocketError() {
  return lastSocketError;
}

void SetLastSocketError(int code) {
  lastSocketError = code;
}

int MapErrno(int errorNumber, bool fromConnect) {
  if (fromConnect && errorNumber == EINPROGRESS) return errWouldBlock;
  if (fromConnect && errorNumber == EAGAIN) return errNoBufferSpace;
  if (errorNumber == EWOULDBLOCK) return errWouldBlock;
  for (const ErrnoRow& row : kErrnoTable)
    if (row.errorNumber == errorNumber) return row.code;
  return errInvalidArgument;
}

int MapResolverError(int resolverCode, int errorNumber) {
  switch (resolverCode) {
  case 0:
    return 0;
  case EAI_NONAME:
    return errHostNotFound;
  case EAI_AGAIN:
    return errHostTryAgain;
  case EAI_FAIL:
    return errHostNoRecovery;
  case EAI_NODATA:
  case EAI_ADDRFAMILY:
    return errHostNoData;
  case EAI_MEMORY:
    return errNoBufferSpace;
  case EAI_FAMILY:
    return 10047;
  case EAI_SOCKTYPE:
    return 10044;
  case EAI_BADFLAGS:
    return errInvalidArgument;
  case EAI_SYSTEM:
    return MapErrno(errorNumber);
  default:
    return errHostNoRecovery;
  }
}

SocketId SocketOpen(bool ipv6) {
  const int s = ::socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (s < 0) {
    FailedErrno();
    return kInvalidSocket;
  }
  return s;
}

int SocketClose(SocketId s) {
  ForgetSocketEvents(s);
  DeferredFailureOf(s, true);
  // After close the descriptor is gone even when close reports EINTR.
  if (::close(s) != 0 && errno != EINTR) return FailedErrno();
  return 0;
}

int SocketSetNonBlocking(SocketId s) {
  const int flags = ::fcntl(s, F_GETFL);
  if (flags < 0 || ::fcntl(s, F_SETFL, flags | O_NONBLOCK) < 0) return FailedErrno();
  return 0;
}

int SocketBind(SocketId s, uint32_t address, int port) {
  const sockaddr_in sa = ToSockaddr(address, port);
  if (::bind(s, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0) return FailedErrno();
  return 0;
}

int SocketBind(SocketId s, const IPv6Address& address, int port) {
  const sockaddr_in6 sa = ToSockaddr(address, port);
  if (::bind(s, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) != 0) return FailedErrno();
  return 0;
}

namespace {
int ConnectTo(SocketId s, const sockaddr* sa, socklen_t size) {
  NoteSocketConnecting(s);
  if (::connect(s, sa, size) == 0) return 0;
  const int e = errno;
  // An interrupted connect goes on in the background, as one under way.
  if (e == EINPROGRESS || e == EINTR) return Failed(errWouldBlock);
  if (IsDeferredConnectFailure(e) && Defer(s, MapErrno(e))) return Failed(errWouldBlock);
  return Failed(MapErrno(e, true));
}
} // namespace

// Linux takes a connect to the any address as one to the local machine; Windows refuses it.
int SocketConnect(SocketId s, uint32_t address, int port) {
  if (address == 0) return Failed(10049);
  const sockaddr_in sa = ToSockaddr(address, port);
  return ConnectTo(s, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
}

int SocketConnect(SocketId s, const IPv6Address& address, int port) {
  static const uint8_t any[16] = {};
  if (std::memcmp(address.address, any, sizeof any) == 0) return Failed(10049);
  const sockaddr_in6 sa = ToSockaddr(address, port);
  return ConnectTo(s, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
}

long SocketSend(SocketId s, const char* bytes, long count, bool more) {
  const int flags = MSG_NOSIGNAL | (more ? MSG_MORE : 0);
  long n;
  do
    n = ::send(s, bytes, static_cast<size_t>(count), flags);
  while (n < 0 && errno == EINTR);
  if (n < 0) {
    FailedErrno();
    if (lastSocketError == errWouldBlock)
      NoteSocketBlocked(s);
    else
      NoteSocketFailed(s, lastSocketError);
    return -1;
  }
  if (n < count) NoteSocketBlocked(s);
  return n;
}

long SocketRecv(SocketId s, char* buffer, long count) {
  long n;
  do
    n = ::recv(s, buffer, static_cast<size_t>(count), 0);
  while (n < 0 && errno == EINTR);
  const int e = errno;
  NoteSocketReceived(s);
  if (n < 0) {
    Failed(MapErrno(e));
    if (lastSocketError != errWouldBlock) NoteSocketFailed(s, lastSocketError);
    return -1;
  }
  return n;
}

int SocketSetOption(SocketId s, SocketOption option, int value) {
  int level = 0, name = 0;
  if (!OptionPlace(option, level, name)) return Failed(errInvalidArgument);
  if (::setsockopt(s, level, name, &value, sizeof value) != 0) return FailedErrno();
  return 0;
}

int SocketGetOption(SocketId s, SocketOption option, int& value) {
  int level = 0, name = 0;
  if (!OptionPlace(option, level, name)) return Failed(errInvalidArgument);
  socklen_t size = sizeof value;
  if (::getsockopt(s, level, name, &value, &size) != 0) return FailedErrno();
  return 0;
}

int SocketSetLinger(SocketId s, bool on, int seconds) {
  const struct linger value = {on ? 1 : 0, seconds};
  if (::setsockopt(s, SOL_SOCKET, SO_LINGER, &value, sizeof value) != 0) return FailedErrno();
  return 0;
}

int SocketSetKeepAliveTimes(SocketId s, int idleMillis, int intervalMillis) {
  const int idle = WholeSeconds(idleMillis);
  const int interval = WholeSeconds(intervalMillis);
  if (::setsockopt(s, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle) != 0 ||
      ::setsockopt(s, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval) != 0)
    return FailedErrno();
  return 0;
}

int SocketPendingError(SocketId s) {
  if (const int deferred = DeferredFailureOf(s, true)) return deferred;
  int value = 0;
  socklen_t size = sizeof value;
  if (::getsockopt(s, SOL_SOCKET, SO_ERROR, &value, &size) != 0) return FailedErrno();
  return value == 0 ? 0 : MapErrno(value);
}

int SocketPeerCheck(SocketId s) {
  sockaddr_storage sa;
  socklen_t size = sizeof sa;
  if (::getpeername(s, reinterpret_cast<sockaddr*>(&sa), &size) != 0)
    return Failed(errNotConnected);
  return 0;
}

int SocketLocalAddress(SocketId s, uint32_t& address, int& port) {
  sockaddr_in sa;
  socklen_t size = sizeof sa;
  if (::getsockname(s, reinterpret_cast<sockaddr*>(&sa), &size) != 0) return FailedErrno();
  if (sa.sin_family != AF_INET) return Failed(10047);
  address = sa.sin_addr.s_addr;
  port = ntohs(sa.sin_port);
  return 0;
}

int SocketLocalAddress(SocketId s, IPv6Address& address) {
  sockaddr_in6 sa;
  socklen_t size = sizeof sa;
  if (::getsockname(s, reinterpret_cast<sockaddr*>(&sa), &size) != 0) return FailedErrno();
  if (sa.sin6_family != AF_INET6) return Failed(10047);
  address = FromSockaddr(sa);
  return 0;
}

bool SocketConnectFailed(SocketId s) {
  return DeferredFailureOf(s, false) != 0;
}

int SocketPoll(SocketId s, bool watchWrite, int milliseconds, SocketReadiness& ready) {
  ready = SocketReadiness{};
  if (SocketConnectFailed(s)) {
    ready.writable = true;
    return 1;
  }
  pollfd entry = {s, static_cast<short>(POLLIN | POLLPRI | POLLRDHUP | (watchWrite ? POLLOUT : 0)),
                  0};
  const int rc = ::poll(&entry, 1, milliseconds < 0 ? 0 : milliseconds);
  if (rc < 0) {
    FailedErrno();
    return -1;
  }
  if (rc == 0) return 0;
  if (entry.revents & POLLNVAL) {
    Failed(errNotSocket);
    return -1;
  }
  ready.readable = entry.revents & (POLLIN | POLLRDHUP | POLLHUP | POLLERR);
  ready.writable = watchWrite && (entry.revents & (POLLOUT | POLLHUP | POLLERR));
  ready.exceptional = entry.revents & POLLPRI;
  return ready.readable || ready.writable || ready.exceptional ? 1 : 0;
}

uint32_t ParseIPv4(const char* text) {
  return ::inet_addr(text);
}

int ResolveIPv4(const char* name, uint32_t& address) {
  addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* answer;
  if (const int rc = Lookup(name, hints, answer); rc != 0) return rc;
  address = reinterpret_cast<const sockaddr_in*>(answer->ai_addr)->sin_addr.s_addr;
  ::freeaddrinfo(answer);
  return 0;
}

int ResolveIPv6(const char* name, int flags, int socketType, IPv6Address& address) {
  addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_INET6;
  hints.ai_flags = flags;
  hints.ai_socktype = socketType == 1 ? SOCK_STREAM : 0;
  addrinfo* answer;
  if (const int rc = Lookup(name, hints, answer); rc != 0) return rc;
  address = FromSockaddr(*reinterpret_cast<const sockaddr_in6*>(answer->ai_addr));
  ::freeaddrinfo(answer);
  return 0;
}

int LocalHostName(char* out, int size) {
  if (::gethostname(out, static_cast<size_t>(size)) != 0) return FailedErrno();
  out[size - 1] = 0;
  return 0;
}

int NumericIPv6Text(const IPv6Address& address, char* out, int size) {
  const sockaddr_in6 sa = ToSockaddr(address, ntohs(address.port));
  const int rc = ::getnameinfo(reinterpret_cast<const sockaddr*>(&sa), sizeof sa, out,
                               static_cast<socklen_t>(size), nullptr, 0, NI_NUMERICHOST);
  if (rc != 0) {
    out[0] = 0;
    return Failed(MapResolverError(rc, errno));
  }
  return 0;
}

} // namespace quillon::platform
