// The port's initialisation, its Config keys, the address setters and the socket options.
#include "net/PortClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "net/NetErrors.h"

namespace quillon {

namespace {
constexpr uint32_t kDefaultLineLength = 2048;
constexpr uint32_t kMaxLineLength = 65536;
constexpr int kDefaultKeepAliveTime = 7200000;
constexpr int kDefaultKeepAliveInterval = 1000;

} // namespace

PortClient::PortClient() {
  lineBuffer.Resize(kDefaultLineLength);
}

PortClient::~PortClient() {
  // No event can run any more; the socket only has to go.
  if (socketHandle != platform::kInvalidSocket) platform::SocketClose(socketHandle);
}

int PortClient::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  const bool get = request.isGet;
  const char* value = request.value.Data();
  if (EqualsNoCase(name, "MaxTransferRate")) {
    if (get) return ReturnInt64(result, maxTransferRate);
    maxTransferRate = ParseConfigNumber(value);
    return errNone;
  }
  if (EqualsNoCase(name, "SplitCRLF")) {
    if (get) return ReturnFlag(result, lineBuffer.splitLines != 0);
    const bool split = IsTrueText(value);
    lineBuffer.pendingLineEnd = 0;
    lineBuffer.splitLines = split ? 1 : 0;
    return lineBuffer.SetTerminator(split ? "\r\n" : nullptr, split ? 2 : 0);
  }
  if (EqualsNoCase(name, "MaxLineLength")) {
    if (get) return ReturnUnsigned(result, GetMaxLineLength());
    return SetMaxLineLength(static_cast<uint32_t>(ParseConfigNumber(value)));
  }
  if (EqualsNoCase(name, "SocketHandle") && get)
    return ReturnUnsigned(result, static_cast<uint32_t>(socketHandle));
  if (EqualsNoCase(name, "LocalHost")) {
    if (get) return ReturnText(result, GetLocalHost());
    return SetLocalHost(value);
  }
  if (EqualsNoCase(name, "LocalPort")) {
    if (get) return ReturnSigned(result, GetLocalPort());
    return SetLocalPort(static_cast<int>(ParseConfigNumber(value)));
  }
  if (EqualsNoCase(name, "InBufferSize") || EqualsNoCase(name, "OutBufferSize")) {
    const bool receive = EqualsNoCase(name, "InBufferSize");
    if (get) return ReturnSigned(result, receive ? inBufferSize : outBufferSize);
    return SetBufferSize(receive, static_cast<int32_t>(ParseConfigNumber(value)));
  }
  if (EqualsNoCase(name, "TcpNoDelay")) {
    if (get) return ReturnFlag(result, tcpNoDelay);
    return SetNoDelay(IsTrueText(value));
  }
  if (EqualsNoCase(name, "TCPKeepAlive")) {
    if (get) return ReturnSigned(result, tcpKeepAlive ? 1 : 0);
    return SetKeepAlive(IsTrueText(value));
  }
  if (EqualsNoCase(name, "KeepAliveTime") || EqualsNoCase(name, "KeepAliveInterval")) {
    int32_t& field = EqualsNoCase(name, "KeepAliveTime") ? keepAliveTime : keepAliveInterval;
    if (get) return ReturnSigned(result, field);
    field = static_cast<int32_t>(ParseConfigNumber(value));
    return SetKeepAlive(keepAliveTime > 0 || keepAliveInterval > 0 || tcpKeepAlive);
  }
  if (EqualsNoCase(name, "MaxReceiveDataTime")) {
    if (get) return ReturnSigned(result, maxReceiveDataTime);
    maxReceiveDataTime = static_cast<int32_t>(ParseConfigNumber(value));
    return errNone;
  }
  if (EqualsNoCase(name, "LingerTime")) {
    if (get) return ReturnSigned(result, lingerTime);
    return SetLinger(linger, static_cast<int>(ParseConfigNumber(value)));
  }
  if (EqualsNoCase(name, "Linger")) {
    if (get) return ReturnSigned(result, linger ? 1 : 0);
    return SetLinger(IsTrueText(value), lingerTime);
  }
  if (EqualsNoCase(name, "BindIPv6Address")) {
    if (get) return ReturnFlag(result, bindIPv6Address);
    bindIPv6Address = IsTrueText(value);
    return errNone;
  }
  if (EqualsNoCase(name, "RecordLength")) {
    if (get) return ReturnSigned(result, recordLength);
    recordLength = static_cast<int32_t>(ParseConfigNumber(value));
    // Flushing hands whole pieces of recordBuffer to OnRecord; nothing fills that buffer.
    if (!recordFlushing && !recordBuffer.IsEmpty()) {
      recordFlushing = true;
      const int piece = recordLength > 0 ? recordLength : recordBuffer.Length();
      while (recordBuffer.Length() >= piece && piece > 0) {
        OnRecord(recordBuffer.Data(), piece, 0);
        recordBuffer.DropFront(piece);
      }
      recordFlushing = false;
    }
    return errNone;
  }
  if (EqualsNoCase(name, "GracefullyShutDownSSL")) {
    if (get) return ReturnFlag(result, gracefullyShutDownSSL);
    gracefullyShutDownSSL = IsTrueText(value);
    return errNone;
  }
  bool handled = false;
  const int rc = FirewallConfig(request, result, handled);
  return handled ? rc : SocketCore::Config(request, result);
}

