// Body decoding: gzip with every optional header field, split at every point, raw deflate, the
// failures (bad header, zlib-wrapped deflate, corrupt and truncated data, allocation), and the
// HTTP link's wrapper. Inputs are made here with zlib's compressor.
#include "http/BodyDecoder.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "http/HttpClient.h"
#include "http/HttpErrors.h"
#include "odata/QuillonCore.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

namespace quillon {
namespace {

std::string SampleText(size_t length) {
  std::string text;
  for (size_t i = 0; text.size() < length; ++i)
    text += "<entry id=\"" + std::to_string(i * 7919 % 1000) + "\">OData</entry>\n";
  text.resize(length);
  return text;
}

// zlib's window bits for its three wrappings.
enum Wrapping { kRawDeflate = -MAX_WBITS, kZlibWrapped = MAX_WBITS, kGzip = MAX_WBITS + 16 };

// zlib's compressor; the gzip header carries the optional fields chosen by `flags`.
std::string Compress(std::string_view data, Wrapping windowBits, uint8_t flags = 0) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, 6, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string extra(262, 'x'); // past 255 bytes: the length's high byte counts
  char name[] = "feed.xml", comment[] = "made for the decoder test";
  gz_header header{};
  header.os = 3;
  header.extra = reinterpret_cast<Bytef*>(flags & 0x04 ? extra.data() : nullptr);
  header.extra_len = static_cast<uInt>(extra.size());
  header.name = reinterpret_cast<Bytef*>(flags & 0x08 ? name : nullptr);
  header.comment = reinterpret_cast<Bytef*>(flags & 0x10 ? comment : nullptr);
  header.hcrc = flags & 0x02;
  EXPECT_EQ(windowBits > 15 ? deflateSetHeader(&z, &header) : Z_OK, Z_OK);
  std::string out(deflateBound(&z, static_cast<uLong>(data.size())) + 512, '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  z.avail_in = static_cast<uInt>(data.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}
// A decoder started for `coding`.
struct Started : BodyDecoder {
  explicit Started(std::string_view coding) {
    const char* failure = nullptr;
    EXPECT_EQ(Start(coding, &failure), errNone) << coding;
  }
};

// Feeds `pieces` through a started decoder and returns the joined output, or the first failure
// as "error <code>: <text>".
std::string Decode(BodyDecoder& decoder, std::initializer_list<std::string_view> pieces,
                   int* waits = nullptr) {
  std::string out;
  for (std::string_view piece : pieces) {
    bool needMore = false;
    const char* failure = nullptr;
    const int rc = decoder.Decode(piece.data(), static_cast<int>(piece.size()), needMore, &failure);
    if (rc != errNone) return "error " + std::to_string(rc) + ": " + failure;
    if (needMore && waits) ++*waits;
    EXPECT_TRUE(!needMore || decoder.DecodedPiece.IsEmpty()) << "a wait gives nothing";
    out.append(decoder.DecodedPiece.View());
  }
  return out;
}

std::string DecodeAs(std::string_view coding, std::initializer_list<std::string_view> pieces) {
  Started decoder(coding);
  return Decode(decoder, pieces);
}

// Every split of the body into two pieces, raw deflate and gzip with each set of optional header
// fields: the output is the same, and pieces that end inside a gzip header wait for more.
TEST(BodyDecoderTest, EverySplitDecodesTheWhole) {
  const std::string text = SampleText(3000);
  for (int flags : {-1, 0x00, 0x04, 0x08, 0x10, 0x02, 0x1E}) { // -1: raw deflate
    const std::string body = flags < 0 ? Compress(text, kRawDeflate) : Compress(text, kGzip, flags);
    int headerLength = 0;
    ASSERT_TRUE(flags < 0 || GzipHeaderLength(reinterpret_cast<const uint8_t*>(body.data()),
                                              static_cast<int>(body.size()), headerLength));
    for (size_t cut = 0; cut <= body.size(); ++cut) {
      Started decoder(flags < 0 ? "deflate" : "gzip");
      int waits = 0;
      const std::string_view whole = body;
      const std::string at = "flags " + std::to_string(flags) + ", cut at " + std::to_string(cut);
      ASSERT_EQ(Decode(decoder, {whole.substr(0, cut), whole.substr(cut)}, &waits), text) << at;
      EXPECT_EQ(waits, static_cast<int>(cut) < headerLength ? 1 : 0) << at;
      EXPECT_EQ(decoder.InflateDone, 1) << at;
    }
  }
}

TEST(BodyDecoderTest, CodingNames) {
  // Without a coding the bytes pass as they came.
  EXPECT_EQ(DecodeAs("br", {"plain ", "text"}), "plain text");

  // "gzip" or "deflate" in any case choose; any other value, a list among them, keeps the coding
  // a header before it chose.
  BodyDecoder decoder;
  const char* failure = nullptr;
  // clang-format off
  const std::pair<const char*, int> steps[] = {{"identity", codingNone}, {"gZiP", codingGzip}, {"gzip, deflate", codingGzip},
                                               {"DEFLATE", codingDeflate}, {" gzip", codingDeflate}};
  // clang-format on
  for (const auto& [value, coding] : steps) {
    ASSERT_EQ(decoder.Start(value, &failure), errNone);
    EXPECT_EQ(decoder.ContentCoding, coding) << "\"" << value << "\"";
  }
}

TEST(BodyDecoderTest, LargeOutputFromOnePieceAndBytesAfterTheEnd) {
  const std::string text = SampleText(300000); // several output steps from one piece
  Started decoder("gzip");
  EXPECT_EQ(Decode(decoder, {Compress(text, kGzip) + "trailing garbage after the member"}), text);
  EXPECT_EQ(decoder.InflateDone, 1);
  EXPECT_EQ(Decode(decoder, {"more"}), "") << "bytes after the end are ignored";
}

TEST(BodyDecoderTest, FailuresGiveCodeAndText) {
  const std::string text = SampleText(2000);
  const std::string gzip = Compress(text, kGzip), zlib = Compress(text, kZlibWrapped);
  const std::string notDeflate = "\x07" + Compress(text, kRawDeflate); // block type 3
  const char *corrupt = "error 151: Could not decompress content.",
             *badHeader = "error 102: The GZIP header is invalid.";
  struct Row {
    const char *row, *coding;
    std::string first, second;
    const char* expected;
  };
  // clang-format off
  const Row rows[] = {
      {"zlib wrapper under deflate", "deflate", zlib, "", corrupt},
      {"reserved block type", "deflate", notDeflate, "", corrupt},
      {"not gzip at all", "gzip", "<feed/>", "", badHeader},
      {"zlib wrapper under gzip", "gzip", zlib, "", badHeader},
      {"magic wrong in the second piece", "gzip", "\x1f", "\x8c rest", badHeader},
      {"reserved flag", "gzip", std::string("\x1f\x8b\x08\x80", 4), "", badHeader},
      {"method not deflate", "gzip", std::string("\x1f\x8b\x07\0\0\0\0\0\0\x03", 10), "", badHeader},
      // A failure repeats for later pieces: the gathered bytes stay refused.
      {"later pieces of a bad header", "gzip", "plain", gzip, badHeader},
  };
  // clang-format on
  for (const Row& r : rows)
    EXPECT_EQ(DecodeAs(r.coding, {r.first, r.second}), r.expected) << "row: " << r.row;

  // A truncated body is no failure: what came decodes, and the stream has not ended.
  Started decoder("gzip");
  const std::string partial = Decode(decoder, {std::string_view(gzip).substr(0, gzip.size() / 2)});
  EXPECT_FALSE(partial.empty());
  EXPECT_EQ(text.compare(0, partial.size(), partial), 0);
  EXPECT_EQ(decoder.InflateDone, 0);
}

// A header whose name never ends is gathered only up to the limit.
TEST(BodyDecoderTest, EndlessHeaderNameIsRefusedAtTheLimit) {
  Started decoder("gzip");
  const char* failure = nullptr;
  std::string start("\x1f\x8b\x08\x08\0\0\0\0\0\x03", 10);
  bool needMore = false;
  ASSERT_EQ(decoder.Decode(start.data(), 10, needMore, &failure), errNone);
  EXPECT_TRUE(needMore);
  const std::string name(4096, 'n');
  int rc = errNone, pieces = 0;
  for (; rc == errNone && pieces < 100; ++pieces)
    rc = decoder.Decode(name.data(), static_cast<int>(name.size()), needMore, &failure);
  EXPECT_EQ(rc, errBadGzipHeader);
  // The piece that takes the gathered bytes past the limit is the one refused.
  EXPECT_EQ(pieces, (BodyDecoder::kMaxGzipHeader - 10) / 4096 + 1);
  EXPECT_LE(decoder.GzipHeader.Length(), BodyDecoder::kMaxGzipHeader + 4096 + 10);
}

TEST(BodyDecoderTest, AllocationFailuresAtStart) {
  for (long allowed : {0L, 1L}) {
    BodyDecoder decoder;
    const char* failure = nullptr;
    SetAllocationFailureAfter(allowed);
    const int rc = decoder.Start("gzip", &failure);
    SetAllocationFailureAfter(-1);
    EXPECT_EQ(rc, errDecoder) << allowed << " allocations allowed";
    EXPECT_STREQ(failure, "Could not initialize decompressor.");
    // The decoder recovers once memory is there again.
    ASSERT_EQ(decoder.Start("deflate", &failure), errNone);
    EXPECT_EQ(Decode(decoder, {Compress("again", kRawDeflate)}), "again");
  }
}

TEST(BodyDecoderTest, HttpClientWrappers) {
  QuillonCore core;
  ASSERT_EQ(core.StartDecoder("deflate"), errNone);
  std::string_view piece;
  bool needMore = false;
  const std::string wrapped = Compress("text", kZlibWrapped);
  EXPECT_EQ(core.DecodePiece(wrapped.data(), static_cast<int>(wrapped.size()), piece, needMore),
            errDecoder);
  EXPECT_STREQ(core.LastErrorText(), "Could not decompress content.");
  EXPECT_TRUE(piece.empty());

  // Each action decides anew by its own content-encoding header.
  core.RunAction(actGet);
  EXPECT_FALSE(core.decoder.IsActive());
}

} // namespace
} // namespace quillon
