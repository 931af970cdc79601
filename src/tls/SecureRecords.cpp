// The record layer. Received bytes collect in secureInput; each round of the read loop is one
// handshake step or one record opened in place, whose plain bytes go into plainBuffer, and the
// records cut from there go up. Sending builds one record at a time in sendBuffer; protected
// bytes that the socket does not take wait in secureOutQueue, ahead of anything sent later.
#include "tls/SecurePort.h"

#include "frame/Errors.h"
#include "net/NetErrors.h"

#include <cstdio>
#include <cstring>

namespace quillon {

namespace {
// An unfinished line stays in plainBuffer only while this much room is left behind it.
constexpr uint32_t kLineRoomReserve = 256;
} // namespace

int SecurePort::OnPortData(char* bytes, int length, bool endOfRecord) {
  if (!recordInProtected) return OnData(bytes, length, endOfRecord);
  if (handshaking) {
    char text[64];
    std::snprintf(text, sizeof text, "Receiving %d bytes of handshake data.", length);
    SSLStatusEvent(text);
  }
  if (secureInput.Append(bytes, length) != errNone) {
    ErrorEvent(errOutOfMemory, "Out of memory [ssllb]. Aborting connection.");
    SecureConnect(0, 0);
    return errNone;
  }
  for (;;) {
    int again;
    if (handshaking)
      again = HandshakeStep();
    else if (sslState == 2)
      again = DecryptStep();
    else
      break;
    if (!again) break;
  }
  return errNone;
}

int SecurePort::DecryptStep() {
  platform::TlsToken token;
  const char* plain = nullptr;
  int plainLength = 0;
  int extra = 0;
  const int32_t status = contextHandle->Decrypt(secureInput.Data(), secureInput.Length(), plain,
                                                plainLength, extra, token);
  if (token.length > 0) SecureRawSend(token.bytes, token.length, 0);
  switch (status) {
  case platform::tlsIncompleteMessage:
    return 0;
  case platform::tlsContextExpired:
    SSLStatusEvent("Server signaled end of session.");
    secureInput.Clear();
    // What is left of the plain text goes up before the port turns plain.
    DeliverPlain(nullptr, 0);
    if (char* rest; acceptSecureData) {
      uint32_t size = 0;
      if (plainBuffer.TakeAll(rest, size)) OnData(rest, static_cast<int>(size), false);
    }
    SendCloseNotify(true);
    recordInProtected = false;
    return 0;
  case platform::tlsRenegotiate:
    secureInput.DropFront(secureInput.Length() - extra);
    if (sslEnableRenegotiation) {
      handshaking = 1;
      return 1;
    }
    SSLStatusEvent("Renegotiate is disabled. Send NO_RENEGOTIATION alert message.");
    SendAlert(1, 100);
    return secureInput.IsEmpty() ? 0 : 1;
  case platform::tlsOk:
    break;
  default: {
    char text[64];
    std::snprintf(text, sizeof text, "error decrypting data (error 0x%x)",
                  static_cast<uint32_t>(status));
    secureInput.Clear();
    lastError.Assign(text);
    ErrorEvent(errDecrypt, text);
    SecureConnect(0, 0);
    return 0;
  }
  }
  // The script and the log hold the plain bytes; cipher text is never recorded.
  if (plainLength > 0) RecordTraffic(1, plain, plainLength, nullptr, 0);
  const platform::TlsContext* context = contextHandle;
  const uint32_t serial = socketSerial;
  // Delivery runs host code; a nested read must not enter these buffers meanwhile.
  acceptData = false;
  DeliverPlain(plain, plainLength);
  acceptData = true;
  if (serial != socketSerial || context != contextHandle || sslState != 2) return 0;
  secureInput.DropFront(secureInput.Length() - extra);
  return extra > 0 || contextHandle->HoldsPlain() ? 1 : 0;
}

void SecurePort::DeliverPlain(const char* bytes, int length) {
  const uint32_t wanted = static_cast<uint32_t>(length + plainOverflow.Length());
  char* place;
  uint32_t room;
  if (plainBuffer.FreeSpace(place, wanted, room) || wanted == 0) {
    if (!plainOverflow.IsEmpty())
      plainBuffer.Append(plainOverflow.Data(), static_cast<uint32_t>(plainOverflow.Length()));
    plainOverflow.Clear();
    if (length > 0) plainBuffer.Append(bytes, static_cast<uint32_t>(length));
  } else if (length > 0 && plainOverflow.Append(bytes, length) != errNone) {
    ErrorEvent(errOutOfMemory, "Out of memory [ssllb]. Aborting connection.");
    SecureConnect(0, 0);
    return;
  }
  const uint32_t serial = socketSerial;
  char* record;
  uint32_t size;
  while (acceptSecureData && serial == socketSerial) {
    if (plainBuffer.NextRecord(record, size)) {
      OnData(record, static_cast<int>(size), true);
      continue;
    }
    if (plainOverflow.IsEmpty()) break;
    const uint32_t pending = static_cast<uint32_t>(plainOverflow.Length());
    if (plainBuffer.FreeSpace(place, pending, room)) {
      plainBuffer.Append(plainOverflow.Data(), pending);
      plainOverflow.Clear();
    } else if (room == 0) {
      if (plainBuffer.TakeAll(record, size)) OnData(record, static_cast<int>(size), false);
    } else {
      const uint32_t part = room < pending ? room : pending;
      plainBuffer.Append(plainOverflow.Data(), part);
      plainOverflow.DropFront(static_cast<int>(part));
    }
  }
  if (!acceptSecureData || serial != socketSerial || plainBuffer.length == 0) return;
  if (!plainBuffer.terminator || plainBuffer.capacity - plainBuffer.length < kLineRoomReserve) {
    if (plainBuffer.TakeAll(record, size)) OnData(record, static_cast<int>(size), false);
  }
}

int SecurePort::ReadSocket(int mode) {
  if (IsConnected() && secureEnabled && acceptSecureData) DeliverPlain(nullptr, 0);
  return PortClient::ReadSocket(mode);
}

int SecurePort::SetAcceptData(bool value) {
  if (!secureEnabled) return PortClient::SetAcceptData(value);
  ClearLastError();
  acceptSecureData = value;
  // Held plain text goes out at the next read event.
  if (value && connected) PostReadEvent();
  return errNone;
}

int SecurePort::SecureSend(const char* bytes, int length, int flags) {
  if (!secureEnabled || !recordOutProtected) return PortSend(bytes, length, flags, true);
  ClearLastError();
  secureSendCount = 0;
  if (length <= 0) return secureOutQueue.IsEmpty() ? errNone : SecureRawSend(nullptr, 0, flags);
  if (sslState != 2) return platform::errNotConnected;
  if (handshaking) return platform::errWouldBlock;
  if (!secureOutQueue.IsEmpty()) {
    if (const int rc = SecureRawSend(nullptr, 0, flags); rc != errNone) return rc;
  }
  for (;;) {
    const int n = length < sendChunkSize ? length : sendChunkSize;
    std::memcpy(sendBuffer + streamHeaderSize, bytes, static_cast<size_t>(n));
    secureSendCount += n;
    RecordTraffic(0, bytes, n, nullptr, 0);
    int sealedLength = 0;
    const int32_t status = contextHandle->Encrypt(
        sendBuffer, streamHeaderSize, n, streamHeaderSize + streamMaxMessage + streamTrailerSize,
        sealedLength);
    if (status < 0) {
      char text[64];
      std::snprintf(text, sizeof text, "error encrypting data 0x%x.",
                    static_cast<uint32_t>(status));
      return Fail(errEncrypt, text);
    }
    bytes += n;
    length -= n;
    const int rc = SecureRawSend(sendBuffer, sealedLength, flags);
    if (rc != errNone || length == 0 || !secureOutQueue.IsEmpty()) return rc;
  }
}

int SecurePort::SecureRawSend(const char* bytes, int length, int flags) {
  if (!secureOutQueue.IsEmpty()) {
    const int rc = PortSend(secureOutQueue.Data(), secureOutQueue.Length(), flags, true);
    if (rc == errNone) {
      secureOutQueue.Clear();
    } else if (rc == platform::errWouldBlock) {
      secureOutQueue.DropFront(lastSendCount);
      // New bytes keep their place behind the queue.
      if (length > 0) secureOutQueue.Append(bytes, length);
      return platform::errWouldBlock;
    } else {
      if (length > 0) secureOutQueue.Append(bytes, length);
      return rc;
    }
  }
  if (length > 0) {
    const int rc = PortSend(bytes, length, flags, true);
    if (rc == platform::errWouldBlock) {
      secureOutQueue.Append(bytes + lastSendCount, length - lastSendCount);
      return rc;
    }
    if (rc != errNone) return rc;
  }
  if (sslState == 2) ReadyToSendEvent();
  return errNone;
}

void SecurePort::OnPortWritable() {
  if (secureEnabled) SecureRawSend(nullptr, 0, 0);
  if (!secureEnabled || sslState == 2) ReadyToSendEvent();
}

} // namespace quillon
