// ConnectAndWait and SendAll are loops around WaitStep: each step lets the socket's events run,
// then the loop tests its own condition. The rate limit measures bytes sent since the start of a
// window, which starts anew after a minute without sending.
#include "net/TransferPort.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "net/NetErrors.h"

namespace quillon {

namespace {
constexpr int64_t kRateWindowIdleMillis = 60000;
} // namespace

TransferPort::~TransferPort() {
  // No blocking loop may outlive the object.
  RequestInterrupt();
}

int TransferPort::Config(ConfigRequest& request, const char** result) {
  if (EqualsNoCase(request.name.View(), "UseExtendedDST")) {
    if (request.isGet) return ReturnSigned(result, useExtendedDST ? 1 : 0);
    useExtendedDST = IsTrueText(request.value.Data());
    return errNone;
  }
  if (EqualsNoCase(request.name.View(), "ConnectionTimeout")) {
    if (request.isGet) return ReturnSigned(result, connectionTimeout);
    connectionTimeout = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
    return errNone;
  }
  // Read only: setting it is an unknown key.
  if (EqualsNoCase(request.name.View(), "TransferText") && request.isGet)
    return ReturnText(result, transferText);
  return SecurePort::Config(request, result);
}

void TransferPort::OnConnected(int status) {
  lastConnectStatus = status;
  lastConnectText.Assign(lastError);
  SecurePort::OnConnected(status);
}

void TransferPort::OnDisconnected(int status) {
  lastDisconnectStatus = status;
  transferFile.Close();
  SecurePort::OnDisconnected(status);
}

int TransferPort::OnDataEvent(char* bytes, int length, bool endOfRecord) {
  if (receivedText.Append(bytes, length) != errNone)
    ErrorEvent(errOutOfMemory, "Out of memory in DataIn [IPPMsg].");
  if (endOfRecord && singleLineMode) SetAcceptData(false);
  return errNone;
}

int TransferPort::ConnectAndWait() {
  interruptRequested = false;
  if (IsConnected()) return errNone;
  receivedText.Clear();
  lastConnectStatus = 0;
  SetAcceptData(false);
  if (const int rc = SecureConnect(1, 0); rc != errNone) return rc;

  const int kept = GetTimeout();
  const bool ownLimit = connectionTimeout >= 1;
  if (ownLimit) {
    deadlineTick = 0;
    timeoutMillis = timeoutInMilliseconds ? connectionTimeout : connectionTimeout * 1000;
  }
  if (kept != 0 || ownLimit) ArmDeadline();

  int rc;
  for (;;) {
    if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) {
      BufStr reason;
      reason.Assign(lastError);
      SecureConnect(0, 0);
      if (!reason.IsEmpty()) lastError.Assign(reason);
      rc = errInterrupted;
      break;
    }
    if (IsConnected() || lastConnectStatus != 0) {
      SetAcceptData(true);
      if (lastConnectStatus != 0) lastError.Assign(lastConnectText);
      rc = lastConnectStatus;
      break;
    }
  }
  if (ownLimit) SetTimeout(kept, false);
  return rc;
}

int TransferPort::ApplyRateLimit() {
  if (maxTransferRate < 1) return errNone;
  for (;;) {
    const int64_t now = WallClockMillis();
    const int64_t elapsed = now - rateWindowStart;
    if (now - lastSendTime > kRateWindowIdleMillis) {
      rateWindowStart = lastSendTime = now;
      sentInWindow = 0;
    }
    const int64_t sent = sentInWindow > 0 ? sentInWindow : 0;
    const int64_t rate = elapsed < 1 ? 0 : static_cast<int64_t>(sent / (elapsed / 1000.0));
    if (rate <= maxTransferRate) return errNone;
    if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) return errInterrupted;
  }
}

int TransferPort::SendAll(const char* bytes, int length, bool progress, bool framing) {
  interruptRequested = false;
  if (length <= 0) return errNone;
  if (framing) {
    if (const int rc = BeforeSend(bytes, length, progress ? 1 : 0); rc != errNone) return rc;
  }
  int remaining = length;
  for (;;) {
    if (const int rc = ApplyRateLimit(); rc != errNone) return rc;
    const int rc = SecureSend(bytes, remaining, 0);
    const int sent = LastSentCount();
    sentInWindow += sent;
    lastSendTime = WallClockMillis();
    if (rc == errNone) return framing ? AfterSend(bytes, remaining) : errNone;
    if (rc != platform::errWouldBlock) return rc;
    bytes += sent;
    remaining -= sent;
    if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) return errInterrupted;
    if (progress) {
      if (const int stop = OnSendProgress(length - remaining); stop != errNone) return stop;
    }
  }
}

} // namespace quillon
