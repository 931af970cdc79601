// The HTTP link's side of body decoding: it owns the decoder and turns its failures into the
// link's last error. The response reader calls these for each piece of body.
#include "http/HttpClient.h"

#include "frame/Errors.h"

namespace quillon {

void HttpClient::ResetDecoder() {
  decoder.Reset();
}

int HttpClient::StartDecoder(std::string_view contentEncoding) {
  const char* failure = nullptr;
  const int rc = decoder.Start(contentEncoding, &failure);
  return rc == errNone ? errNone : Fail(rc, failure);
}

int HttpClient::DecodePiece(const char* bytes, int length, std::string_view& piece,
                            bool& needMore) {
  const char* failure = nullptr;
  piece = {};
  if (const int rc = decoder.Decode(bytes, length, needMore, &failure); rc != errNone)
    return Fail(rc, failure);
  piece = decoder.DecodedPiece.View();
  return errNone;
}

} // namespace quillon
