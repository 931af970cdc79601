// Plays the firewall's side of every tunnel type with arbitrary bytes. The port's socket is one
// end of a socket pair; the other end takes the port's requests and gives the fuzzed answer in
// reads of varying size through the port's real read path. Whatever arrives, the negotiation
// must end (up, refused or aborted) without a crash, and a tunnel that reports success must have
// put the caller's terminator back.
//
// Input: byte 0 picks the type (1 to 6), byte 1 the size of the reads and whether credentials
// are set, then the firewall's bytes.
#include "net/NetErrors.h"
#include "net/TransferPort.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace {

class FuzzPort : public quillon::TransferPort {
public:
  int LoadTunnelCredentials(const char*, const char*, const char*) override { return 0; }
  int MakeTunnelToken(quillon::BufStrBase& out, const char*, const char*,
                      const char* challenge) override {
    out.AppendText("T");
    return out.AppendText(challenge);
  }
  void OnConnected(int status) override {
    ++connects;
    lastStatus = status;
  }
  int connects = 0;
  int lastStatus = -1;
};

void Check(bool condition) {
  if (!condition) std::abort();
}

void Drain(int peer) {
  char sink[4096];
  while (recv(peer, sink, sizeof sink, MSG_DONTWAIT) > 0) {
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int type = 1 + data[0] % 6;
  const size_t piece = 1 + (data[1] >> 1) % 32;
  const bool credentials = data[1] & 1;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 0;

  FuzzPort port;
  port.useWindowsMessages = false;
  port.tunnel.SetFirewallType(type);
  port.tunnel.SetFirewallUser(credentials ? "user" : "");
  port.tunnel.SetFirewallPassword(credentials ? "password" : "");
  port.SetRemoteHost(type == 3 && credentials ? "*remote.example" : "127.0.0.1");
  port.SetRemotePort(443);
  port.SetLineTerminator("\n", 1);
  quillon::platform::SocketSetNonBlocking(ends[0]);
  port.socketHandle = ends[0];
  port.connected = true;
  port.SetAcceptData(false);
  const uintptr_t socket = static_cast<uintptr_t>(ends[0]);
  port.HandleSocketMessage(quillon::kSocketMessage, socket, quillon::platform::evConnect);

  for (size_t at = 2; at < size && port.socketHandle == ends[0] && port.connects == 0;
       at += piece) {
    Drain(ends[1]);
    const size_t count = at + piece <= size ? piece : size - at;
    if (send(ends[1], data + at, count, 0) != static_cast<ssize_t>(count)) break;
    port.HandleSocketMessage(quillon::kSocketMessage, socket, quillon::platform::evRead);
  }
  if (port.connects == 0 && port.socketHandle == ends[0]) {
    // The firewall hangs up: the negotiation must end now.
    shutdown(ends[1], SHUT_WR);
    port.HandleSocketMessage(quillon::kSocketMessage, socket, quillon::platform::evRead);
    Check(port.connects == 1);
  }
  Check(port.connects <= 1);
  if (port.connects == 1 && port.lastStatus == 0)
    Check(port.lineBuffer.terminatorLength == 1 && port.lineBuffer.terminator[0] == '\n');
  if (port.connects == 1 && port.lastStatus != 0) Check(port.lastStatus == quillon::errTunnelFailed);
  port.PortConnect(0);
  close(ends[1]);
  return 0;
}
