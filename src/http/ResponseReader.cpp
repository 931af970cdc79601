// The response reader: one state machine over what the port delivers, switching the port
// between lines (LF for the head, CRLF for chunk framing) and raw pieces (a length-delimited or
// close-delimited body).
//
//   ReadingStatus --"H..."--> ReadingHeaders --blank--> ReadingBody | ReadingChunkSize | done
//        |  \--1xx--> SkippingInterim --blank--> ReadingStatus
//        \--anything else: the whole reply is body
//   ReadingChunkSize --n>0--> ReadingChunkData --chunk's CRLF--> ReadingChunkSize
//                    --0----> ReadingTrailer --any line--> done
//
// Chunk data is cut at every CRLF in it; a cut that turns out to lie inside the chunk puts the
// CRLF back. A full buffer ending in CR waits in ChunkPendingCR for the byte after it.
#include "http/HttpClient.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

namespace quillon {

namespace {
// The head of a response may not grow beyond this; a server that sends an endless head fails.
constexpr int kMaxHeadBytes = 262144;
// The port's buffer while a body without framing is read.
constexpr uint32_t kBodyBufferSize = 65536;

std::string_view CutWord(std::string_view& text) {
  const size_t space = text.find(' ');
  const std::string_view word = text.substr(0, space);
  text = space == text.npos ? std::string_view() : text.substr(space + 1);
  return word;
}
} // namespace

bool HttpClient::IsRedirectResponse() const {
  return StatusCode >= 300 && StatusCode <= 399 && !Location.IsEmpty();
}

int HttpClient::OnDataEvent(char* data, int length, bool isLine) {
  switch (ResponseState) {
  case rsReadingStatus:
    return ReadStatusLine(data, length, isLine);
  case rsSkippingInterim:
    if (length > 1 && data[0] == 'H') {
      ResponseState = rsReadingStatus;
      return ReadStatusLine(data, length, isLine);
    }
    if (length > 1) return TransferPort::OnDataEvent(data, length, false);
    ResponseState = rsReadingStatus;
    StatusLine.Clear();
    TransferredHeaders.Clear();
    ResponseContentType.Clear();
    TransferredData.Clear();
    return errNone;
  case rsReadingHeaders:
    return ReadHeaderLine(data, length, isLine);
  case rsReadingBody:
    return DeliverBody(data, length);
  case rsReadingChunkSize: {
    if (!isLine) return FailResponse(errHttpStatus, "The chunk size line is too long.");
    data[length] = 0;
    ChunkRemaining = ParseHex32(data);
    ResponseState = ChunkRemaining > 0 ? rsReadingChunkData : rsReadingTrailer;
    return errNone;
  }
  case rsReadingChunkData:
    return ReadChunkData(data, length, isLine);
  case rsChunkPendingCR: {
    ResponseState = rsReadingChunkData;
    char spare[4] = {'\r', 0, 0, 0};
    if (length > 0 && data[0] == '\n') {
      if (int rc = ReadChunkData(spare, 0, true); rc != errNone) return rc;
      return OnDataEvent(data + 1, length - 1, isLine);
    }
    if (int rc = ReadChunkData(spare, 1, false); rc != errNone) return rc;
    return OnDataEvent(data, length, isLine);
  }
  case rsReadingTrailer:
    EndResponse();
    return errNone;
  default:
    return errNone;
  }
}

int HttpClient::FailResponse(int code, const char* text) {
  responseError = code;
  Disconnect();
  return Fail(code, text);
}

int HttpClient::ReadStatusLine(char* data, int length, bool isLine) {
  BytesTransferred = 0;
  StatusLine.Clear();
  TransferredHeaders.Clear();
  ResponseContentType.Clear();
  TransferredData.Clear();
  singleLineMode = false;
  if (length == 0 || data[0] != 'H') {
    // Not HTTP: everything that came, the line end included, is body.
    receivedText.Clear();
    ResponseState = rsReadingBody;
    SetLineTerminator(nullptr, 0);
    return OnDataEvent(data, length + (isLine ? 1 : 0), false);
  }
  ResponseState = rsReadingHeaders;
  headerLinePart = !isLine;
  if (isLine && data[length - 1] == '\r') --length;
  if (StatusLine.Assign(data, length) != errNone) return errOutOfMemory;
  std::string_view rest = StatusLine.View();
  const std::string_view version = CutWord(rest);
  const std::string_view code = CutWord(rest);
  BufStr20 digits;
  if (ResponseVersion.Assign(version) || digits.Assign(code) || StatusDescription.Assign(rest))
    return errOutOfMemory;
  StatusCode = ParseDec32(digits.Data());
  if (StatusCode >= 100 && StatusCode <= 199 && StatusCode != 101)
    ResponseState = rsSkippingInterim;
  else
    FireStatus(ResponseVersion.Data(), StatusCode, StatusDescription.Data());
  return TransferPort::OnDataEvent(data, length, false);
}

int HttpClient::ReadHeaderLine(char* data, int length, bool isLine) {
  if (isLine && length > 0 && data[length - 1] == '\r') --length;
  // A line longer than the buffer comes in parts; an empty last part is that line's end, not
  // the blank line that ends the head.
  const bool lineTail = headerLinePart;
  headerLinePart = !isLine;
  if (length == 0 && lineTail) return errNone;
  if (length == 0) return EndOfHeaders();
  if (TransferredHeaders.Length() + length > kMaxHeadBytes)
    return FailResponse(errHttpStatus, "The response head is too long.");
  if (TransferredHeaders.Append(data, length) || TransferredHeaders.Append("\r\n", 2) ||
      HeaderScratch.Assign(data, length))
    return errOutOfMemory;
  std::string_view field, value;
  SplitHeaderLine(HeaderScratch.View(), field, value);
  // The field becomes a text of its own in place: the byte behind it is the colon or the end.
  // An empty field or value may carry no pointer at all.
  char* fieldText = const_cast<char*>("");
  if (!field.empty()) {
    fieldText = HeaderScratch.Data() + (field.data() - HeaderScratch.Data());
    fieldText[field.size()] = 0;
  }
  const char* valueText = value.empty() ? "" : value.data();

  if (FollowRedirects && SameNoCase(field, "Location"))
    if (Location.Assign(value) != errNone) return errOutOfMemory;
  if (int rc = AddParsedHeader(field, value); rc != errNone) return rc;
  FireHeader(fieldText, valueText);

  if (SameNoCase(field, "Content-Type")) return ResponseContentType.Assign(value);
  if (SameNoCase(field, "Content-Length")) {
    ResponseContentLength = ParseDec64(valueText);
    return errNone;
  }
  if (SameNoCase(field, "Transfer-Encoding")) {
    if (SameNoCase(value, "chunked")) ResponseChunked = 1;
    return errNone;
  }
  if (SameNoCase(field, "WWW-Authenticate")) {
    if (AuthScheme != authProprietary && AuthScheme != authOAuth) Authorization.Clear();
    std::string_view params = value;
    const std::string_view word = CutWord(params);
    if ((SameNoCase(word, "NTLM") && AuthScheme == authNtlm) ||
        (SameNoCase(word, "Negotiate") && AuthScheme == authNegotiate))
      return ServerToken.Assign(params);
    if (SameNoCase(word, "Digest")) return ParseDigestChallenge(serverDigest, params);
    return errNone;
  }
  if (AllowHTTPCompression && SameNoCase(field, "content-encoding")) return StartDecoder(value);
  if (SameNoCase(field, "Proxy-Authenticate")) {
    if (ProxyAuthScheme != authProprietary) ProxyAuthorization.Clear();
    std::string_view params = value;
    const std::string_view word = CutWord(params);
    if (word == "NTLM") return ProxyServerToken.Assign(params);
    if (SameNoCase(word, "Digest")) return ParseDigestChallenge(proxyDigest, params);
    return errNone;
  }
  if (SameNoCase(field, "Set-Cookie")) return ParseSetCookie(value);
  return errNone;
}

int HttpClient::EndOfHeaders() {
  if (RequestMethod.View() == "HEAD" || StatusCode == 204 || StatusCode == 304 ||
      StatusCode == 101) {
    if (StatusCode == 101 && (!secureEnabled || IsConnected())) SetAcceptData(false);
    EndResponse();
    return errNone;
  }
  if (!IsRedirectResponse()) NotifyStartTransfer(1);
  if (ResponseChunked) {
    ResponseState = rsReadingChunkSize;
    return SetLineTerminator("\r\n", 2);
  }
  ResponseState = rsReadingBody;
  SetLineTerminator(nullptr, 0);
  UseBodyBuffer(true);
  if (ResponseContentLength == 0) EndResponse();
  return errNone;
}

uint32_t HttpClient::GetMaxLineLength() {
  return headLineLength ? headLineLength : TransferPort::GetMaxLineLength();
}

void HttpClient::UseBodyBuffer(bool large) {
  // With TLS the records are cut from the channel's own buffer, which stays as it is.
  if (secureEnabled || large == (headLineLength != 0)) return;
  const uint32_t lineLength = large ? lineBuffer.capacity : headLineLength;
  const uint32_t size = large ? kBodyBufferSize : headLineLength;
  char* bytes;
  uint32_t count = 0;
  BufStr kept;
  if (lineBuffer.TakeAll(bytes, count) && kept.Assign(bytes, static_cast<int>(count)) != errNone) {
    lineBuffer.Append(bytes, count);
    return;
  }
  // Unread bytes that the smaller buffer cannot hold keep the larger one.
  if (count <= size && lineBuffer.Resize(size) == errNone) headLineLength = large ? lineLength : 0;
  lineBuffer.Append(kept.Data(), count);
}

int HttpClient::SetMaxLineLength(uint32_t size) {
  const int rc = TransferPort::SetMaxLineLength(size);
  if (rc == errNone) headLineLength = 0;
  return rc;
}

int HttpClient::ReadChunkData(char* data, int length, bool isLine) {
  ChunkRemaining -= length;
  if (isLine) {
    ChunkRemaining -= 2;
    if (ChunkRemaining >= 0) {
      // The CRLF was part of the chunk.
      data[length] = '\r';
      data[length + 1] = '\n';
      length += 2;
    } else {
      ResponseState = rsReadingChunkSize;
    }
  } else if (length > 0 && static_cast<uint32_t>(length) == GetMaxLineLength() &&
             data[length - 1] == '\r') {
    // The CR may start the CRLF that ends the chunk; the next byte decides.
    --length;
    ++ChunkRemaining;
    ResponseState = rsChunkPendingCR;
  }
  return DeliverBody(data, length);
}

} // namespace quillon
