// Plays the firewall's side of every tunnel type with arbitrary bytes. The port's socket is one
// end of a socket pair; the other end takes the port's requests and gives the fuzzed answer in
// reads of varying size through the port's real read path. Whatever arrives, the negotiation
// must end (up, refused or aborted) without a crash, and a tunnel that reports success must have
// put the caller's terminator back.
//
// Input: byte 0 picks the type (1 to 6), byte 1 the size of the reads and whether credentials
// are set, then the firewall's bytes.
#include "FuzzSupport.h"
#include "net/NetErrors.h"
#include "net/TransferPort.h"

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

void Drain(int peer) {
  char sink[4096];
  while (recv(peer, sink, sizeof sink, MSG_DONTWAIT) > 0) {
  }
}

} // namespace

QUILLON_FUZZ_TARGET(input) {
  if (input.size() < 2) return;
  const int type = 1 + static_cast<uint8_t>(input[0]) % 6;
  const size_t piece = 1 + (static_cast<uint8_t>(input[1]) >> 1) % 32;
  const bool credentials = input[1] & 1;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return;

  FuzzPort port;
  port.useWindowsMessages = false;
  port.tunnel.SetFirewallType(type);
  port.tunnel.SetFirewallUser(credentials ? "user" : "");
  port.tunnel.SetFirewallPassword(credentials ? "password" : "");
  port.SetRemoteHost(type == 3 && credentials ? "*remote.example" : "127.0.0.1");
  port.SetRemotePort(443);
  port.SetLineTerminator("\n", 1);
  platform::SocketSetNonBlocking(ends[0]);
  port.socketHandle = ends[0];
  port.connected = true;
  port.SetAcceptData(false);
  const uintptr_t socket = static_cast<uintptr_t>(ends[0]);
  port.HandleSocketMessage(kSocketMessage, socket, platform::evConnect);

  for (size_t at = 2; at < input.size() && port.socketHandle == ends[0] && port.connects == 0;
       at += piece) {
    Drain(ends[1]);
    const std::string_view bytes = input.substr(at, piece);
    if (send(ends[1], bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) break;
    port.HandleSocketMessage(kSocketMessage, socket, platform::evRead);
  }
  if (port.connects == 0 && port.socketHandle == ends[0]) {
    // The firewall hangs up: the negotiation must end now.
    shutdown(ends[1], SHUT_WR);
    port.HandleSocketMessage(kSocketMessage, socket, platform::evRead);
    Check(port.connects == 1);
  }
  Check(port.connects <= 1);
  if (port.connects == 1 && port.lastStatus == 0)
    Check(port.lineBuffer.terminatorLength == 1 && port.lineBuffer.terminator[0] == '\n');
  if (port.connects == 1 && port.lastStatus != 0) Check(port.lastStatus == errTunnelFailed);
  port.PortConnect(0);
  close(ends[1]);
}
