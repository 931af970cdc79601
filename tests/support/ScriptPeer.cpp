// The peer's thread accepts a connection, plays the steps up to the next NextConnection against
// it, and so on. Reads use poll with short waits so that the destructor can stop the thread at
// any point; every byte read is recorded before an Expect looks at it.
#include "support/ScriptPeer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quillon::test {

namespace {
constexpr int kAcceptLimitMillis = 10000;
constexpr int kExpectLimitMillis = 5000;
constexpr int kReadSliceMillis = 20;
constexpr std::string_view kWildcard = "{*}";
using Clock = std::chrono::steady_clock;

enum class MatchResult { Match, NeedMore, Mismatch };

// Matches `data` from its start against `pattern`, whose "{*}" matches any run of bytes (the
// shortest one that lets the next literal part follow). `consumed` is the length of the match.
MatchResult MatchPattern(std::string_view pattern, std::string_view data, size_t& consumed) {
  size_t wildcard = pattern.find(kWildcard);
  std::string_view literal = pattern.substr(0, wildcard);
  if (data.size() < literal.size())
    return literal.starts_with(data) ? MatchResult::NeedMore : MatchResult::Mismatch;
  if (!data.starts_with(literal)) return MatchResult::Mismatch;
  consumed = literal.size();
  while (wildcard != std::string_view::npos) {
    pattern.remove_prefix(wildcard + kWildcard.size());
    wildcard = pattern.find(kWildcard);
    literal = pattern.substr(0, wildcard);
    const size_t found = data.find(literal, consumed);
    if (found == std::string_view::npos) return MatchResult::NeedMore;
    consumed = found + literal.size();
  }
  return MatchResult::Match;
}

void Sleep(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
} // namespace

ScriptPeer::ScriptPeer(Family kind) : family(kind) {
  sockaddr_in four = {};
  four.sin_family = AF_INET;
  four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sockaddr_in6 six = {};
  six.sin6_family = AF_INET6;
  six.sin6_addr = in6addr_loopback;
  const bool v4 = family == Family::IPv4;
  auto* address = v4 ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six);
  socklen_t size = v4 ? sizeof four : sizeof six;
  listener = ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (::bind(listener, address, size) == 0 && ::listen(listener, 16) == 0 &&
      ::getsockname(listener, address, &size) == 0)
    port = ntohs(v4 ? four.sin_port : six.sin6_port);
}

ScriptPeer::~ScriptPeer() {
  stopping = true;
  if (player.joinable()) player.join();
  if (listener >= 0) ::close(listener);
}

ScriptPeer& ScriptPeer::Add(Step step) {
  steps.push_back(std::move(step));
  return *this;
}

void ScriptPeer::Start() {
  if (Listening()) {
    player = std::thread([this] { Run(); });
    return;
  }
  Fail("the peer could not listen");
  Signal(finished);
}

void ScriptPeer::Signal(bool& flag) {
  std::lock_guard<std::mutex> hold(lock);
  flag = true;
  changed.notify_all();
}

bool ScriptPeer::WaitFor(const bool& flag, int timeoutMillis) {
  std::unique_lock<std::mutex> hold(lock);
  return changed.wait_for(hold, std::chrono::milliseconds(timeoutMillis), [&] { return flag; });
}

std::string ScriptPeer::Received(int index) const {
  std::lock_guard<std::mutex> hold(lock);
  return index >= 0 && static_cast<size_t>(index) < received.size() ? received[index] : "";
}

int ScriptPeer::Connections() const {
  std::lock_guard<std::mutex> hold(lock);
  return static_cast<int>(received.size());
}

std::vector<std::string> ScriptPeer::Failures() const {
  std::lock_guard<std::mutex> hold(lock);
  return failures;
}

std::string ScriptPeer::Printable(std::string_view bytes) {
  std::string text;
  for (const unsigned char c : bytes) {
    char shown[8] = {static_cast<char>(c), '\0'};
    if (c == '\r' || c == '\n')
      std::snprintf(shown, sizeof shown, "\\%c", c == '\r' ? 'r' : 'n');
    else if (c < 32 || c > 126)
      std::snprintf(shown, sizeof shown, "\\x%02X", c);
    text += shown;
  }
  return text;
}

