// The life of a channel:
//
//   idle --SecureConnect(1)--> credentials held, socket under way (sslState 1)
//   --OnPortConnected(0)--> token loop (handshaking 1): each read runs HandshakeStep until the
//   provider says done --judgement, stream sizes--> established (sslState 2)
//   established --server's hello request--> token loop again (followed), or an alert (refused)
//   established --SecureConnect(0)--> close_notify, socket closed
//
// A failure in the loop ends in SecureConnect(0, 276), which reports Connected(276) and closes.
#include "tls/SecurePort.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "net/NetErrors.h"
#include "tls/CipherNames.h"

#include <cstdio>

namespace quillon {

namespace {

// The ALPN list in its wire form: each name, trimmed, behind its length byte.
void BuildAlpn(const BufStr& list, BufStr& wire) {
  wire.Clear();
  std::string_view rest = list.View();
  while (!rest.empty()) {
    const std::string_view name = NextTrimmedPiece(rest, ',');
    if (name.empty() || name.size() > 255) continue;
    wire.AppendChar(static_cast<char>(name.size()));
    wire.Append(name);
  }
}

void Hex(char* out, size_t room, const char* prefix, int32_t status, const char* suffix) {
  std::snprintf(out, room, "%s0x%x%s", prefix, static_cast<uint32_t>(status), suffix);
}

} // namespace

void SecurePort::FreeCredentials() {
  platform::TlsFreeCredentials(credentialHandle);
  credentialHandle = nullptr;
  sessionRecord.handle = nullptr;
}

void SecurePort::EndContext() {
  delete contextHandle;
  contextHandle = nullptr;
  MemFree(sendBuffer);
  sendBuffer = nullptr;
}

int SecurePort::AcquireSecureCredentials(int direction) {
  SessionRecord& record = sessionRecord;
  if (reuseSSLSession && credentialHandle && record.handle == credentialHandle &&
      record.direction == direction &&
      record.clientCertificate.View() == clientCertificate.View() &&
      record.protocols == sslEnabledProtocols && record.strength == sslCipherStrength &&
      record.algorithmList.View() == sslAlgorithmList.View() &&
      record.provider.View() == sslProvider.View() &&
      record.useDefaultCredentials == useDefaultCredentials)
    return errNone;
  uint32_t identifiers[kMaxAlgorithms];
  const int count = ParseAlgorithmList(sslAlgorithmList.Data(), identifiers, kMaxAlgorithms);
  BufStr cipherList;
  AlgorithmCipherList(identifiers, count, cipherList);
  platform::TlsCredentialSettings settings;
  settings.package = sslProvider.Data();
  settings.protocols = sslEnabledProtocols;
  settings.minimumCipherStrength = sslCipherStrength;
  settings.cipherList = cipherList.Data();
  settings.clientPkcs12 = reinterpret_cast<const unsigned char*>(clientCertificate.Data());
  settings.clientPkcs12Length = clientCertificate.Length();
  FreeCredentials();
  if (const int32_t status = platform::TlsAcquireCredentials(settings, credentialHandle);
      status != platform::tlsOk) {
    FreeCredentials();
    char text[96];
    Hex(text, sizeof text, "Could not acquire security credentials: error ", status, ".");
    return Fail(errCredentials, text);
  }
  record.direction = direction;
  record.clientCertificate.Assign(clientCertificate);
  record.protocols = sslEnabledProtocols;
  record.strength = sslCipherStrength;
  record.algorithmList.Assign(sslAlgorithmList);
  record.provider.Assign(sslProvider);
  record.useDefaultCredentials = useDefaultCredentials;
  record.handle = credentialHandle;
  return errNone;
}

int SecurePort::SecureConnect(int connect, int errorCode) {
  if (!secureEnabled) return PortConnect(connect);
  if (connect) {
    if (sslState != 0)
      return Fail(errAlreadyConnected,
                  "Already connected. If you want to reconnect, close the current connection "
                  "first.");
    if (const int rc = AcquireSecureCredentials(2); rc != errNone) return rc;
    handshakeError = -1;
    sslState = 1;
    SSLStatusEvent("Attempting to connect to server.");
    const int rc = PortConnect(1);
    if (rc != errNone) sslState = 0;
    return rc;
  }
  if (sslState != 2) {
    sslState = 0;
    handshaking = 0;
    if (errorCode == 0) return CloseSocket(0);
    ReportStatus("SSL handshake failed.", errorCode);
    OnConnected(errorCode & 0xFFFF);
    return CloseSocket(0);
  }
  if (!secureOutQueue.IsEmpty()) {
    if (GetTimeout() != 0) {
      ArmDeadline();
      while (SecureRawSend(nullptr, 0, 0) == platform::errWouldBlock)
        if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) return errInterrupted;
    } else if (linger) {
      if (SecureRawSend(nullptr, 0, 0) == platform::errWouldBlock)
        return Fail(platform::errWouldBlock,
                    "Operation would block (to force disconnection, set Linger to FALSE).");
    }
  }
  sslState = 0;
  inRead = false;
  if (errorCode != 0) return CloseSocket(static_cast<uint32_t>(errorCode) << 16);
  SendCloseNotify(true);
  // The peer's own close_notify may still come; it is no data for the host.
  acceptData = false;
  return PortConnect(0);
}

