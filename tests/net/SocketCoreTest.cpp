// The socket layer and the wait loop: error numbers, deadlines and their units, the close and
// quit messages, delivery to other objects of the thread, a change of thread, and local
// addresses.
#include "PortHarness.h"

#include "frame/Errors.h"
#include "net/NetErrors.h"
#include "net/SocketCore.h"
#include "platform/MessageQueue.h"
#include "quillon/Quillon.h"
#include "support/ScriptPeer.h"
#include "surface/SurfaceErrors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <netdb.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace quillon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Every row of both tables against the Windows socket numbers.
TEST(SocketErrorTest, ErrnoAndResolverCodesBecomeWindowsNumbers) {
  // The error number, and the Windows number it becomes.
  const std::pair<int, int> errnoRows[] = {
      {EINTR, 10004},        {EBADF, 10009},           {EACCES, 10013},
      {EPERM, 10013},        {EFAULT, 10014},          {EINVAL, 10022},
      {EMFILE, 10024},       {ENFILE, 10024},          {EAGAIN, 10035},
      {EINPROGRESS, 10036},  {EALREADY, 10037},        {ENOTSOCK, 10038},
      {EDESTADDRREQ, 10039}, {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},
      {ENOPROTOOPT, 10042},  {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044},
      {EOPNOTSUPP, 10045},   {EPFNOSUPPORT, 10046},    {EAFNOSUPPORT, 10047},
      {EADDRINUSE, 10048},   {EADDRNOTAVAIL, 10049},   {ENETDOWN, 10050},
      {ENETUNREACH, 10051},  {ENETRESET, 10052},       {ECONNABORTED, 10053},
      {ECONNRESET, 10054},   {EPIPE, 10054},           {ENOBUFS, 10055},
      {ENOMEM, 10055},       {EISCONN, 10056},         {ENOTCONN, 10057},
      {ESHUTDOWN, 10058},    {ETOOMANYREFS, 10059},    {ETIMEDOUT, 10060},
      {ECONNREFUSED, 10061}, {ELOOP, 10062},           {ENAMETOOLONG, 10063},
      {EHOSTDOWN, 10064},    {EHOSTUNREACH, 10065},    {ENOTEMPTY, 10066},
      {EUSERS, 10068},       {EDQUOT, 10069},          {ESTALE, 10070},
      {EREMOTE, 10071},      {ENOSYS, 10022}, // without a row of its own
  };
  for (const auto& [errorNumber, expected] : errnoRows)
    EXPECT_EQ(platform::MapErrno(errorNumber, false), expected) << "errno " << errorNumber;
  // After connect the same errno means another thing.
  EXPECT_EQ(platform::MapErrno(EINPROGRESS, true), 10035);
  EXPECT_EQ(platform::MapErrno(EAGAIN, true), 10055);
  EXPECT_EQ(platform::MapErrno(ETIMEDOUT, true), 10060);

  const std::pair<int, int> resolverRows[] = {
      {0, 0},
      {EAI_NONAME, 11001},
      {EAI_AGAIN, 11002},
      {EAI_FAIL, 11003},
      {EAI_NODATA, 11004},
      {EAI_ADDRFAMILY, 11004},
      {EAI_MEMORY, 10055},
      {EAI_FAMILY, 10047},
      {EAI_SOCKTYPE, 10044},
      {EAI_BADFLAGS, 10022},
      {EAI_SERVICE, 11003},
  };
  for (const auto& [code, expected] : resolverRows)
    EXPECT_EQ(platform::MapResolverError(code, 0), expected) << "resolver code " << code;
  EXPECT_EQ(platform::MapResolverError(EAI_SYSTEM, ECONNREFUSED), 10061);
}

TEST(WaitStepTest, DeadlineEndsTheWaitInBothModes) {
  for (const bool windowMessages : {true, false}) {
    SocketCore core;
    core.useWindowsMessages = windowMessages;
    ASSERT_EQ(core.ConfigText("TimeoutInMilliseconds=True", nullptr), 0);
    core.SetTimeout(200, true); // long enough for a step on a loaded machine
    core.ArmDeadline();
    int steps = 0;
    while (core.WaitStep(5, core.windowHandle))
      ++steps;
    EXPECT_GT(steps, 0);
    EXPECT_STREQ(core.LastErrorText(), "Timeout.");

    // A negative Timeout puts the deadline in the past; 0 means none.
    core.SetTimeout(-1, true);
    core.ArmDeadline();
    EXPECT_FALSE(core.WaitStep(0, core.windowHandle));
    core.SetTimeout(0, true);
    core.ArmDeadline();
    EXPECT_EQ(core.deadlineTick, 0u);
    EXPECT_TRUE(core.WaitStep(1, core.windowHandle));
  }
}

