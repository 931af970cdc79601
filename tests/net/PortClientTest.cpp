// The stream port against a scripted peer on the loopback interface, in both delivery modes:
// connect outcomes, line cutting over real reads, end of stream and reset, deferred close,
// holding data back, time-outs and interrupts, sending, and the checks of the setters.
#include "PortHarness.h"

#include "frame/Errors.h"
#include "net/NetErrors.h"
#include "support/ScriptPeer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace quillon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string ModeName(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "WindowMessages" : "Poll";
}

class PortClientTest : public ::testing::TestWithParam<bool> {
protected:
  // Plays `peer`'s script: connects, sends `request`, and gives the log once the peer has closed.
  std::vector<std::string> Session(std::string_view request = {}) {
    EXPECT_EQ(Open(), 0) << port.LastErrorText();
    EXPECT_EQ(port.SendAll(request.data(), static_cast<int>(request.size()), false, false), 0);
    EXPECT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
    EXPECT_THAT(peer.Failures(), IsEmpty());
    return port.log;
  }
  // Starts the peer's script and connects to it.
  int Open() {
    peer.Start();
    return port.Connect(peer.Host(), peer.Port());
  }
  ScriptPeer peer;
  TestPort port{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(BothModes, PortClientTest, ::testing::Bool(), ModeName);

TEST_P(PortClientTest, RefusedConnectReportsTheErrorOnceAndLeavesNothingBehind) {
  peer.Send("hello\n").Close();
  EXPECT_EQ(port.Connect("127.0.0.1", ScriptPeer::UnusedPort()), 10061);
  EXPECT_STREQ(port.LastErrorText(), "[10061] Connection refused");
  EXPECT_EQ(port.socketHandle, platform::kInvalidSocket);
  // The next socket usually gets the number of the refused one: nothing of the first attempt
  // may reach the second, and the refusal never gave a Disconnected.
  EXPECT_THAT(Session(),
              ElementsAre("Connected(10061, [10061] Connection refused)", "Connected(0, OK)",
                          "Data(hello\n, 1)", "Disconnected(0, OK)"));
}

TEST_P(PortClientTest, NameThatCannotResolveFailsBeforeAnyConnect) {
  port.SetRemotePort(ScriptPeer::UnusedPort());
  EXPECT_EQ(port.SetRemoteHost("no such host"), 11001);
  EXPECT_EQ(port.ConnectAndWait(), errAddressInvalid);
  EXPECT_STREQ(port.LastErrorText(), "The RemoteHost address is invalid (0.0.0.0).");
  // Under IPv6 the empty address is refused too, never sent to this machine.
  port.ConfigText("UseIPv6=True", nullptr);
  EXPECT_EQ(port.SetRemoteHost("no such host"), 11001);
  EXPECT_EQ(port.ConnectAndWait(), 10049);
  EXPECT_EQ(port.socketHandle, platform::kInvalidSocket);
  EXPECT_THAT(port.log, IsEmpty());
}

TEST_P(PortClientTest, EndOfStreamDeliversThePartialLineBeforeDisconnected) {
  peer.SendPieces("one\r\ntw", 4, 5).Send("o\r").Pause(10).Send("\nthr").Close();
  ASSERT_EQ(port.ConfigText("SplitCRLF=True", nullptr), 0);
  EXPECT_THAT(Session(), ElementsAre("Connected(0, OK)", "Data(one, 1)", "Data(two, 1)",
                                     "Data(thr, 0)", "Disconnected(0, OK)"));
}

TEST_P(PortClientTest, ResetByPeerGivesDisconnectedWith10054AfterTheData) {
  // The words wait for the port's request, sent once its connect is complete: a reset that came
  // before the port had seen its connection complete would end the connect instead.
  // The port answers and waits for the reset, so that its next read, not the wait, takes the
  // error from the socket: the close must carry it all the same.
  peer.Expect("go").Send("last words").Expect("read").Reset();
  port.onData = [this](std::string_view, bool) {
    port.SendAll("read", 4, false, false);
    ::usleep(20000);
  };
  EXPECT_THAT(Session("go"), ElementsAre("Connected(0, OK)", "Data(last words, 1)",
                                         "Disconnected(10054, [10054] Connection reset by peer)"));
}

TEST_P(PortClientTest, ConnectTimeoutDropsTheAttempt) {
  // A listener whose queue is full leaves further connects unanswered.
  ASSERT_TRUE(peer.Listening());
  std::vector<std::unique_ptr<TestPort>> queue;
  port.connectionTimeout = 60;
  for (int i = 0; i < 40; ++i) {
    auto filler = std::make_unique<TestPort>(GetParam());
    filler->ConfigText("ConnectionTimeout=30", nullptr);
    const int rc = filler->Connect(peer.Host(), peer.Port());
    queue.push_back(std::move(filler));
    if (rc == errInterrupted) break;
  }
  // Linux drops a SYN once the listener's queue (16 here) is full.
  ASSERT_FALSE(queue.back()->IsConnected()) << "40 connects never filled the listener's queue";
  EXPECT_EQ(port.Connect(peer.Host(), peer.Port()), errInterrupted);
  EXPECT_STREQ(port.LastErrorText(), "Timeout.");
  EXPECT_EQ(port.socketHandle, platform::kInvalidSocket);
  EXPECT_EQ(port.GetTimeout(), 5000); // the connection timeout applied to this wait only
  EXPECT_THAT(port.log, IsEmpty());
}

TEST_P(PortClientTest, InterruptAndTimeoutEachEndOneWait) {
  peer.Send("ping\n").StaySilent();
  port.onData = [this](std::string_view, bool) { port.RequestInterrupt(); };
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(port.WaitUntil([] { return false; }), errInterrupted);
  EXPECT_STREQ(port.LastErrorText(), "Interrupted.");
  EXPECT_TRUE(port.wasInterrupted);
  EXPECT_FALSE(port.interruptRequested);
  // Later waits are not affected: each runs its own full time.
  port.SetTimeout(30, true);
  for (int wait = 0; wait < 2; ++wait) {
    EXPECT_EQ(port.WaitUntil([] { return false; }), errInterrupted);
    EXPECT_STREQ(port.LastErrorText(), "Timeout.");
  }
  EXPECT_EQ(port.Disconnect(), 0);
  EXPECT_TRUE(peer.ClientClosed());
}

TEST_P(PortClientTest, DisconnectInsideADataEventIsPutOffUntilTheHandlerReturns) {
  peer.Send("a\nb\n").StaySilent();
  port.SetLineTerminator("\n", 1);
  port.onData = [this](std::string_view text, bool) {
    if (text == "a") {
      EXPECT_EQ(port.Disconnect(), 0);
      EXPECT_TRUE(port.closePending);
      port.log.push_back("handler done");
    }
  };
  EXPECT_THAT(Session(), ElementsAre("Connected(0, OK)", "Data(a, 1)", "handler done", "Data(b, 1)",
                                     "Disconnected(0, OK)"));
  EXPECT_TRUE(peer.ClientClosed());
}

TEST_P(PortClientTest, AcceptDataFalseHoldsTheRestUntilTrue) {
  // The port's own sink keeps the first line and stops reading, as a handler may.
  peer.Send("+OK ready\r\nmore\r\n").StaySilent();
  port.defaultSink = true;
  port.ConfigText("SplitCRLF=True", nullptr);
  ASSERT_EQ(Open(), 0);
  ASSERT_EQ(port.WaitUntil([this] { return !port.received.empty(); }), 0);
  for (int step = 0; step < 5; ++step)
    port.WaitStep(5, port.windowHandle);
  EXPECT_EQ(port.receivedText.View(), "+OK ready");
  EXPECT_FALSE(port.acceptData);
  port.SetAcceptData(true);
  ASSERT_EQ(port.WaitUntil([this] { return port.received == "+OK readymore"; }), 0)
      << port.LastErrorText();
  EXPECT_THAT(port.log, ElementsAre("Connected(0, OK)", "Data(+OK ready, 1)", "Data(more, 1)"));
}

TEST_P(PortClientTest, FullLineBufferDeliversPiecesThenTheRecord) {
  peer.Send("0123456789abcdefXY\r\n").Close();
  ASSERT_EQ(port.SetMaxLineLength(8), 0);
  port.SetLineTerminator("\r\n", 2);
  EXPECT_THAT(Session(), ElementsAre("Connected(0, OK)", "Data(01234567, 0)", "Data(89abcdef, 0)",
                                     "Data(XY, 1)", "Disconnected(0, OK)"));
}

TEST_P(PortClientTest, SendAllWaitsWhileTheSocketIsFull) {
  std::string block(1024 * 1024, 0);
  for (size_t i = 0; i < block.size(); ++i)
    block[i] = static_cast<char>('a' + i % 23);
  // The peer reads only after a while, so the socket fills up and the send has to wait.
  peer.Pause(50).Expect(block).Send("done\n").StaySilent();
  ASSERT_EQ(port.ConfigText("OutBufferSize=8192", nullptr), 0);
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(port.SendAll(block.data(), static_cast<int>(block.size()), true, false), 0);
  EXPECT_GT(port.progressCalls, 0);
  ASSERT_EQ(port.WaitUntil([this] { return !port.received.empty(); }), 0);
  EXPECT_EQ(port.received, "done\n");
  EXPECT_TRUE(peer.Finished());
  EXPECT_THAT(peer.Failures(), IsEmpty());
}

TEST_P(PortClientTest, SendingToAResetPeerFailsWithACodeAndNoSignal) {
  peer.Pause(20).Reset();
  ASSERT_EQ(Open(), 0);
  ASSERT_TRUE(peer.Finished());
  const std::string chunk(64 * 1024, 'x');
  int rc = 0;
  for (int attempt = 0; attempt < 50 && rc == 0; ++attempt) {
    rc = port.SendAll(chunk.data(), static_cast<int>(chunk.size()), false, false);
    port.WaitStep(5, port.windowHandle);
  }
  // The reset arrives either as the send's error or as the close event that ends the socket.
  EXPECT_TRUE(rc == 10054 || rc == 10057 || rc == 10053) << rc;
  EXPECT_EQ(port.WaitUntilClosed(), 0);
}

TEST_P(PortClientTest, RateLimitHoldsTheNextSend) {
  peer.StaySilent();
  ASSERT_EQ(Open(), 0);
  ASSERT_EQ(port.ConfigText("MaxTransferRate=1", nullptr), 0);
  port.SetTimeout(50, true);
  ASSERT_EQ(port.SendAll("first", 5, false, false), 0);
  // At one byte a second the five bytes already sent keep the next send waiting until the
  // deadline; the rate needs one millisecond of window to be measured.
  const int64_t start = SocketCore::WallClockMillis();
  while (SocketCore::WallClockMillis() == start) {
  }
  EXPECT_EQ(port.SendAll("second", 6, false, false), errInterrupted);
  EXPECT_STREQ(port.LastErrorText(), "Timeout.");
  port.Disconnect();
  ASSERT_TRUE(peer.ClientClosed());
  EXPECT_EQ(peer.Received(), "first");
}

TEST_P(PortClientTest, SettersRefuseChangesDuringAConnection) {
  peer.StaySilent();
  EXPECT_EQ(port.PortConnect(1), errAddressInvalid);
  port.SetRemoteHost(peer.Host());
  EXPECT_EQ(port.PortConnect(1), errPortZero);
  EXPECT_STREQ(port.LastErrorText(),
               "RemotePort can't be zero. Please specify a valid service port number.");
  ASSERT_EQ(Open(), 0);

  const std::pair<int, int> rows[] = {
      {port.SetRemotePort(1), errRemotePortBusy},
      {port.SetRemoteHost("10.0.0.1"), errRemoteHostBusy},
      {port.SetLocalPort(1), errLocalPortBusy},
      {port.ConfigText("MaxLineLength=100", nullptr), errLineLengthBusy},
      {port.ConfigText("UseWindowsMessages=False", nullptr), errDeliveryModeBusy},
      {port.PortConnect(1), errAlreadyConnected},
  };
  for (const auto& [rc, expected] : rows)
    EXPECT_EQ(rc, expected);
  EXPECT_STREQ(port.LastErrorText(),
               "Already connected. If you want to reconnect, close the current connection first.");
  EXPECT_EQ(port.remoteHost.View(), "10.0.0.1"); // the text is stored even when refused
  EXPECT_EQ(port.remotePort, peer.Port());
  EXPECT_EQ(port.useWindowsMessages, GetParam());
}

TEST_P(PortClientTest, DoEventsDeliversAConnectionStartedWithoutWaiting) {
  peer.Send("news").Close();
  peer.Start();
  port.SetRemoteHost(peer.Host());
  port.SetRemotePort(peer.Port());
  ASSERT_EQ(port.PortConnect(1), 0);
  EXPECT_THAT(port.log, IsEmpty());
  for (int round = 0; round < 500 && port.socketHandle != platform::kInvalidSocket; ++round)
    EXPECT_EQ(port.DoEvents(10), 0);
  EXPECT_THAT(port.log, ElementsAre("Connected(0, OK)", "Data(news, 1)", "Disconnected(0, OK)"));
}

TEST_P(PortClientTest, LongBurstsCutByMaxReceiveDataTimeLoseNothing) {
  std::string block(2 * 1024 * 1024, 0);
  for (size_t i = 0; i < block.size(); ++i)
    block[i] = static_cast<char>('A' + i % 26);
  peer.Send(block).Close();
  ASSERT_EQ(port.ConfigText("MaxReceiveDataTime=1", nullptr), 0);
  EXPECT_EQ(Session().back(), "Disconnected(0, OK)");
  EXPECT_TRUE(port.received == block);
}

TEST_P(PortClientTest, IPv6LoopbackWorksLikeIPv4) {
  ScriptPeer peer6(ScriptPeer::Family::IPv6);
  if (!peer6.Listening()) {
    // No IPv6 loopback on this machine: the connect fails with a code and leaves nothing open.
    ASSERT_EQ(port.ConfigText("UseIPv6=True", nullptr), 0);
    EXPECT_NE(port.Connect("::1", ScriptPeer::UnusedPort()), 0);
    EXPECT_EQ(port.socketHandle, platform::kInvalidSocket);
    return;
  }
  peer6.Expect("hi\r\n").Send("yes\r\n").Close();
  peer6.Start();
  ASSERT_EQ(port.ConfigText("UseIPv6=True", nullptr), 0);
  port.ConfigText("SplitCRLF=True", nullptr);
  ASSERT_EQ(port.Connect("::1", peer6.Port()), 0) << port.LastErrorText();
  EXPECT_STREQ(port.GetRemoteHost(), "::1");
  EXPECT_STREQ(port.GetLocalHost(), "::1");
  ASSERT_EQ(port.SendAll("hi\r\n", 4, false, false), 0);
  ASSERT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
  EXPECT_THAT(port.log, ElementsAre("Connected(0, OK)", "Data(yes, 1)", "Disconnected(0, OK)"));
  EXPECT_THAT(peer6.Failures(), IsEmpty());
}

TEST_P(PortClientTest, AnswerInPiecesAndPausesGivesItsRecordsInEitherMode) {
  peer.Expect("GET\n").SendPieces("200 OK\nlen: 4\n\nbo", 5, 5).Send("dy").Pause(20);
  peer.Send("tail\nno end").Close();
  port.SetLineTerminator("\n", 1);
  EXPECT_THAT(Session("GET\n"),
              ElementsAre("Connected(0, OK)", "Data(200 OK, 1)", "Data(len: 4, 1)", "Data(, 1)",
                          "Data(bodytail, 1)", "Data(no end, 0)", "Disconnected(0, OK)"));
}

} // namespace
} // namespace quillon::test
