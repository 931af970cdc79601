// Whole exchanges of the HTTP link against a scripted loopback peer: the exact bytes of the
// requests, what odd and broken answers give, the turns (redirects, challenges), kept
// connections and the asynchronous mode. After every failure the same object runs a good
// exchange, so a failure never leaves it unusable.
#include "frame/Errors.h"
#include "http/HttpClient.h"
#include "support/HttpEventLog.h"
#include "support/ScriptPeer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace quillon::test {
namespace {

constexpr const char* kOk = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr const char* kAgent = "User-Agent: Ambervale Tarnwick HTTP/S Component\r\n";

class TestClient : public HttpClient {
public:
  explicit TestClient(int limitMillis = 3000) {
    SetEventSink(&log);
    timeoutInMilliseconds = 1;
    SetTimeout(limitMillis, true);
  }
  // "Name=value;..." (no ';' inside a value): the request's own fields and the credentials here,
  // the rest through Config.
  void Set(const std::string& settings) {
    const std::map<std::string, BufStrBase*> fields = {{"PostData", &PostData},
                                                       {"ContentType", &ContentType},
                                                       {"HTTPMethod", &HTTPMethod},
                                                       {"OtherHeaders", &OtherHeaders},
                                                       {"AttachedFile", &AttachedFile.narrow}};
    std::istringstream list(settings);
    for (std::string item; std::getline(list, item, ';');) {
      const std::string name = item.substr(0, item.find('=')), value = item.substr(name.size() + 1);
      if (fields.contains(name))
        fields.at(name)->Assign(value);
      else if (name == "AuthScheme")
        SetAuthScheme(std::stoi(value));
      else if (name == "User")
        SetUser(value);
      else
        EXPECT_EQ(ConfigText(item.c_str(), nullptr), errNone) << item;
    }
  }
  int Run(const std::string& url, int action = actGet) {
    if (int rc = SetURL(url.c_str(), 0); rc != errNone) return rc;
    return RunAction(action);
  }
  HttpEventLog log;
};

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

std::string Url(const ScriptPeer& peer, const char* path = "/") {
  return "http://127.0.0.1:" + std::to_string(peer.Port()) + path;
}

TEST(HttpExchangeTest, RequestBytesOnTheWire) {
  struct Row {
    const char *name, *settings, *url; // %P is the peer's port
    int action;
    const char* expected; // %H is 127.0.0.1:port, %A the User-Agent line
  };
  const std::string attached = ::testing::TempDir() + "quillon-attached.txt";
  std::ofstream(attached, std::ios::binary) << "FILE";
  // clang-format off
  const Row rows[] = {
      {"defaults", "", "http://%H/a?b=c", actGet, "GET /a?b=c HTTP/1.1\r\nHost: %H\r\n%AConnection: close\r\n\r\n"},
      {"header order, one-shot cookie, 1.0 keep-alive", "KeepAlive=True;HTTPVersion=1.0;HttpCookies=a=1;IfModifiedSince=Mon;AllowHTTPCompression=1;OtherHeaders=X-A: 1\n;Authorization=Bearer t", "http://%H/", actHead,
       "HEAD / HTTP/1.0\r\nHost: %H\r\nAuthorization: Bearer t\r\nAccept-Encoding: gzip, deflate\r\n%AIf-Modified-Since: Mon\r\nCookie: a=1\r\nConnection: Keep-Alive\r\nX-A: 1\r\n\r\n"},
      {"Host given by the caller", "OtherHeaders=Host: other\r\n\r\n", "http://%H/", actDelete, "DELETE / HTTP/1.1\r\n%AConnection: close\r\nHost: other\r\n\r\n"},
      {"body from memory", "ContentType=text/plain;PostData=hello", "http://%H/p", actPost, "POST /p HTTP/1.1\r\nHost: %H\r\n%AConnection: close\r\nContent-Type: text/plain\r\nContent-Length: 5\r\n\r\nhello"},
      {"chunked upload of memory and file", "UseChunkedEncoding=True;ChunkSize=4;PostData=abcdefghij;HTTPMethod=MERGE;AttachedFile=%F", "http://%H/", actPut,
       "MERGE / HTTP/1.1\r\nHost: %H\r\n%AConnection: close\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nabcd\r\n4\r\nefgh\r\n2\r\nij\r\n4\r\nFILE\r\n0\r\n\r\n"},
      {"Digest withholds the body of its first leg", "AuthScheme=1;User=u;PostData=secret", "http://%H/", actPost, "POST / HTTP/1.1\r\nHost: %H\r\n%AConnection: close\r\nContent-Length: 0\r\n\r\n"},
      {"credentials in the URL, encoded path", "EncodeURL=True", "http://u:p@%H/a b/~c?x=y z&w=/", actGet,
       "GET /a%20b/%7Ec?x=y%20z&w=%2F HTTP/1.1\r\nHost: %H\r\nAuthorization: Basic dTpw\r\n%AConnection: close\r\n\r\n"},
      {"plain proxy", "ProxyServer=127.0.0.1;ProxyPort=%P;ProxyUser=pu;ProxyPassword=pp", "http://example.invalid:8080/x?q", actGet,
       "GET http://example.invalid:8080/x?q HTTP/1.1\r\nHost: example.invalid:8080\r\nProxy-Authorization: Basic cHU6cHA=\r\n%AConnection: close\r\n\r\n"},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptPeer peer;
    peer.Expect(Replace(Replace(row.expected, "%H", "{*}"), "%A", kAgent)).Send(kOk).Close();
    peer.Start();
    TestClient client;
    const std::string port = std::to_string(peer.Port()), host = "127.0.0.1:" + port;
    client.Set(Replace(Replace(row.settings, "%P", port), "%F", attached));
    EXPECT_EQ(client.Run(Replace(row.url, "%H", host), row.action), errNone)
        << client.lastError.Data();
    ASSERT_TRUE(peer.Finished());
    EXPECT_EQ(ScriptPeer::Printable(peer.Received()),
              ScriptPeer::Printable(Replace(Replace(row.expected, "%H", host), "%A", kAgent)));
  }
}

// Without an IPv6 loopback the literal is still split the same way and the connect fails with a
// code instead of reaching anything else.
TEST(HttpExchangeTest, HostOfAnIPv6Literal) {
  ScriptPeer six(ScriptPeer::Family::IPv6);
  const bool up = six.Listening();
  const std::string port = std::to_string(up ? six.Port() : ScriptPeer::UnusedPort());
  six.Expect("GET / HTTP/1.1\r\nHost: [::1]:" + port + "\r\n{*}\r\n\r\n").Send(kOk).Close();
  if (up) six.Start();
  TestClient client;
  EXPECT_EQ(client.Run("http://[::1%1]:" + port + "/") == errNone, up) << client.lastError.Data();
  EXPECT_EQ(client.URLServer.View(), "::1%1");
  EXPECT_TRUE(!up || six.Finished());
}

TEST(HttpExchangeTest, OddAndBrokenAnswers) {
  struct Row {
    const char* name;
    std::string answer;
    bool closes; // the peer closes after the answer, or else stays silent
    int code;
    const char *text, *data;
  };
  const std::string longLine(300000, 'a');
  const char* cut = "Connection closed before the whole response arrived.";
  const std::string ok = "HTTP/1.1 200 OK\r\n", chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  // clang-format off
  const Row rows[] = {
      {"no status line", "hello\r\n", true, 10057, "Connection closed.", "hello\r\n"},
      {"endless header line", ok + "X: " + longLine, false, 151, "The response head is too long.", ""},
      {"endless chunk size line", chunked + longLine, false, 151, "The chunk size line is too long.", ""},
      {"close inside the headers", ok + "Content-Le", true, 10057, cut, ""},
      {"close inside a length body", ok + "Content-Length: 9\r\n\r\nabc", true, 10057, cut, "abc"},
      {"close inside a chunked body", chunked + "9\r\nabc", true, 10057, cut, "abc"},
      {"garbled chunk size ends the body", chunked + "zz\r\n\r\n", true, errNone, "", ""},
      {"a status without a number", "HTTP/1.1 OK\r\nContent-Length: 0\r\n\r\n", true, 151, "HTTP protocol error. 0 .", ""},
      {"a refusal", "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone", true, 151, "HTTP protocol error. 404 Not Found.", "gone"},
      {"the server stops sending", ok + "Content-Length: 9\r\n\r\nabc", false, 301, "Timeout.", "abc"},
  };
  // clang-format on
  for (const Row& row : rows) {
    ScriptPeer peer;
    peer.Expect("GET / {*}\r\n\r\n").Send(row.answer);
    row.closes ? peer.Close() : peer.StaySilent();
    peer.NextConnection().Expect("GET /again {*}\r\n\r\n").Send(kOk).Close();
    peer.Start();
    TestClient client(800);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Run(Url(peer)), row.code) << row.name;
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(client.lastError.View(), row.text) << row.name;
    EXPECT_EQ(client.TransferredData.View(), row.data) << row.name;
    EXPECT_GE(elapsed, std::chrono::milliseconds(row.code == 301 ? 800 : 0)) << row.name;
    // A good exchange on the peer's next connection: the object is still usable.
    EXPECT_EQ(client.Run(Url(peer, "/again")), errNone)
        << row.name << ": " << client.lastError.Data();
    EXPECT_EQ(client.TransferredData.View(), "ok") << row.name;
  }
}

