// Session recording: the escaping of the expect script, the two LogDebugOption bits, and a
// session with nginx recorded and then replayed by Tcl `expect` playing the server, where the
// port sees the same events again.
#include "PortHarness.h"

#include "support/Corpus.h"
#include "support/Peers.h"
#include "support/ScriptPeer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace quillon::test {
namespace {

std::string TempPath(const char* name) {
  return ::testing::TempDir() + "quillon_" + std::to_string(getpid()) + "_" + name;
}

TEST(SessionRecordTest, BytesAreEscapedIntoTheScriptAndTheLogFollowsItsOption) {
  struct Row {
    int direction;
    std::string bytes;
    int logOption;
    std::string script; // the command written
    const char* logged; // in the log record, or null for no record
  } const rows[] = {
      {1, "a\"b\r\n", 0, "\r\nsend -nonewline \"a\\\"b\r\n\"\r\n", "a\"b\r\n"},
      {0, std::string("x\0y", 3), 0, "\r\nexpect -exact \"x\\000y\"\r\n", nullptr},
      {1, "\x80\x7f\t\x01", 0, "\r\nsend -nonewline \"\\200\\177\\011\\001\"\r\n", nullptr},
      {0, "\\$\"{}[]", 0, "\r\nexpect -exact \"\\\\\\$\\\"\\{\\}\\[\\]\"\r\n", "\\$\"{}[]"},
      {1, "AB", 1, "\r\nsend -nonewline \"AB\"\r\n", "41 42"},
      {1, "quiet", 2, "\r\nsend -nonewline \"quiet\"\r\n", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(ScriptPeer::Printable(row.bytes));
    const std::string script = TempPath("escape.exp");
    const std::string log = TempPath("escape.log");
    std::remove(log.c_str());
    TestPort port(true);
    port.ConfigText(("RecordToFile=" + script).c_str(), nullptr);
    port.ConfigText(("LogDebugFile=" + log).c_str(), nullptr);
    port.ConfigText(("LogDebugOption=" + std::to_string(row.logOption)).c_str(), nullptr);
    ASSERT_EQ(port.OpenRecordFile(), 0);
    EXPECT_EQ(port.RecordTraffic(row.direction, row.bytes.data(),
                                 static_cast<int>(row.bytes.size()), nullptr, 0),
              0);
    port.CloseRecordFile();
    EXPECT_EQ(ScriptPeer::Printable(FileText(script)), ScriptPeer::Printable(row.script));
    const std::string logged = FileText(log);
    const std::string head = std::string("------") + (row.direction ? "RECEIVE" : "SEND") +
                             "------(" + std::to_string(row.bytes.size()) + " bytes)\r\n";
    if (row.logOption & 2)
      EXPECT_EQ(logged, "");
    else
      EXPECT_THAT(logged, ::testing::HasSubstr(head + (row.logged ? row.logged : "")));
    // A closed script takes nothing and says so.
    EXPECT_EQ(port.RecordTraffic(0, "x", 1, nullptr, 0), 0);
    std::remove(script.c_str());
  }
  TestPort port(true);
  EXPECT_EQ(port.OpenRecordFile(), -1);
  port.ConfigText("RecordToFile=/no/such/folder/x.exp", nullptr);
  EXPECT_EQ(port.OpenRecordFile(), 4);
}

// Runs replay.exp on `session`; returns the port it listens on, or 0 when expect could not start.
int StartReplay(const std::string& session, FILE*& process) {
  process = popen(
      ("expect -f " QUILLON_SOURCE_DIR "/tests/net/replay.exp " + session + " 2>&1").c_str(), "r");
  if (!process) return 0;
  char line[64] = {};
  if (!fgets(line, sizeof line, process)) return 0;
  return std::atoi(line);
}

TEST(SessionRecordTest, ASessionRecordedWithNginxReplaysWithTheSameEvents) {
  const std::string session = TempPath("session.exp");
  const std::string request =
      "GET /feeds/small.xml HTTP/1.0\r\nHost: 127.0.0.1\r\nX-Test: replay\r\n\r\n";
  std::vector<std::string> runs[2];
  for (int run = 0; run < 2; ++run) {
    SCOPED_TRACE(run == 0 ? "recording" : "replay");
    FILE* replay = nullptr;
    int port = std::stoi(PeerValue("nginx", "PORT"));
    if (run == 1) {
      port = StartReplay(session, replay);
      ASSERT_GT(port, 0) << "expect did not start (scripts/setup.sh installs it)";
    }
    TestPort client(true);
    if (run == 0) client.ConfigText(("RecordToFile=" + session).c_str(), nullptr);
    client.SetLineTerminator("\n", 1);
    ASSERT_EQ(client.Connect("127.0.0.1", port), 0) << client.LastErrorText();
    ASSERT_EQ(client.SendAll(request.data(), static_cast<int>(request.size()), false, false), 0);
    ASSERT_EQ(client.WaitUntilClosed(), 0) << client.LastErrorText();
    runs[run] = client.log;
    if (replay) {
      std::string output;
      char buffer[256];
      while (fgets(buffer, sizeof buffer, replay))
        output += buffer;
      EXPECT_EQ(pclose(replay), 0) << output;
    }
  }
  EXPECT_GT(runs[0].size(), 5u);
  EXPECT_THAT(runs[1], ::testing::ElementsAreArray(runs[0]));
  std::remove(session.c_str());
}

} // namespace
} // namespace quillon::test