int PortClient::FirewallConfig(ConfigRequest& request, const char** result, bool& handled) {
  const std::string_view name = request.name.View();
  const bool get = request.isGet;
  const char* value = request.value.Data();
  handled = true;
  if (EqualsNoCase(name, "FirewallAutoDetect")) {
    if (get) return ReturnFlag(result, tunnel.autoDetect != 0);
    return tunnel.SetFirewallAutoDetect(IsTrueText(value));
  }
  if (EqualsNoCase(name, "FirewallHost")) {
    if (get) return ReturnText(result, tunnel.FirewallHost());
    return tunnel.SetFirewallHost(value);
  }
  if (EqualsNoCase(name, "FirewallPort")) {
    if (get) return ReturnSigned(result, tunnel.firewallPort);
    tunnel.firewallPort = static_cast<int32_t>(ParseConfigNumber(value));
    return errNone;
  }
  if (EqualsNoCase(name, "FirewallType")) {
    if (get) return ReturnSigned(result, tunnel.firewallType);
    tunnel.SetFirewallType(static_cast<int>(ParseConfigNumber(value)));
    return errNone;
  }
  if (EqualsNoCase(name, "FirewallUser")) {
    if (get) return ReturnText(result, tunnel.firewallUser);
    return tunnel.SetFirewallUser(request.value.View());
  }
  if (EqualsNoCase(name, "FirewallPassword")) {
    if (get) return ReturnText(result, tunnel.firewallPassword);
    return tunnel.SetFirewallPassword(request.value.View());
  }
  if (EqualsNoCase(name, "FirewallData")) return get ? ReturnText(result, "") : errNone;
  handled = false;
  return errNone;
}

const char* PortClient::GetLocalHost() {
  ClearLastError();
  if (connected) {
    if (useIPv6) {
      platform::IPv6Address bound;
      if (platform::SocketLocalAddress(socketHandle, bound) == 0)
        return NumericIPv6Text(bound, localHostName);
    } else {
      uint32_t bound = 0;
      int port = 0;
      if (platform::SocketLocalAddress(socketHandle, bound, port) == 0)
        return DottedText(bound, localHostName);
    }
  }
  return SocketCore::GetLocalHost();
}

int PortClient::SetMaxLineLength(uint32_t size) {
  ClearLastError();
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errLineLengthBusy,
                "You cannot change MaxLineLength at this time. A connection is in progress.");
  // A buffer without room could never read; one byte at least keeps the read path moving.
  if (size > kMaxLineLength) size = kMaxLineLength;
  if (size == 0) size = 1;
  return lineBuffer.Resize(size);
}

int PortClient::SetRemoteHost(const char* text) {
  ClearLastError();
  if (remoteHost.Assign(text) != errNone) return errOutOfMemory;
  if (tunnel.firewallType != fwNone) return errNone;
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errRemoteHostBusy,
                "You cannot change the RemoteHost at this time. A connection is in progress.");
  remoteAddress6 = platform::IPv6Address{};
  remoteAddress = 0;
  if (remoteHost.IsEmpty()) return errNone;
  if (useIPv6) return ResolveIPv6(remoteHost.Data(), remoteAddress6, 0, 1);
  const uint32_t numeric = platform::ParseIPv4(remoteHost.Data());
  if (numeric != 0xFFFFFFFFu) {
    remoteAddress = numeric;
    return errNone;
  }
  const int rc = platform::ResolveIPv4(remoteHost.Data(), remoteAddress);
  return rc == platform::errSocketsNotStarted ? errNone : rc;
}