// A kept connection that goes before the next request (closed by the server while idle, or left
// for another host) ends nothing of that request: its answer is waited for and read.
TEST(HttpExchangeTest, KeptConnectionsAndCookies) {
  ScriptPeer peer, other;
  peer.Expect("GET /1 {*}\r\n\r\n")
      .Send("HTTP/1.1 200 OK\r\nSet-Cookie: s=1\r\nContent-Length: 2\r\n\r\nok")
      .Expect("GET /2 {*}Cookie: s=1\r\n\r\n")
      .Send(kOk)
      .Pause(100)
      .Close() // closed while idle: the next request connects anew, without an error
      .NextConnection()
      .Expect("GET /3 {*}\r\n\r\n")
      .Send(kOk)
      .StaySilent() // kept until the client leaves for another host
      .NextConnection()
      .Expect("GET /4 {*}\r\n\r\n")
      .Close(); // closed after the request, before any answer
  other.Expect("GET /other {*}\r\n\r\n").Send(kOk);
  peer.Start();
  other.Start();
  TestClient client;
  client.KeepAlive = 1;
  EXPECT_EQ(client.Run(Url(peer, "/1")), errNone);
  EXPECT_EQ(client.Run(Url(peer, "/2")), errNone) << client.lastError.Data();
  EXPECT_EQ(peer.Connections(), 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(client.Run(Url(peer, "/3")), errNone) << client.lastError.Data();
  EXPECT_EQ(client.TransferredData.View(), "ok");
  EXPECT_EQ(client.CookieCount(), 1);
  // Another host, with the connection to the first still kept: the jar empties.
  EXPECT_EQ(client.Run(Url(other, "/other")), errNone) << client.lastError.Data();
  EXPECT_EQ(client.TransferredData.View(), "ok");
  EXPECT_EQ(client.CookieCount(), 0);
  EXPECT_EQ(client.Run(Url(peer, "/4")), 10057);
  EXPECT_EQ(client.lastError.View(), "Connection closed.");
  EXPECT_TRUE(peer.Finished());
  EXPECT_EQ(peer.Connections(), 3);
}

// The events of a plain exchange, the same whether it waits for the end or returns at once and
// is driven by DoEvents.
TEST(HttpExchangeTest, EventsOfAPlainExchangeWaitingOrNot) {
  ScriptPeer peer;
  peer.Expect("GET / {*}\r\n\r\n").Send(kOk).Close();
  peer.NextConnection().Expect("GET / {*}\r\n\r\n").Send(kOk).Close();
  peer.Start();
  TestClient waiting, client;
  EXPECT_EQ(waiting.Run(Url(peer)), errNone) << waiting.lastError.Data();
  client.SetTimeout(-1, true);
  EXPECT_EQ(client.Run(Url(peer)), errNone);
  EXPECT_EQ(client.CurrentAction, 0);
  for (int i = 0; i < 100 && client.ResponseDone == 0; ++i)
    client.DoEvents(20);
  EXPECT_EQ(client.TransferredData.View(), "ok");
  const char* events = "Connected(0) | Status(HTTP/1.1 200 OK) | Header(Content-Length: 2) | "
                       "StartTransfer(1) | Transfer(1, ok) | EndTransfer(1) | Disconnected(0)";
  EXPECT_EQ(waiting.log.Joined(), events);
  EXPECT_EQ(client.log.Joined(), events);
}

} // namespace
} // namespace quillon::test
