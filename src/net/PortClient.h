// Third link of the engine's chain: one outgoing TCP connection with its remote address, its
// input line buffer, its socket options and its event dispatch. Raw socket events become the
// port's own operations (connected, disconnected, data, writable) for the links above.
#pragma once

#include "net/FirewallTunnel.h"
#include "net/LineBuffer.h"
#include "net/SocketCore.h"

#include <cstdint>

namespace quillon {

class PortClient : public SocketCore {
public:
  PortClient();
  ~PortClient() override;

  // Config
  int Config(ConfigRequest& request, const char** result) override;

  // Virtual operations of SocketCore
  intptr_t HandleSocketMessage(uint32_t message, uintptr_t first, intptr_t second) override;
  // The bound address of a connected socket, else the base's answer.
  const char* GetLocalHost() override;

  // Virtual operations
  // Fails with 112 while a socket exists; sizes are clamped to 1..65536.
  virtual int SetMaxLineLength(uint32_t size);
  virtual uint32_t GetMaxLineLength() { return lineBuffer.capacity; }
  // The final reset of a connection: closes the socket if one is left and clears the state.
  virtual int OnSocketClosed();
  // The read path. `mode` 0: a read event; 1: the last read before a close; 3: the resumption
  // after SetAcceptData(true) without a connection.
  virtual int ReadSocket(int mode);
  virtual void OnPortConnected(int status) = 0;
  virtual void OnPortDisconnected(int status) = 0;
  // `endOfRecord` is false for a piece of an unfinished record: the buffer was full, or the
  // stream ended.
  virtual int OnPortData(char* bytes, int length, bool endOfRecord) = 0;
  virtual void ReportError(int code, const char* text) = 0;
  virtual void OnPortWritable() = 0;
  virtual void ReportStatus(const char* text, int code) = 0;
  virtual int OnRecord(const char*, int, int) { return 0; }
  // The authentication front of the NTLM and Negotiate tunnels: the credentials for `scheme`,
  // then the base64 token of the next message for `target`, answering `challenge` (empty for the
  // first). Both fail here until a front is built over them.
  virtual int LoadTunnelCredentials(const char* scheme, const char* user, const char* password);
  virtual int MakeTunnelToken(BufStrBase& out, const char* scheme, const char* target,
                              const char* challenge);
  // The buffer that records are cut from: lineBuffer here; a link that transforms the stream
  // (TLS) cuts records from its own output.
  virtual LineBuffer& RecordBuffer() { return lineBuffer; }

  // Operations
  // Non-zero starts a connection and returns at once (the outcome comes to OnPortConnected);
  // zero closes. A failure returned here fires no event.
  int PortConnect(int connect);
  // The close path; `status` is an event status word, the error in its high 16 bits. Inside the
  // read path the close is put off until the read path is done.
  int CloseSocket(uint32_t status);
  // One send; 10035 when not everything went (lastSendCount tells how much did), 10057 without
  // a connection.
  int PortSend(const char* bytes, int length, int flags, bool checkTunnel);
  // False while a firewall tunnel negotiates.
  bool IsConnected() const { return connected && !tunnel.Negotiating(); }
  // False holds received data back in the socket; true delivers it again.
  int SetAcceptData(bool value);
  // Record terminator; length 0 delivers data as it comes.
  int SetLineTerminator(const char* bytes, int length);
  // The terminator of the socket's own buffer, which under TLS carries the raw stream: a tunnel
  // reads its proxy's lines there before the channel starts.
  int SetWireTerminator(const char* bytes, int length);
  // Stores the text and resolves it; 101 while a socket exists. A failed lookup returns the
  // socket error (11001...) and leaves the text stored. With a firewall type set the text is
  // only stored: the tunnel names it to the firewall.
  int SetRemoteHost(const char* text);
  int SetRemotePort(int value);
  int SetLocalPort(int value);
  const char* GetRemoteHost();
  // The port of the bound socket, else the stored LocalPort.
  int GetLocalPort();

  // Socket options: each is held in its field and pushed to the socket when one exists.
  int SetBufferSize(bool receive, int32_t value);
  int SetLinger(bool on, int seconds);
  int SetKeepAlive(bool on);
  int SetNoDelay(bool on);

  // Fields
  FirewallTunnel tunnel{*this};         // between the socket events and the port's operations
  uint32_t remoteAddress = 0;           // resolved IPv4 address, network order; 0 none
  BufStr remoteHost;                    // RemoteHost as set
  platform::IPv6Address remoteAddress6; // resolved IPv6 address
  BufStr remoteAddress6Text;            // its numeric text
  int32_t remotePort = 0;
  int32_t localPort = 0;
  uint32_t deferredCloseCode = 0; // status of a close put off by closePending
  int32_t lastSendCount = 0;      // bytes that the latest send took
  bool connected = false;         // the TCP connection is up
  bool connectPending = false;    // connect was issued and its event has not come
  bool acceptData = true;         // the read path may deliver; false holds data in the socket
  bool linger = true;             // false closes with a reset
  uint16_t lingerTime = 0;        // seconds a close may linger; 0 the system's graceful close
  bool tcpKeepAlive = false;
  int32_t keepAliveTime = 0;      // milliseconds before the first probe; 0 the system's
  int32_t keepAliveInterval = 0;  // milliseconds between probes; 0 the system's
  int32_t maxReceiveDataTime = 0; // milliseconds one read event may run; 0 no limit
  bool closePending = false;      // a close came while the read path ran
  bool tcpNoDelay = false;
  bool sendMore = false;              // the caller's next send continues this one: sends hold back
  int64_t maxTransferRate = 0;        // bytes per second that sending may reach; below 1 no limit
  int64_t sentInWindow = 0;           // bytes sent since rateWindowStart
  int64_t rateWindowStart = 0;        // WallClockMillis of the rate window's start
  int64_t lastSendTime = 0;           // WallClockMillis of the latest send
  bool bindIPv6Address = true;        // bind an IPv6 socket before connect
  bool inRead = false;                // the read path runs for a read event
  bool gracefullyShutDownSSL = false; // read by the secure link's shutdown
  LineBuffer lineBuffer;              // received bytes, cut into records
  int32_t recordLength = 0;           // RecordLength; the record path behind it is fed by nothing
  BufStr recordBuffer;                // records waiting for OnRecord; stays empty
  bool recordFlushing = false;        // recordBuffer is being flushed

protected:
  // The points where connect results, disconnects and received data rise from the socket to the
  // port's operations, through the firewall tunnel.
  void SocketConnected(int error) { tunnel.OnSocketConnected(error); }
  void SocketDisconnected(int error) { tunnel.OnSocketDisconnected(error); }
  int SocketData(char* bytes, int length, bool endOfRecord) {
    return tunnel.OnSocketData(bytes, length, endOfRecord);
  }
  // The gate of the read path: data may be delivered, or a tunnel reads its negotiation.
  bool DeliveryAllowed() const { return acceptData || tunnel.Negotiating(); }
  // Bytes on the wire are recorded while they are the application's, or the tunnel's.
  bool RecordsWire() const { return !secureEnabled || tunnel.Negotiating(); }

private:
  int FirewallConfig(ConfigRequest& request, const char** result, bool& handled);
  void ApplySocketOptions();
};

} // namespace quillon