int PortClient::SetRemotePort(int value) {
  ClearLastError();
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errRemotePortBusy,
                "You cannot change the RemotePort at this time. A connection is in progress.");
  remotePort = value;
  return errNone;
}

int PortClient::SetLocalPort(int value) {
  ClearLastError();
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errLocalPortBusy,
                "You cannot change the LocalPort at this time. A connection is in progress.");
  localPort = value;
  return errNone;
}

const char* PortClient::GetRemoteHost() {
  if (tunnel.firewallType != fwNone) return remoteHost.Data();
  if (useIPv6) return NumericIPv6Text(remoteAddress6, remoteAddress6Text);
  if (remoteAddress == 0) {
    addressText.Clear();
    return addressText.Data();
  }
  return DottedText(remoteAddress, addressText);
}

int PortClient::GetLocalPort() {
  if (socketHandle == platform::kInvalidSocket) return localPort;
  if (useIPv6) {
    platform::IPv6Address bound;
    return platform::SocketLocalAddress(socketHandle, bound) == 0 ? platform::PortOf(bound) : 0;
  }
  uint32_t address = 0;
  int port = 0;
  return platform::SocketLocalAddress(socketHandle, address, port) == 0 ? port : 0;
}

int PortClient::SetBufferSize(bool receive, int32_t value) {
  (receive ? inBufferSize : outBufferSize) = value;
  if (socketHandle == platform::kInvalidSocket || value == 0) return errNone;
  const platform::SocketOption option =
      receive ? platform::optReceiveBuffer : platform::optSendBuffer;
  const int rc = platform::SocketSetOption(socketHandle, option, value);
  if (rc != 0) {
    // The size the socket really has is looked at; the field keeps the wish.
    int actual = 0;
    platform::SocketGetOption(socketHandle, option, actual);
  }
  return rc;
}

int PortClient::SetLinger(bool on, int seconds) {
  // Linger off is an abortive close: the peer sees a reset at once.
  const bool lingerOn = !on || seconds != 0;
  const int lingerSeconds = on ? seconds : 0;
  if (socketHandle != platform::kInvalidSocket) {
    if (const int rc = platform::SocketSetLinger(socketHandle, lingerOn, lingerSeconds); rc != 0)
      return rc;
  }
  linger = on;
  lingerTime = static_cast<uint16_t>(seconds);
  return errNone;
}

int PortClient::SetKeepAlive(bool on) {
  tcpKeepAlive = on;
  if (socketHandle == platform::kInvalidSocket) return errNone;
  if (const int rc = platform::SocketSetOption(socketHandle, platform::optKeepAlive, on ? 1 : 0);
      rc != 0) {
    int actual = 0;
    if (platform::SocketGetOption(socketHandle, platform::optKeepAlive, actual) == 0)
      tcpKeepAlive = actual != 0;
    return rc;
  }
  if (on && (keepAliveTime != 0 || keepAliveInterval != 0))
    return platform::SocketSetKeepAliveTimes(
        socketHandle, keepAliveTime ? keepAliveTime : kDefaultKeepAliveTime,
        keepAliveInterval ? keepAliveInterval : kDefaultKeepAliveInterval);
  return errNone;
}

int PortClient::SetNoDelay(bool on) {
  if (socketHandle != platform::kInvalidSocket) {
    if (const int rc = platform::SocketSetOption(socketHandle, platform::optNoDelay, on ? 1 : 0);
        rc != 0)
      return rc;
  }
  tcpNoDelay = on;
  return errNone;
}

void PortClient::ApplySocketOptions() {
  SetKeepAlive(tcpKeepAlive);
  SetLinger(linger, lingerTime);
  SetBufferSize(true, inBufferSize);
  SetBufferSize(false, outBufferSize);
  platform::SocketSetOption(socketHandle, platform::optOobInline, 1);
  if (tcpNoDelay) SetNoDelay(true);
}

} // namespace quillon
