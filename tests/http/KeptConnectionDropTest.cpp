// A kept connection that goes before the next request (closed by the server while idle, or left
// for another host) ends nothing of that request: its answer is waited for and read.
#include "frame/Errors.h"
#include "http/HttpClient.h"
#include "support/HttpEventLog.h"
#include "support/ScriptPeer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace quillon::test {
namespace {

constexpr const char* kOk = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

std::string Url(const ScriptPeer& peer, const char* path) {
  return "http://127.0.0.1:" + std::to_string(peer.Port()) + path;
}

TEST(KeptConnectionDropTest, TheNextRequestIsAnsweredOnANewConnection) {
  struct Row {
    const char* name;
    bool idleClose; // the server closes the kept connection while it is idle
    bool otherHost; // the second request goes to another peer
  };
  const Row rows[] = {
      {"closed while idle", true, false},
      {"another host", false, true},
  };
  for (const Row& row : rows) {
    ScriptPeer first, second;
    first.Expect("GET /1 {*}\r\n\r\n").Send(kOk);
    if (row.idleClose) first.Pause(50).Close().NextConnection();
    if (!row.otherHost) first.Expect("GET /2 {*}\r\n\r\n").Send(kOk);
    if (row.otherHost) second.Expect("GET /2 {*}\r\n\r\n").Send(kOk).Start();
    first.Start();
    HttpClient client;
    HttpEventLog log;
    client.SetEventSink(&log);
    client.SetTimeout(3, true);
    client.KeepAlive = 1;
    client.SetURL(Url(first, "/1").c_str(), 0);
    EXPECT_EQ(client.RunAction(actGet), errNone) << row.name;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    client.SetURL(Url(row.otherHost ? second : first, "/2").c_str(), 0);
    EXPECT_EQ(client.RunAction(actGet), errNone) << row.name << ": " << client.lastError.Data();
    EXPECT_EQ(client.TransferredData.View(), "ok") << row.name;
  }
}

} // namespace
} // namespace quillon::test
