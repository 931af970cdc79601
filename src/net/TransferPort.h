// Fifth link of the engine's chain: the blocking forms over the port (connect-and-wait and
// send-everything, with the connection timeout and the send rate limit), the bookkeeping of
// connects and disconnects, and the default data sink.
#pragma once

#include "frame/FileHandle.h"
#include "tls/SecurePort.h"

namespace quillon {

class TransferPort : public SecurePort {
public:
  TransferPort() = default;
  ~TransferPort() override;

  // Config
  int Config(ConfigRequest& request, const char** result) override;

  // Virtual operations of SecurePort
  void OnConnected(int status) override;
  void OnDisconnected(int status) override;
  // Collects received bytes in receivedText; with singleLineMode, reception stops after the
  // first complete record.
  int OnDataEvent(char* bytes, int length, bool endOfRecord) override;

  // Virtual operations
  // Progress of a SendAll with `progress`; non-zero stops it with that code.
  virtual int OnSendProgress(int64_t) { return 0; }
  // Around each SendAll with `framing`: before its first byte and after its last.
  virtual int BeforeSend(const char*, int, int) { return 0; }
  virtual int AfterSend(const char*, int) { return 0; }

  // Operations
  // Connects and waits for the outcome: 0, the connect's socket error (with its text), 301 when
  // the wait ended ("Timeout." or "Interrupted."; the attempt is dropped), or a code of the
  // connect call itself. Application data is held back until the connection is up.
  int ConnectAndWait();
  // Sends all `length` bytes, waiting while the socket is full and while the rate limit holds:
  // 0, 301, a socket error, or the result of OnSendProgress, BeforeSend or AfterSend.
  int SendAll(const char* bytes, int length, bool progress, bool framing);

  // Fields
  int32_t lastConnectStatus = 0;    // status that OnConnected last saw
  BufStr lastConnectText;           // lastError when OnConnected last ran
  int32_t lastDisconnectStatus = 0; // status that OnDisconnected last saw
  bool singleLineMode = true;       // the default sink stops after one record
  int32_t connectionTimeout = 0;    // limit of ConnectAndWait in the unit of Timeout; < 1 none
  FileHandle transferFile;          // a file held during a transfer; closed at every disconnect
  BufStr receivedText;              // the default sink's bytes
  bool useExtendedDST = true;       // UseExtendedDST: held and read back, used by nothing
  BufStr transferText;              // the piece that SendAll was last given for a chunked upload

private:
  // Waits while sending has gone faster than maxTransferRate; 0 or 301.
  int ApplyRateLimit();
};

} // namespace quillon
