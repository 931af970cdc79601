// The port's connection: connect, the dispatch of socket events, close and send.
//
//   Closed --PortConnect(1)--> Connecting --connect event--> Up, or back to Closed with the error
//   Up --close event, end of stream or CloseSocket--> Closed (Disconnected fires on the way)
//   A close that comes while the read path runs is put off (closePending) and finished by it.
//
// An event handler may close the socket or open the next one, and the new socket may get the
// old one's number: socketSerial tells whether the socket a step started with is still there.
#include "net/PortClient.h"

#include "frame/Errors.h"
#include "http/SystemProxy.h"
#include "net/NetErrors.h"

namespace quillon {

int PortClient::PortConnect(int connect) {
  ClearLastError();
  deferredCloseCode = 0;
  if (!connect) {
    // A caller that closes gives the tunnel up; that is no failure of the firewall.
    tunnel.negotiating = false;
    return CloseSocket(0);
  }
  if (socketHandle != platform::kInvalidSocket)
    return Fail(errAlreadyConnected,
                "Already connected. If you want to reconnect, close the current connection first.");
  closePending = false;
  lineBuffer.Clear();
  // With a firewall the socket goes to the firewall, unless the system's settings let this
  // target bypass it.
  if (tunnel.firewallType != fwNone && tunnel.autoDetect &&
      BypassesProxy(remoteHost.Data(), remotePort, nullptr)) {
    tunnel.firewallType = fwNone;
    tunnel.firewallPort = 0;
    tunnel.firewallAddress = 0;
    // The address may be an earlier host's: with a firewall set, a new host is only stored.
    if (!remoteHost.IsEmpty()) SetRemoteHost(remoteHost.Data());
  }
  const bool viaFirewall = tunnel.firewallType != fwNone;
  const uint32_t targetAddress = viaFirewall ? tunnel.firewallAddress : remoteAddress;
  const int targetPort = viaFirewall ? tunnel.firewallPort : remotePort;
  if (!useIPv6 && targetAddress == 0)
    return Fail(errAddressInvalid, viaFirewall ? "The FirewallHost address is invalid (0.0.0.0)."
                                               : "The RemoteHost address is invalid (0.0.0.0).");
  if (targetPort == 0)
    return Fail(errPortZero,
                viaFirewall
                    ? "The FirewallPort is invalid (0)."
                    : "RemotePort can't be zero. Please specify a valid service port number.");

  connected = false;
  const platform::SocketId s = platform::SocketOpen(useIPv6);
  if (s == platform::kInvalidSocket) return platform::LastSocketError();
  SetSocketHandle(s);
  int rc = 0;
  if (!useIPv6)
    rc = platform::SocketBind(s, localAddress, localPort);
  else if (bindIPv6Address)
    rc = platform::SocketBind(s, localAddress6, localPort);
  if (rc != 0) {
    OnSocketClosed();
    return rc;
  }
  ApplySocketOptions();
  rc = AsyncSelect(s, windowHandle, kSocketMessage, kConnectEvents);
  if (rc == 0) {
    connectPending = true;
    rc = useIPv6 ? platform::SocketConnect(s, remoteAddress6, targetPort)
                 : platform::SocketConnect(s, targetAddress, targetPort);
    if (rc == 0 || rc == platform::errWouldBlock) return errNone;
    connectPending = false;
  }
  OnSocketClosed();
  return rc;
}

intptr_t PortClient::HandleSocketMessage(uint32_t message, uintptr_t first, intptr_t second) {
  if (message != kSocketMessage || socketHandle == platform::kInvalidSocket ||
      first != static_cast<uintptr_t>(socketHandle))
    return SocketCore::HandleSocketMessage(message, first, second);
  const uint32_t status = static_cast<uint32_t>(second);
  const int error = static_cast<int>(status >> 16);
  switch (status & 0xFFFF) {
  case platform::evRead:
    if (DeliveryAllowed() && !inRead) {
      inRead = true;
      ReadSocket(0);
      inRead = false;
    }
    break;
  case platform::evWrite:
    OnPortWritable();
    break;
  case platform::evConnect: {
    connectPending = false;
    platform::SocketSetOption(socketHandle, platform::optOobInline, 1);
    connected = error == 0;
    const uint32_t serial = socketSerial;
    if (error == 0) OpenRecordFile();
    SocketConnected(error);
    // No Disconnected follows a failed connect; the socket just goes, unless the Connected
    // handler already started the next one.
    if (error != 0 && serial == socketSerial) OnSocketClosed();
    break;
  }
  case platform::evClose:
    if (connectPending)
      ReadSocket(0);
    else
      CloseSocket(status);
    break;
  default:
    break;
  }
  return 0;
}

int PortClient::CloseSocket(uint32_t status) {
  if (socketHandle == platform::kInvalidSocket) return OnSocketClosed();
  AsyncSelect(socketHandle, windowHandle, kSocketMessage, 0);
  if (inRead) {
    closePending = true;
    deferredCloseCode = status;
    return errNone;
  }
  const uint32_t serial = socketSerial;
  if (acceptData) ReadSocket(1);
  if (serial != socketSerial) return errNone;
  if (connected) {
    connected = false;
    // The handler still sees the socket; it goes right after.
    SocketDisconnected(static_cast<int>(status >> 16));
    CloseRecordFile();
    if (serial != socketSerial) return errNone;
  }
  const int rc = platform::SocketClose(socketHandle);
  SetSocketHandle(platform::kInvalidSocket);
  OnSocketClosed();
  return rc;
}

int PortClient::OnSocketClosed() {
  if (socketHandle != platform::kInvalidSocket) {
    platform::SocketClose(socketHandle);
    SetSocketHandle(platform::kInvalidSocket);
  }
  CloseRecordFile();
  lastSendCount = 0;
  connected = false;
  connectPending = false;
  acceptData = true;
  inRead = false;
  return errNone;
}

int PortClient::PortSend(const char* bytes, int length, int, bool checkTunnel) {
  ClearLastError();
  // The caller's bytes wait until the tunnel is through.
  if (checkTunnel && tunnel.Negotiating()) return platform::errNotConnected;
  if (!connected) return platform::errNotConnected;
  if (length <= 0) return errNone;
  const long sent = platform::SocketSend(socketHandle, bytes, length, sendMore);
  if (sent < 0) {
    lastSendCount = 0;
    if (!useWindowsMessages) selectMask |= platform::evWrite;
    return platform::LastSocketError();
  }
  ArmOnTraffic();
  lastSendCount = static_cast<int32_t>(sent);
  if (RecordsWire()) RecordTraffic(0, bytes, static_cast<int>(sent), nullptr, 0);
  if (sent < length) {
    if (!useWindowsMessages) selectMask |= platform::evWrite;
    return platform::errWouldBlock;
  }
  return errNone;
}

int PortClient::LoadTunnelCredentials(const char*, const char*, const char*) {
  return Fail(errTunnelFailed, "NTLM and Negotiate proxy authentication are not available.");
}

int PortClient::MakeTunnelToken(BufStrBase&, const char*, const char*, const char*) {
  return Fail(errTunnelFailed, "NTLM and Negotiate proxy authentication are not available.");
}

} // namespace quillon
