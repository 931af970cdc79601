// Where the body of a response goes: decoded when a content coding is active, into LocalFile for
// a 2xx when one is named, else into TransferredData up to MaxTransferredData; every piece is
// reported by Transfer. EndResponse closes the exchange; a connection that ends early marks the
// response as cut short when its framing says more was due.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

namespace {
constexpr int64_t kMaxReserve = 1 << 30; // a larger announced length grows as it comes
} // namespace

int HttpClient::WriteLocalFile(std::string_view piece) {
  if (!LocalFileHandle.IsOpen() && StatusCode >= 200 && StatusCode <= 299) {
    const bool wide = LocalFile.isWide != 0;
    const auto* wideName = reinterpret_cast<const WideChar*>(LocalFile.wide.Data());
    const uint32_t attributes = static_cast<uint32_t>(CreateLocalFileAttributes);
    const int rc = Append
                       ? (wide ? LocalFileHandle.OpenAppendW(wideName)
                               : LocalFileHandle.OpenAppend(LocalFile.narrow.Data()))
                       : (wide ? LocalFileHandle.OpenCreateW(wideName, attributes)
                               : LocalFileHandle.OpenCreate(LocalFile.narrow.Data(), attributes));
    if (rc != errNone) {
      responseError = errFileNotOpened;
      Fail(errFileNotOpened, "Can't open local file for writing.");
      ErrorEvent(errFileNotOpened, lastError.Data());
      return errFileNotOpened;
    }
  }
  if (LocalFileHandle.IsOpen() &&
      LocalFileHandle.Write(piece.data(), static_cast<int>(piece.size())) != errNone) {
    LocalFileHandle.Close();
    ErrorEvent(errFileWrite, "Error writing to LocalFile.");
  }
  return errNone;
}

int HttpClient::DeliverBody(const char* data, int length) {
  if (responseError != 0) return responseError;
  if (IsRedirectResponse()) {
    // The body of a redirect is never read: a plain one ends with the connection.
    if (IsConnected() && !ResponseChunked) Disconnect();
    return errNone;
  }
  if (length <= 0) return errNone;
  BytesTransferred += length;

  std::string_view piece(data, static_cast<size_t>(length));
  if (decoder.IsActive()) {
    bool needMore = false;
    if (int rc = DecodePiece(data, length, piece, needMore); rc != errNone) {
      responseError = rc;
      return rc;
    }
    if (needMore) return errNone;
  }
  if (!LocalFile.IsEmpty())
    if (int rc = WriteLocalFile(piece); rc != errNone) return rc;
  if (!LocalFileHandle.IsOpen()) {
    // A body of known length is given its room at once.
    if (TransferredData.IsEmpty() && !decoder.IsActive() && ResponseContentLength > 0 &&
        ResponseContentLength < kMaxReserve)
      TransferredData.Reserve(
          static_cast<int>(MaxTransferredData > 0 && MaxTransferredData < ResponseContentLength
                               ? MaxTransferredData
                               : ResponseContentLength));
    int64_t room = static_cast<int64_t>(piece.size());
    if (MaxTransferredData > 0 && TransferredData.Length() + room > MaxTransferredData)
      room = MaxTransferredData - TransferredData.Length();
    if (room > 0)
      if (int rc = TransferredData.Append(piece.data(), static_cast<int>(room)); rc != errNone)
        ErrorEvent(rc, "Error appending to TransferredData.");
  }

  int percent = -1;
  if (ResponseContentLength > 0) {
    const int64_t value = BytesTransferred * 100 / ResponseContentLength;
    percent = static_cast<int>(value > 100 ? 100 : value);
  }
  if (FireProxyTransfer || (StatusCode != 401 && StatusCode != 407)) {
    // The text is terminated for the event; the byte behind a raw piece is put back after.
    char* end = const_cast<char*>(piece.data()) + piece.size();
    const char kept = *end;
    *end = 0;
    ReportTransfer(1, BytesTransferred, percent, piece.data(), static_cast<int>(piece.size()));
    *end = kept;
  }
  if (ResponseState == rsReadingBody && ResponseContentLength >= 0 &&
      BytesTransferred >= ResponseContentLength)
    EndResponse();
  return errNone;
}

void HttpClient::EndResponse() {
  LocalFileHandle.Close();
  if (!KeepAlive || GetTimeout() < 0) {
    // Dropping the connection must not take the exchange's error text with it, and this close
    // is the response's own end, not a cut.
    BufStr text;
    text.Assign(lastError);
    endingResponse = true;
    Disconnect();
    endingResponse = false;
    lastError.Assign(text);
  }
  if (!ResponseDone) {
    ResponseDone = 1;
    if (!IsRedirectResponse()) NotifyEndTransfer(1);
  }
}

void HttpClient::OnDisconnected(int status) {
  if (droppingEarlier) {
    TransferPort::OnDisconnected(status);
    return;
  }
  if (!ResponseDone && !endingResponse && !IsRedirectResponse()) {
    const bool framedBody = (ResponseState == rsReadingBody && ResponseContentLength >= 0 &&
                             BytesTransferred < ResponseContentLength) ||
                            ResponseState == rsReadingChunkSize ||
                            ResponseState == rsReadingChunkData ||
                            ResponseState == rsChunkPendingCR;
    if (ResponseState == rsReadingHeaders || framedBody) responseCut = true;
  }
  EndResponse();
  TransferPort::OnDisconnected(status);
}

void HttpClient::DropEarlierConnection() {
  droppingEarlier = true;
  Disconnect();
  droppingEarlier = false;
}

} // namespace quillon
