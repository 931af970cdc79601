// Decoding of a gzip or deflate response body piece by piece as it arrives: the gzip header is
// gathered and checked here, the inflating is zlib's, in raw deflate form for both codings. The
// HTTP link owns one decoder and reports its failures.
#pragma once

#include "frame/BufStr.h"

#include <cstdint>
#include <string_view>

namespace quillon {

struct InflateStream; // zlib's stream, known only to the decoder's source

enum ContentCoding : int { codingNone = 0, codingGzip = 1, codingDeflate = 2 };

class BodyDecoder {
public:
  // A gzip header holds a name and a comment of any length; past this many bytes it is refused
  // rather than gathered without end.
  static constexpr int kMaxGzipHeader = 65536;

  BodyDecoder() = default;
  ~BodyDecoder();
  BodyDecoder(const BodyDecoder&) = delete;
  BodyDecoder& operator=(const BodyDecoder&) = delete;

  // Operations. A failing one returns its code and points `failure` at its text.
  // Ends and frees the stream and forgets the coding: bodies pass undecoded.
  void Reset();
  // For the value of a content-encoding header: "gzip" or "deflate" (any case) choose the
  // coding; any other value, a list among them, keeps the coding as it was. The stream restarts
  // in every case. 0, or 151 when the stream cannot be set up.
  int Start(std::string_view contentEncoding, const char** failure);
  // Decodes one piece into `DecodedPiece`, emptied first; without a coding the piece is copied
  // as it came. `needMore` is set while the gzip header is incomplete; the piece is then kept
  // and nothing is decoded. 0, 102 for a bad gzip header or one longer than kMaxGzipHeader, 151
  // for data that does not inflate, 200.
  int Decode(const char* bytes, int length, bool& needMore, const char** failure);

  bool IsActive() const { return ContentCoding != codingNone; }

  int32_t ContentCoding = codingNone;
  int32_t InflateDone = 0;    // the deflate stream has ended; later bytes are ignored
  BufStr DecodedPiece;        // the output of the latest piece
  BufStr GzipHeader;          // bytes gathered until the gzip header is complete
  int32_t GzipHeaderDone = 0; // the gzip header has been consumed

private:
  // Appends a piece to GzipHeader; `skip` is the header's length once it is complete, else
  // `needMore` is set. 0, 102 or 200.
  int GatherGzipHeader(const char* bytes, int length, bool& needMore, int& skip);

  InflateStream* stream = nullptr; // null while no stream is set up
};

// The gzip header (RFC 1952) starting at `offset`: true when it ends within `length`, with
// `offset` moved behind it. A name or comment counts only once its terminating zero is at hand,
// so a header split anywhere waits for its end instead of feeding the rest to the inflater.
bool GzipHeaderLength(const uint8_t* bytes, int length, int& offset);
// 0 with `offset` behind the header; 102 when the magic bytes or the method are wrong, a reserved
// flag is set, or the header does not end within `length`.
int CheckGzipHeader(const uint8_t* bytes, int length, int& offset);

} // namespace quillon
