// A request with a body: after the head come a Content-Type line, the framing line
// (Content-Length, or Transfer-Encoding: chunked) with the blank line, then PostData and the
// attached file in pieces. Chunked pieces are framed by BeforeSend and AfterSend as SendAll
// sends them. After every piece the upload's progress runs EvaluateResponse, so an answer that
// comes during the upload (a refusal, a redirect) ends it.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

#include <cstdio>

namespace quillon {

namespace {
constexpr int kFilePiece = 16384;
} // namespace

int HttpClient::OpenAttachedFile(FileHandle& file) {
  if (AttachedFile.isWide)
    return file.OpenReadW(reinterpret_cast<const WideChar*>(AttachedFile.wide.Data()));
  return file.OpenRead(AttachedFile.narrow.Data());
}

int HttpClient::BeforeSend(const char*, int length, int) {
  char line[16];
  const int n = std::snprintf(line, sizeof line, "%x\r\n", static_cast<unsigned>(length));
  return SendAll(line, n, false, false);
}

int HttpClient::AfterSend(const char*, int) {
  return SendAll("\r\n", 2, false, false);
}

int HttpClient::OnSendProgress(int64_t bytes) {
  return OnUploadProgress(static_cast<int>(bytes), 0);
}

int HttpClient::OnUploadProgress(int bytes, int) {
  ReportTransfer(0, bytes, -1, nullptr, 0);
  return EvaluateResponse(0);
}

void HttpClient::ReportTransfer(int direction, int64_t bytes, int percent, const char* text,
                                int length) {
  if (direction == 0 && percent == -1) {
    const double base = static_cast<double>(RequestLength > bytes ? RequestLength : bytes);
    percent = static_cast<int>(static_cast<double>(bytes) / (base / 100.0 + 1.0));
    if (percent > 99) percent = 99;
  }
  FireTransfer(direction, bytes, percent, text, length);
}

int HttpClient::SendAttachedFile(int64_t& sent) {
  FileHandle file;
  if (OpenAttachedFile(file) != errNone)
    return Fail(errFileNotOpened, "Can't open file for reading.");
  const int64_t size = file.Size();
  char piece[kFilePiece];
  sent = 0;
  for (;;) {
    int got = 0;
    if (int rc = file.ReadSome(piece, kFilePiece, &got); rc != errNone) return rc;
    if (got == 0) return errNone;
    sendMore = UseChunkedEncoding || sent + got < size;
    const int rc = SendAll(piece, got, false, UseChunkedEncoding != 0);
    sendMore = false;
    if (rc != errNone) return OnSendProgress(sent);
    sent += got;
    if (int stop = OnSendProgress(sent); stop != errNone) return stop;
  }
}

int HttpClient::SendRequestWithBody(const char* method, int flags) {
  const int pieceSize = UseChunkedEncoding && ChunkSize >= 1 ? ChunkSize : 16384;
  RequestLength = PostData.Length();
  if (int rc = ComposeRequest(method, flags); rc != errNone) return rc;
  if (!IsConnected()) return errNone; // the asynchronous mode: OnConnected sends it

  BufStr line;
  const auto sendLine = [&](int percent, bool more) {
    if (DebugTrace) FireTransfer(0, line.Length(), percent, line.Data(), line.Length());
    if (TransferredRequestOn) SentHeaders.Append(line);
    return SendPiece(line.Data(), line.Length(), more);
  };
  if (!ContentType.IsEmpty()) {
    if (line.Assign("Content-Type: ") || line.Append(ContentType) || line.Append("\r\n", 2))
      return DescribeError(errOutOfMemory);
    if (int rc = sendLine(100, true); rc != errNone) return rc;
  }

  const bool answered = AuthAttempts > 0;
  const bool withheld = PostDataAfterNegotiate &&
                        ((AuthScheme == authNtlm && !answered) ||
                         (AuthScheme == authNegotiate && !answered && !KerberosFirstToken) ||
                         (AuthScheme == authDigest && !answered) ||
                         (ProxyAuthScheme == authNtlm && ProxyAuthAttempts == 0));
  bool chunked = false;
  if (withheld) {
    RequestLength = 0;
  } else {
    if (!AttachedFile.IsEmpty()) {
      FileHandle file;
      if (OpenAttachedFile(file) != errNone)
        return Fail(errFileNotOpened, "Can't open AttachedFile.");
      RequestLength += file.Size();
    }
    chunked = UseChunkedEncoding != 0;
  }
  const bool hasBody = !withheld && (!PostData.IsEmpty() || !AttachedFile.IsEmpty());
  int rc = chunked ? line.Assign("Transfer-Encoding: chunked")
                   : (line.Assign("Content-Length: ") || line.AppendDecimal(RequestLength));
  if (rc == errNone) rc = line.Append("\r\n\r\n", 4);
  if (rc != errNone) return DescribeError(errOutOfMemory);
  if (!secureEnabled || IsConnected()) SetAcceptData(true);
  if (rc = sendLine(100, hasBody); rc != errNone) return rc;
  if (!hasBody) return EvaluateResponse(WaitForResponse());

  NotifyStartTransfer(0);
  if (!PostData.IsEmpty()) {
    if (DebugTrace) FireTransfer(0, PostData.Length(), -1, PostData.Data(), PostData.Length());
    const int total = PostData.Length();
    for (int done = 0; done < total;) {
      const int n = total - done < pieceSize ? total - done : pieceSize;
      sendMore = chunked || done + n < total || !AttachedFile.IsEmpty();
      rc = SendAll(PostData.Data() + done, n, false, chunked);
      sendMore = false;
      if (rc != errNone) return rc;
      done += n;
      if (int stop = OnSendProgress(done); stop != errNone) return stop;
    }
  }
  if (TransferredRequestOn) TransferredRequest.Assign(PostData);
  if (!AttachedFile.IsEmpty()) {
    int64_t sent = 0;
    if (rc = SendAttachedFile(sent); rc != errNone) return rc;
    if (TransferredRequestOn) {
      FileHandle file;
      char piece[kFilePiece];
      int got = 0;
      if (OpenAttachedFile(file) == errNone)
        while (file.ReadSome(piece, kFilePiece, &got) == errNone && got > 0)
          TransferredRequest.Append(piece, got);
    }
  }
  if (chunked)
    if (rc = SendPiece("0\r\n\r\n", 5, false); rc != errNone) return rc;
  NotifyEndTransfer(0);
  return EvaluateResponse(WaitForResponse());
}

} // namespace quillon
