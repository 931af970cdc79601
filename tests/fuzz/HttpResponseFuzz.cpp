// Arbitrary bytes through the HTTP response reader, in arbitrary pieces, as the port's read path
// delivers them. Layout of an input: one byte of settings (bit 0 HEAD, bit 1 keep-alive, bit 2
// decoding on, bit 3 a 32-byte line buffer, bit 4 the server closes at the end, bit 5 redirects
// followed), then pieces, each a length byte and that many bytes of the response.
#include "../support/ResponseFeed.h"
#include "FuzzSupport.h"

QUILLON_FUZZ_TARGET(input) {
  if (input.empty()) return;
  const uint8_t settings = static_cast<uint8_t>(input[0]);
  HttpClient client;
  client.KeepAlive = (settings & 2) ? 1 : 0;
  client.AllowHTTPCompression = (settings & 4) ? 1 : 0;
  client.FollowRedirects = (settings & 32) ? 1 : 0;
  if (settings & 8) client.SetMaxLineLength(32);
  client.ArmResponseReader((settings & 1) ? "HEAD" : "GET");
  for (size_t at = 1; at < input.size();) {
    const size_t length = static_cast<uint8_t>(input[at++]);
    const std::string_view piece = input.substr(at, length);
    at += piece.size();
    test::FeedPiece(client, piece);
  }
  if (settings & 16) test::FeedEnd(client);
  client.EvaluateResponse(0);
}