TEST(WaitStepTest, QuitIsPostedAgainAndCloseEndsTheWaitWithTheWindowKept) {
  SocketCore core;
  core.SetLastErrorText("");
  platform::PostQuit(7);
  EXPECT_FALSE(core.WaitStep(0, core.windowHandle));
  EXPECT_STREQ(core.LastErrorText(), "");
  // The host's own loop still finds the quit.
  platform::WindowMessage message;
  ASSERT_TRUE(platform::PeekWindowMessage(0, message));
  EXPECT_EQ(message.message, platform::kMessageQuit);
  EXPECT_EQ(message.first, 7u);

  ASSERT_EQ(platform::PostWindowMessage(core.windowHandle, platform::kMessageClose, 0, 0), 0);
  EXPECT_FALSE(core.WaitStep(0, core.windowHandle));
  EXPECT_TRUE(platform::IsMessageWindow(core.windowHandle));
  EXPECT_TRUE(core.WaitStep(0, core.windowHandle));
}

TEST(WaitStepTest, TimeoutKeepsItsNumberWhenItsUnitChanges) {
  Quillon component;
  std::string value;
  ASSERT_EQ(component.GetProperty("Timeout", value), 0);
  EXPECT_EQ(value, "60");
  ASSERT_EQ(component.Config("TimeoutInMilliseconds=True"), 0);
  ASSERT_EQ(component.GetProperty("Timeout", value), 0);
  EXPECT_EQ(value, "60");
  EXPECT_EQ(component.SetProperty("Timeout", "70000"), errValueOutOfRange);
  EXPECT_EQ(component.SetProperty("Timeout", "-1"), 0);

  SocketCore core;
  core.SetTimeout(60, true);
  EXPECT_EQ(core.timeoutMillis, 60000);
  ASSERT_EQ(core.ConfigText("TimeoutInMilliseconds=True", nullptr), 0);
  EXPECT_EQ(core.timeoutMillis, 60);
  ASSERT_EQ(core.ConfigText("TimeoutInMilliseconds=no", nullptr), 0);
  EXPECT_EQ(core.timeoutMillis, 60000);
}

// Two objects on one thread share its messages: a wait of one delivers the other's events,
// unless IgnoreOtherWindowEvents keeps the wait to its own.
TEST(WaitStepTest, WaitDeliversOtherObjectsEventsUnlessTold) {
  for (const bool ignoreOthers : {false, true}) {
    ScriptPeer peer;
    peer.Send("x").StaySilent();
    peer.Start();
    TestPort waiting(true);
    TestPort other(true);
    waiting.ignoreOtherWindowEvents = ignoreOthers;
    other.SetRemoteHost(peer.Host());
    other.SetRemotePort(peer.Port());
    ASSERT_EQ(other.PortConnect(1), 0);
    waiting.SetTimeout(100, true);
    waiting.WaitUntil([&] { return other.log.size() >= 2; });
    if (ignoreOthers) {
      EXPECT_THAT(other.log, IsEmpty());
      ASSERT_EQ(other.WaitUntil([&] { return other.log.size() >= 2; }), 0);
    }
    EXPECT_THAT(other.log, ElementsAre("Connected(0, OK)", "Data(x, 1)")) << ignoreOthers;
  }
}

TEST(WaitStepTest, ObjectMovesToAnotherThreadBetweenCalls) {
  for (const bool windowMessages : {true, false}) {
    ScriptPeer peer;
    peer.Expect("one\n").Send("1\n").Expect("two\n").Send("2\n").Close();
    peer.Start();
    TestPort port(windowMessages);
    port.SetLineTerminator("\n", 1);
    ASSERT_EQ(port.Connect(peer.Host(), peer.Port()), 0);
    ASSERT_EQ(port.SendAll("one\n", 4, false, false), 0);
    ASSERT_EQ(port.WaitUntil([&] { return port.received == "1"; }), 0);
    std::thread([&] {
      EXPECT_EQ(port.SendAll("two\n", 4, false, false), 0);
      EXPECT_EQ(port.WaitUntilClosed(), 0) << port.LastErrorText();
    }).join();
    EXPECT_THAT(port.log,
                ElementsAre("Connected(0, OK)", "Data(1, 1)", "Data(2, 1)", "Disconnected(0, OK)"))
        << (windowMessages ? "window messages" : "poll");
    EXPECT_THAT(peer.Failures(), IsEmpty());
  }
}

TEST(LocalHostTest, AddressTextOrTheMachinesName) {
  SocketCore core;
  char name[101] = {};
  ASSERT_EQ(::gethostname(name, sizeof name - 1), 0);
  EXPECT_EQ(core.SetLocalHost(""), 0);
  EXPECT_STREQ(core.GetLocalHost(), name);
  EXPECT_EQ(core.SetLocalHost("127.0.0.1"), 0);
  EXPECT_STREQ(core.GetLocalHost(), "127.0.0.1");
  EXPECT_EQ(core.SetLocalHost("not a host"), 11001);
  Quillon component; // the surface gives the code its text
  EXPECT_EQ(component.SetProperty("LocalHost", "not a host"), 11001);
  EXPECT_EQ(component.ErrorDescription(), "[11001] Host not found");

  core.useIPv6 = true;
  EXPECT_EQ(core.SetLocalHost("::1%3"), 0);
  EXPECT_EQ(core.localAddress6.scopeId, 3u);
  EXPECT_EQ(core.localAddress6.address[15], 1);
  EXPECT_EQ(std::string(core.GetLocalHost()).substr(0, 3), "::1");
}

} // namespace
} // namespace quillon::test