void ScriptPeer::Run() {
  size_t index = 0;
  do {
    int connection = -1;
    if (!Accept(connection)) {
      if (!stopping) Fail("no connection came");
      break;
    }
    index = PlayConnection(connection, index);
  } while (index < steps.size() && !stopping);
  Signal(finished);
}

bool ScriptPeer::Accept(int& connection) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(kAcceptLimitMillis);
  while (Clock::now() < deadline && !stopping) {
    pollfd entry = {listener, POLLIN, 0};
    if (::poll(&entry, 1, kReadSliceMillis) <= 0) continue;
    connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    const int on = 1;
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    std::lock_guard<std::mutex> hold(lock);
    received.emplace_back();
    matched = 0;
    clientClosed = false;
    return true;
  }
  return false;
}

size_t ScriptPeer::PlayConnection(int connection, size_t index) {
  bool open = true;
  bool failed = false;
  while (index < steps.size()) {
    const Step& step = steps[index++];
    if (step.kind == StepKind::Next) break;
    if (!open || failed || stopping) continue;
    switch (step.kind) {
    case StepKind::Expect:
      failed = !PlayExpect(connection, step.bytes);
      break;
    case StepKind::Send:
      for (size_t at = 0; at < step.bytes.size() && !stopping; at += step.pieceSize) {
        if (at > 0) Sleep(step.millis);
        SendAll(connection, std::string_view(step.bytes).substr(at, step.pieceSize));
      }
      break;
    case StepKind::Pause:
      Sleep(step.millis);
      break;
    case StepKind::Close:
      ::shutdown(connection, SHUT_WR);
      break;
    case StepKind::Reset: {
      const struct linger abortive = {1, 0};
      ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
      ::close(connection);
      open = false;
      break;
    }
    case StepKind::StaySilent:
      // As the last step it is the trailing silence below, after the script counts as played.
      if (index < steps.size()) DrainUntilClientCloses(connection);
      break;
    case StepKind::Next:
      break;
    }
  }
  const bool last = index >= steps.size();
  if (last) Signal(finished);
  if (open) {
    if (last) DrainUntilClientCloses(connection);
    ::close(connection);
  }
  return index;
}

bool ScriptPeer::PlayExpect(int connection, std::string_view pattern) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(kExpectLimitMillis);
  while (!stopping) {
    MatchResult result;
    {
      std::lock_guard<std::mutex> hold(lock);
      size_t consumed = 0;
      result = MatchPattern(pattern, std::string_view(received.back()).substr(matched), consumed);
      if (result == MatchResult::Match) matched += consumed;
    }
    if (result == MatchResult::Match) return true;
    const bool over = Clock::now() >= deadline;
    if (result == MatchResult::Mismatch || over || !ReadSome(connection)) {
      std::lock_guard<std::mutex> hold(lock);
      failures.push_back("expected \"" + Printable(pattern) + "\" but got \"" +
                         Printable(received.back().substr(matched)) + "\"" +
                         (result == MatchResult::Mismatch ? ""
                          : over                          ? " (time-out)"
                                                          : " (client closed)"));
      return false;
    }
  }
  return false;
}

void ScriptPeer::DrainUntilClientCloses(int connection) {
  while (!stopping && ReadSome(connection)) {
  }
}

bool ScriptPeer::ReadSome(int connection) {
  pollfd entry = {connection, POLLIN, 0};
  if (::poll(&entry, 1, kReadSliceMillis) <= 0) return true;
  char buffer[65536];
  const long n = ::recv(connection, buffer, sizeof buffer, 0);
  std::lock_guard<std::mutex> hold(lock);
  if (n > 0) received.back().append(buffer, static_cast<size_t>(n));
  if (n > 0 || (n < 0 && (errno == EAGAIN || errno == EINTR))) return true;
  clientClosed = true;
  changed.notify_all();
  return false;
}

void ScriptPeer::SendAll(int connection, std::string_view bytes) {
  while (!bytes.empty() && !stopping) {
    const long n = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Fail("send failed: " + std::string(std::strerror(errno)));
    bytes.remove_prefix(static_cast<size_t>(n));
  }
}

void ScriptPeer::Fail(std::string text) {
  std::lock_guard<std::mutex> hold(lock);
  failures.push_back(std::move(text));
}

} // namespace quillon::test