void SecurePort::OnPortConnected(int status) {
  ReportStatus(status != 0 ? "Remote host connection failed." : "Remote host connection complete.",
               status);
  if (!secureEnabled) {
    OnConnected(status);
    return;
  }
  if (status != 0) {
    FreeCredentials();
    sslState = 0;
    ReportStatus("Connection to host failed.", status);
    OnConnected(status);
    return;
  }
  SSLStatusEvent("Socket connection established.");
  // Records go out whole; holding a small one back for the peer's delayed acknowledgement
  // would stall every handshake and request by tens of milliseconds.
  platform::SocketSetOption(socketHandle, platform::optNoDelay, 1);
  StartHandshake();
}

void SecurePort::SendToken(const platform::TlsToken& token, const char* format) {
  if (token.length <= 0) return;
  SecureRawSend(token.bytes, token.length, 0);
  char text[64];
  std::snprintf(text, sizeof text, format, token.length);
  SSLStatusEvent(text);
}

int SecurePort::StartHandshake() {
  recordOutProtected = recordInProtected = true;
  secureInput.Clear();
  secureOutQueue.Clear();
  plainBuffer.Clear();
  plainOverflow.Clear();
  SSLStatusEvent("Starting secure channel handshake.");
  handshaking = 1;
  BufStr alpn;
  BuildAlpn(alpnList, alpn);
  EndContext();
  const char* target = serverName.IsEmpty() ? remoteHost.Data() : serverName.Data();
  contextHandle = platform::TlsContext::Create(*credentialHandle, target,
                                               reinterpret_cast<const unsigned char*>(alpn.Data()),
                                               alpn.Length());
  if (!contextHandle) return errNone; // no token: the wait ends by its time limit
  contextHandle->AllowRenegotiation(sslEnableRenegotiation != 0);
  platform::TlsToken token;
  int extra = 0;
  const int32_t status = contextHandle->Handshake(nullptr, 0, token, extra);
  BufStr text;
  DescribeEnabledProtocols(sessionRecord.protocols, text);
  SSLStatusEvent(text.Data());
  if (status == platform::tlsContinueNeeded && token.length > 0) {
    if (DescribeClientHello(token.bytes, token.length, text) == 0) SSLStatusEvent(text.Data());
    SendToken(token, "Sending %d bytes of handshake data.");
  }
  return errNone;
}

