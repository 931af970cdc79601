// The response reader gives the same events and results whatever the pieces the bytes come in:
// every response of the table is read whole and then split at every offset into two reads.
// Small line buffers put long lines and chunks through the buffer-full paths as well.
#include "http/HttpClient.h"
#include "support/HttpEventLog.h"
#include "support/ResponseFeed.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace quillon::test {
namespace {

// One chunk: its size in hex, CRLF, the bytes, CRLF.
std::string Chunk(const std::string& bytes) {
  char size[16];
  std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
  return size + bytes + "\r\n";
}

struct Row {
  const char* name;
  std::string response, expectedData; // expected: TransferredData after the whole response
  bool close = false;                 // the server closes after the bytes
  uint32_t lineBuffer = 4000;         // MaxLineLength
  const char* method = "GET";
};

struct Outcome {
  std::string events, data, results; // results: headers, status, error, done, cut, bytes
  bool operator==(const Outcome&) const = default;
  std::string Text() const { return events + "\n  data=" + data + "\n  " + results; }
};

Outcome Read(const Row& row, size_t split) {
  HttpEventLog log;
  auto client = std::make_unique<HttpClient>();
  client->SetEventSink(&log);
  client->KeepAlive = 1;
  client->FollowRedirects = 1;
  client->AllowHTTPCompression = 1;
  client->SetMaxLineLength(row.lineBuffer);
  client->ArmResponseReader(row.method);
  const std::string_view bytes = row.response;
  FeedPiece(*client, bytes.substr(0, split));
  FeedPiece(*client, bytes.substr(split));
  if (row.close) FeedEnd(*client);
  const HttpClient& c = *client;
  return {log.Joined(), std::string(c.TransferredData.View()),
          std::string(c.TransferredHeaders.View()) + "status " + std::to_string(c.StatusCode) +
              ", error " + std::to_string(c.responseError) + ", done " +
              std::to_string(c.ResponseDone != 0) + ", cut " + std::to_string(c.responseCut) +
              ", bytes " + std::to_string(c.BytesTransferred)};
}

// Chunks of a 32-byte buffer: a CR as the last byte of a full buffer, followed by other bytes,
// by a CR, and by the LF that ends the chunk.
const std::string kLongA = std::string(31, 'a') + "\rb\r\nc";
const std::string kLongB = std::string(31, 'd') + "\r";
const std::string kLongC = std::string(31, 'e');
const std::string kBody = "{\"feed\": [1, 2, 3]}\r\n\r\nend";
// kBody as zlib's gzip at level 9 gives it.
const std::string
    kGzipBody("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\x56\x4a\x4b\x4d\x4d\x51\xb2\x52\x88"
              "\x36\xd4\x51\x30\xd2\x51\x30\x8e\xad\xe5\xe5\xe2\xe5\x4a\xcd\x4b\x01\x00\xe4\x75"
              "\xf4\x43\x1a\x00\x00\x00",
              46);

// clang-format off
const Row kRows[] = {
    {"length body and a cookie", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nSet-Cookie: a=b; path=/\r\n\r\nhello", "hello"},
    {"chunks holding CRLF, an extension and a trailer", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;x=1\r\nabc\r\n\r\n4\r\n\r\n\r\n\r\n3\r\nxyz\r\n0\r\nX-Trailer: 1\r\n\r\n", "abc\r\n\r\n\r\nxyz"},
    {"chunks longer than the buffer, CR at its end", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + Chunk(kLongA) + Chunk(kLongB) + Chunk(kLongC) + "0\r\n\r\n", kLongA + kLongB + kLongC, false, 32},
    {"interim 100 then 200", "HTTP/1.1 100 Continue\r\nX-I: 1\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", "ok"},
    {"HEAD with a length", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n", "", false, 4000, "HEAD"},
    {"204 with a length", "HTTP/1.1 204 No Content\r\nContent-Length: 3\r\n\r\n", ""},
    {"close-delimited body", "HTTP/1.0 200 OK\r\n\r\nuntil the close", "until the close", true},
    {"not HTTP at all", "garbage\nmore", "garbage\nmore", true},
    {"length body cut short", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabcd", "abcd", true},
    {"chunked body cut short", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n8\r\nabc", "abc", true},
    {"headers cut short", "HTTP/1.1 200 OK\r\nContent-Le", "", true},
    {"gzip body", "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 46\r\n\r\n" + kGzipBody, kBody},
    {"folded, colonless and long header lines", "HTTP/1.1 404 Not Found\r\nX-A: 1\r\n  more\r\nNoColon\r\nX-Long: 0123456789abcdef\r\nContent-Length: 3\r\n\r\nnot", "not", false, 24},
    // A connected client drops the connection at a redirect's body; here the feed ends.
    {"redirect body dropped", "HTTP/1.1 302 Found\r\nLocation: /b\r\nContent-Length: 4\r\n\r\nmove", "", true},
    {"bare LF line ends", "HTTP/1.1 200 OK\nContent-Length: 2\n\nok", "ok"},
};
// clang-format on

TEST(ResponseReaderSplitTest, EveryTwoPieceSplitReadsAsTheWhole) {
  for (const Row& row : kRows) {
    const Outcome whole = Read(row, row.response.size());
    EXPECT_EQ(whole.data, row.expectedData) << row.name;
    EXPECT_FALSE(whole.events.empty()) << row.name;
    // A response the server does not close ends by its own framing.
    EXPECT_TRUE(row.close || whole.results.find(", done 1,") != std::string::npos)
        << row.name << ": " << whole.results;
    for (size_t split = 0; split < row.response.size(); ++split) {
      const Outcome parts = Read(row, split);
      if (parts == whole) continue;
      ADD_FAILURE() << row.name << ", split at " << split << "\n  whole: " << whole.Text()
                    << "\n  split: " << parts.Text();
      break;
    }
  }
}

} // namespace
} // namespace quillon::test
