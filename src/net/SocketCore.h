// Second link of the engine's chain: socket settings, the delivery of socket events (as window
// messages or by a poll round), deadlines, the local address and name resolution, and WaitStep,
// the single step that every blocking operation is made of. Nothing of any protocol lives here.
#pragma once

#include "frame/ComponentCore.h"
#include "frame/FileHandle.h"
#include "keys/CertificateFront.h"
#include "platform/MessageQueue.h"
#include "platform/Socket.h"

#include <cstdint>

namespace quillon {

// The message of socket events: its first parameter is the socket, its second the event
// (platform::SocketEvent) in the low 16 bits and a socket error in the high 16 bits.
constexpr uint32_t kSocketMessage = 1125;
// The events asked for while connecting: read, write, connect, close.
constexpr uint32_t kConnectEvents = 51;

class SocketCore : public ComponentCore {
public:
  SocketCore();
  ~SocketCore() override;

  // Config
  int Config(ConfigRequest& request, const char** result) override;

  // Virtual operations
  // Arms event delivery for `s` (mask 0 cancels) and remembers the arguments for the poll round.
  virtual int AsyncSelect(platform::SocketId s, platform::WindowId window, uint32_t message,
                          uint32_t mask);
  // Messages that reach the object's window; here only the rule for foreign messages.
  virtual intptr_t HandleSocketMessage(uint32_t message, uintptr_t first, intptr_t second);
  // The local address as text, or the machine's host name when none is set.
  virtual const char* GetLocalHost();
  // Resolves and stores the local address; "" resets it to any address.
  virtual int SetLocalHost(const char* name);
  // One step of a blocking wait: delivers events for up to `milliseconds` and answers whether
  // the wait may go on. False leaves "Timeout." or "Interrupted." in lastError, unless a close or
  // quit message or the loss of the window ended the wait.
  virtual bool WaitStep(uint32_t milliseconds, platform::WindowId window);
  virtual void* SecurityContextHandle() { return nullptr; }

  // Operations
  // Starts the deadline of an operation from `timeoutMillis`; none when that is 0.
  void ArmDeadline();
  // `value` in the unit of Timeout (seconds, or milliseconds under TimeoutInMilliseconds).
  void SetTimeout(int value, bool clearDeadline);
  int GetTimeout() const;
  // One round of the poll mode for `selectSocket`, raising its events through
  // HandleSocketMessage. Without a socket it returns at once, without sleeping.
  int SelectPump(uint32_t milliseconds, uint32_t message);
  // Resolves `name` into `destination`; a "%n" suffix is the scope id. "" clears the address.
  int ResolveIPv6(const char* name, platform::IPv6Address& destination, int flags, int socketType);
  // The numeric text of `address` in `destination`; empty on failure.
  const char* NumericIPv6Text(const platform::IPv6Address& address, BufStrBase& destination);
  // `address` (network order) as "a.b.c.d" in `destination`.
  static const char* DottedText(uint32_t address, BufStrBase& destination);
  // "[code] " and the code's text from the socket error table; 1 when the table lacks the code.
  int SetSocketErrorText(int code);
  // Asks the running wait to end; safe from inside an event.
  void RequestInterrupt() {
    interruptRequested = true;
    wasInterrupted = false;
  }
  static int64_t WallClockMillis();
  // Runs delivery rounds as a host's message loop would, for `milliseconds`: each round delivers
  // one pending event or waits for one. 0 runs one round without waiting. These events are
  // external: inDispatch stays false.
  int DoEvents(int milliseconds);
  // Fails with 287 while a socket exists.
  int SetUseWindowsMessages(bool value);

  // Session recording
  // Starts a new script for the connection: -1 without RecordToFile, else 0 or 4.
  int OpenRecordFile();
  void CloseRecordFile() { recordFile.Close(); }
  // Logs the bytes (unless bit 1 of LogDebugOption) and writes them into the script: what the
  // engine sent (`direction` 0) as an expect command, what it received (1) as a send command.
  // 0, 5 when the script is closed, 7 when a write fails (which closes it).
  int RecordTraffic(int direction, const char* bytes, int length, const char* tailBytes,
                    int tailLength);

