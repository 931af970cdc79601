// The body decoder. For gzip the first pieces are gathered until the whole RFC 1952 header is
// there; it is checked and skipped, and everything behind it goes to the inflater. deflate bodies
// are raw deflate (RFC 1951) from the first byte, as servers send them. Each piece is inflated
// with Z_SYNC_FLUSH into DecodedPiece, growing it a step at a time:
//   inflate -> Z_STREAM_END: done, the trailer and anything after it are ignored
//           -> input left: the output step was full, go on
//           -> no input left and output to spare: the piece is finished
// zlib allocates through MemAlloc, so that its failures meet the engine's allocation hook.
#include "http/BodyDecoder.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "frame/Text.h"
#include "http/HttpErrors.h"

#include <zlib.h>

#include <cstring>

namespace quillon {

struct InflateStream {
  z_stream z;
};

namespace {
constexpr int kOutputStep = 65536; // output room given to one inflate call
constexpr int kGzipFixedLength = 10;
constexpr uint8_t kGzipMagic[3] = {0x1F, 0x8B, 8}; // the two magic bytes and method deflate

enum GzipFlag : uint8_t {
  gzHeaderCrc = 0x02,
  gzExtra = 0x04,
  gzName = 0x08,
  gzComment = 0x10,
  gzReserved = 0xE0,
};

const char* const kBadGzipHeader = "The GZIP header is invalid.";
const char* const kCannotStart = "Could not initialize decompressor.";
const char* const kCannotInflate = "Could not decompress content.";
const char* const kNoMemory = "Out of memory.";

voidpf ZlibAlloc(voidpf, uInt items, uInt size) {
  return MemAlloc(static_cast<size_t>(items) * static_cast<size_t>(size));
}
void ZlibFree(voidpf, voidpf block) {
  MemFree(block);
}

// True while the bytes at hand can still begin a gzip header: the magic bytes and the method
// so far, and no reserved flag.
bool CanBeGzipHeader(const uint8_t* bytes, int length) {
  for (int i = 0; i < length && i < 3; ++i)
    if (bytes[i] != kGzipMagic[i]) return false;
  return length < 4 || !(bytes[3] & gzReserved);
}

int Failed(int code, const char* text, const char** failure) {
  *failure = text;
  return code;
}

// Skips a zero-terminated field; false when its zero is not at hand.
bool SkipTerminated(const uint8_t* bytes, int length, int& at) {
  const void* zero =
      at < length ? std::memchr(bytes + at, 0, static_cast<size_t>(length - at)) : nullptr;
  if (!zero) return false;
  at = static_cast<int>(static_cast<const uint8_t*>(zero) - bytes) + 1;
  return true;
}
} // namespace

bool GzipHeaderLength(const uint8_t* bytes, int length, int& offset) {
  // ID1 ID2 CM FLG MTIME(4) XFL OS [XLEN(2) extra] [name 0] [comment 0] [CRC16(2)]
  int at = offset + kGzipFixedLength;
  if (at > length) return false;
  const uint8_t flags = bytes[offset + 3];
  if (flags & gzExtra) {
    if (at + 2 > length) return false;
    at += 2 + (bytes[at] | bytes[at + 1] << 8);
  }
  if ((flags & gzName) && !SkipTerminated(bytes, length, at)) return false;
  if ((flags & gzComment) && !SkipTerminated(bytes, length, at)) return false;
  if (flags & gzHeaderCrc) at += 2; // the header's CRC is not checked
  if (at > length) return false;
  offset = at;
  return true;
}

int CheckGzipHeader(const uint8_t* bytes, int length, int& offset) {
  if (length - offset < kGzipFixedLength || !CanBeGzipHeader(bytes + offset, 4) ||
      !GzipHeaderLength(bytes, length, offset))
    return errBadGzipHeader;
  return errNone;
}

BodyDecoder::~BodyDecoder() {
  Reset();
}

int BodyDecoder::GatherGzipHeader(const char* bytes, int length, bool& needMore, int& skip) {
  // Bytes once refused stay refused; later pieces are not gathered behind them.
  auto gathered = [this] { return reinterpret_cast<const uint8_t*>(GzipHeader.Data()); };
  if (!CanBeGzipHeader(gathered(), GzipHeader.Length()) || GzipHeader.Length() > kMaxGzipHeader)
    return errBadGzipHeader;
  if (int rc = GzipHeader.Append(bytes, length); rc != errNone) return rc;
  if (!CanBeGzipHeader(gathered(), GzipHeader.Length())) return errBadGzipHeader;
  if (!GzipHeaderLength(gathered(), GzipHeader.Length(), skip)) {
    if (GzipHeader.Length() > kMaxGzipHeader) return errBadGzipHeader;
    needMore = true;
    return errNone;
  }
  skip = 0;
  return CheckGzipHeader(gathered(), GzipHeader.Length(), skip);
}

void BodyDecoder::Reset() {
  if (stream) {
    inflateEnd(&stream->z);
    MemFree(stream);
    stream = nullptr;
  }
  ContentCoding = codingNone;
  InflateDone = 0;
  DecodedPiece.Clear();
  GzipHeader.Clear();
  GzipHeaderDone = 0;
}

int BodyDecoder::Start(std::string_view contentEncoding, const char** failure) {
  if (SameNoCase(contentEncoding, "gzip"))
    ContentCoding = codingGzip;
  else if (SameNoCase(contentEncoding, "deflate"))
    ContentCoding = codingDeflate;
  InflateDone = 0;
  if (stream)
    inflateEnd(&stream->z);
  else if (!(stream = static_cast<InflateStream*>(MemAlloc(sizeof(InflateStream)))))
    return Failed(errDecoder, kCannotStart, failure);
  std::memset(stream, 0, sizeof *stream);
  stream->z.zalloc = ZlibAlloc;
  stream->z.zfree = ZlibFree;
  // Negative window bits: raw deflate, no zlib or gzip wrapper expected by zlib itself.
  if (inflateInit2(&stream->z, -MAX_WBITS) != Z_OK) {
    MemFree(stream);
    stream = nullptr;
    return Failed(errDecoder, kCannotStart, failure);
  }
  DecodedPiece.Resize(0, nullptr);
  GzipHeader.Clear();
  GzipHeaderDone = 0;
  return errNone;
}

int BodyDecoder::Decode(const char* bytes, int length, bool& needMore, const char** failure) {
  needMore = false;
  DecodedPiece.Resize(0, nullptr);
  if (!IsActive()) {
    if (DecodedPiece.Append(bytes, length) != errNone)
      return Failed(errOutOfMemory, kNoMemory, failure);
    return errNone;
  }
  const uint8_t* input = reinterpret_cast<const uint8_t*>(bytes);
  int inputLength = length > 0 ? length : 0;

  if (ContentCoding == codingGzip && !GzipHeaderDone) {
    int skip = 0;
    if (int rc = GatherGzipHeader(bytes, inputLength, needMore, skip); rc != errNone)
      return Failed(rc, rc == errOutOfMemory ? kNoMemory : kBadGzipHeader, failure);
    if (needMore) return errNone;
    GzipHeaderDone = 1;
    input = reinterpret_cast<const uint8_t*>(GzipHeader.Data()) + skip;
    inputLength = GzipHeader.Length() - skip;
  }
  if (InflateDone) return errNone;
  if (!stream) return Failed(errDecoder, kCannotInflate, failure);

  z_stream& z = stream->z;
  z.next_in = const_cast<Bytef*>(input);
  z.avail_in = static_cast<uInt>(inputLength);
  for (;;) {
    const int held = DecodedPiece.Length();
    if (DecodedPiece.Resize(held + kOutputStep, nullptr) != errNone)
      return Failed(errOutOfMemory, kNoMemory, failure);
    z.next_out = reinterpret_cast<Bytef*>(DecodedPiece.Data() + held);
    z.avail_out = kOutputStep;
    const bool hadNoInput = z.avail_in == 0;
    const int result = inflate(&z, Z_SYNC_FLUSH);
    DecodedPiece.Resize(held + kOutputStep - static_cast<int>(z.avail_out), nullptr);
    if (result != Z_OK && result != Z_STREAM_END && !(result == Z_BUF_ERROR && hadNoInput))
      return Failed(errDecoder, kCannotInflate, failure);
    if (result == Z_STREAM_END) {
      InflateDone = 1;
      break;
    }
    if (z.avail_in == 0 && z.avail_out != 0) break;
  }
  return errNone;
}

} // namespace quillon