int SecurePort::HandshakeStep() {
  platform::TlsToken token;
  int extra = 0;
  const int32_t status =
      contextHandle
          ? contextHandle->Handshake(secureInput.Data(), secureInput.Length(), token, extra)
          : platform::tlsInternalError;
  const bool negative = status < 0;
  if (!negative || token.length > 0) {
    const auto* in = reinterpret_cast<const unsigned char*>(secureInput.Data());
    if (status != platform::tlsIncompleteMessage && secureInput.Length() >= 6 && in[0] == 22 &&
        in[5] == 2) {
      BufStr version, suite;
      if (DescribeServerHello(secureInput.Data(), secureInput.Length(), version, suite) == 0) {
        SSLStatusEvent(version.Data());
        SSLStatusEvent(suite.Data());
      }
    }
    SendToken(token, "Sending %d handshake bytes.");
  }
  if (status == platform::tlsIncompleteMessage) return 0;
  if (negative) {
    delete contextHandle;
    contextHandle = nullptr;
    handshaking = 0;
    handshakeError = status;
    char text[64];
    Hex(text, sizeof text, "error during handshake[2]: ", status, "");
    lastError.Assign(text);
    ErrorEvent(errHandshake, text);
    lastError.Assign(text);
    SecureConnect(0, errHandshake);
    return 0;
  }
  if (parseServerCert && !EarlyLook(secureInput.Data(), secureInput.Length())) return 0;
  secureInput.DropFront(secureInput.Length() - extra);
  if (status == platform::tlsOk) return FinishHandshake();
  if (status == platform::tlsIncompleteCredentials) {
    SSLStatusEvent("Client certificate requested from server.");
    return 1;
  }
  return secureInput.IsEmpty() ? 0 : 1;
}

int SecurePort::FinishHandshake() {
  if (!JudgeServerCertificate()) {
    RefuseCertificate();
    return 0;
  }
  if (!sendBuffer) {
    contextHandle->StreamSizes(streamHeaderSize, streamMaxMessage, streamTrailerSize);
    sendBuffer = static_cast<char*>(
        MemAlloc(static_cast<size_t>(streamHeaderSize + streamMaxMessage + streamTrailerSize)));
    if (!sendBuffer) {
      EndContext();
      handshaking = 0;
      handshakeError = 0;
      ErrorEvent(errOutOfMemory, "Out of memory. Aborting connection...");
      SecureConnect(0, errOutOfMemory);
      return 0;
    }
    sendChunkSize = streamMaxMessage;
  }
  handshaking = 0;
  sslState = 2;
  BufStr text;
  if (DescribeConnection(contextHandle, text) == 0) SSLStatusEvent(text.Data());
  PortClient::SetAcceptData(true);
  ReportStatus("SSL handshake complete.", 0);
  OnConnected(0);
  ReadyToSendEvent();
  return secureInput.IsEmpty() && !(contextHandle && contextHandle->HoldsPlain()) ? 0 : 1;
}

void SecurePort::RefuseCertificate() {
  SSLStatusEvent("Server certificate verification failed. Aborting connection...");
  handshaking = 0;
  lastError.Assign("Server certificate verification failed. Connection aborted.");
  SecureConnect(0, errHandshake);
}

void SecurePort::OnPortDisconnected(int status) {
  ReportStatus("Remote host disconnected.", status);
  if (!secureEnabled) {
    OnDisconnected(status);
    return;
  }
  PortClient::SetAcceptData(true);
  acceptSecureData = true;
  DeliverPlain(nullptr, 0);
  if (sslState == 1) {
    char text[96];
    Hex(text, sizeof text, "Server disconnected before handshake completion [", handshakeError,
        "].");
    lastError.Assign(text);
    ErrorEvent(errHandshake, text);
    lastError.Assign(text);
    handshaking = 0;
    ReportStatus("SSL handshake failed.", handshakeError);
    OnConnected(errHandshake);
  } else {
    ReportStatus("SSL connection terminated.", status);
    OnDisconnected(status);
  }
  sslState = 0;
  EndContext();
}

int SecurePort::SendCloseNotify(bool destroy) {
  if (recordOutProtected && contextHandle) {
    platform::TlsToken token;
    if (contextHandle->Shutdown(token) == platform::tlsOk && token.length > 0)
      SecureRawSend(token.bytes, token.length, 0);
  }
  recordOutProtected = false;
  if (destroy) {
    EndContext();
    ApplySecureMode(false);
  }
  return errNone;
}

int SecurePort::SendAlert(int level, int number) {
  if (!contextHandle) return errNone;
  platform::TlsToken token;
  const int32_t status = contextHandle->Alert(level, number, token);
  if (status == platform::tlsOk && token.length > 0) SecureRawSend(token.bytes, token.length, 0);
  return status == platform::tlsOk ? errNone : status;
}

void SecurePort::SecureShutdown() {
  if (!secureEnabled) return;
  if (gracefullyShutDownSSL) {
    SendCloseNotify(false);
    return;
  }
  EndContext();
  ApplySecureMode(false);
}

} // namespace quillon