  // Fields
  platform::WindowId windowHandle = 0; // the object's message window; 0 when none
  int32_t timeoutMillis = 0;           // Timeout in milliseconds; 0 none, negative: don't wait
  uint64_t deadlineTick = 0;           // platform::TickCount() at which the wait ends; 0 none
  BufStr localHostName;                // result of GetLocalHost
  int32_t selectWaitMillis = 20;       // length of one wait step
  bool useWindowsMessages = true;      // deliver events as window messages, else by poll rounds
  platform::SocketId socketHandle = platform::kInvalidSocket; // the port's socket
  int32_t inBufferSize = 0;             // SO_RCVBUF for new sockets; 0 keeps the system's
  int32_t outBufferSize = 0;            // SO_SNDBUF for new sockets; 0 keeps the system's
  int32_t timeoutInMilliseconds = 0;    // Timeout counts milliseconds instead of seconds
  uint32_t localAddress = 0;            // IPv4 address to bind, network order; 0 any
  platform::IPv6Address localAddress6;  // IPv6 address to bind; all zero is any
  BufStr localAddress6Text;             // numeric text of localAddress6
  bool useIPv6 = false;                 // all addresses are IPv6
  bool secureEnabled = false;           // TLS is on for the next connection
  bool absoluteTimeout = false;         // the deadline is not renewed by traffic
  bool interruptRequested = false;      // RequestInterrupt was called; WaitStep honours it
  bool wasInterrupted = false;          // WaitStep ended a wait for RequestInterrupt
  bool inDispatch = false;              // WaitStep is dispatching a message
  bool ignoreExternalEvents = false;    // drop foreign messages outside WaitStep
  bool ignoreOtherWindowEvents = false; // WaitStep dispatches this object's messages only
  bool readPending = false;             // a self-posted read is due at the next poll round
  int32_t lastRecvError = 0;            // socket error of the latest failed recv; 0 none
  BufStr20 addressText;                 // scratch for dotted addresses
  platform::SocketId selectSocket = platform::kInvalidSocket; // latest AsyncSelect arguments
  uint32_t selectMessage = kSocketMessage;
  uint32_t selectMask = 0;
  uint32_t eventsDelivered = 0; // counts the messages and socket events that wait steps ran
  uint32_t socketSerial = 0;    // changes whenever socketHandle does, so that a poll round can
                                // tell a new socket that took a closed one's number
  // The client certificate (SSLCertStore, SSLCertStoreType, SSLCertStorePassword,
  // SSLCertSubject, SSLCertEncoded) and SSLAcceptServerCertEncoded.
  CertificateFront certificates{*this};

  // Settings held for other links and read back (TLS, authentication, QoS)
  int32_t qosTrafficType = 0;         // QOSTrafficType; no flow is ever made
  int32_t qosDscpValue = 0;           // QOSDSCPValue
  BufStr sslProvider;                 // SSLProvider
  int32_t sslCipherStrength = 40;     // SSLCipherStrength
  BufStr sslAlgorithmList;            // SSLAlgorithmList
  bool useDefaultCredentials = false; // UseDefaultCredentials
  bool reuseSSLSession = false;       // ReuseSSLSession
  bool extendedProtection = false;    // ExtendedProtection: channel binding in Negotiate
  int32_t sslSecurityFlags = 0;       // SSLSecurityFlags
  bool sslIncludeCertChain = false;   // SSLIncludeCertChain
  int32_t sslEnabledProtocols = 4032; // SSLEnabledProtocols
  bool sslEnableRenegotiation = true; // SSLEnableRenegotiation
  BufStr kerberosSPN;                 // KerberosSPN
  bool useSystemSSPI = true;          // UseSystemSSPI
  BufStr recordToFile;                // RecordToFile: the script's name; empty records nothing
  FileHandle recordFile;              // the script of the current connection

protected:
  // A flag of the socket links' Config keys reads "True" or "False".
  int ReturnFlag(const char** result, bool value) {
    return ReturnText(result, value ? "True" : "False");
  }
  // Every change of the socket goes here. A closed socket's number may come back at once for
  // something else, so the poll round forgets it too.
  void SetSocketHandle(platform::SocketId s) {
    if (s == platform::kInvalidSocket && selectSocket == socketHandle)
      selectSocket = platform::kInvalidSocket;
    socketHandle = s;
    ++socketSerial;
  }
  // Renews the deadline on traffic, unless AbsoluteTimeout holds it.
  void ArmOnTraffic() {
    if (!absoluteTimeout) ArmDeadline();
  }
  // A read event at the next wait step: posted in window-message mode, pending in poll mode.
  void PostReadEvent();
  // Gives the object a window on the calling thread when its window belongs to another thread,
  // and moves the socket's event delivery along with it.
  void EnsureWindowHere();

private:
  // The keys that are only held and read back; `handled` false for any other.
  int StoredConfig(ConfigRequest& request, const char** result, bool& handled);
  static intptr_t WindowProcedure(void* target, platform::WindowId window, uint32_t message,
                                  uintptr_t first, intptr_t second);
  bool EndWait(const char* text);
  bool Interrupted();
  void Raise(uint32_t message, platform::SocketId s, uint32_t event, int error);
};

} // namespace quillon
