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
  size_t position = 0;
  bool first = true;
  for (;;) {
    const size_t wildcard = pattern.find(kWildcard);
    const std::string_view literal = pattern.substr(0, wildcard);
    if (first) {
      if (data.size() < literal.size())
        return literal.starts_with(data) ? MatchResult::NeedMore : MatchResult::Mismatch;
      if (!data.starts_with(literal)) return MatchResult::Mismatch;
      position = literal.size();
    } else if (!literal.empty()) {
      const size_t found = data.find(literal, position);
      if (found == std::string_view::npos) return MatchResult::NeedMore;
      position = found + literal.size();
    }
    if (wildcard == std::string_view::npos) break;
    pattern.remove_prefix(wildcard + kWildcard.size());
    first = false;
  }
  consumed = position;
  return MatchResult::Match;
}

sockaddr_storage LoopbackAddress(ScriptPeer::Family family, int port, socklen_t& size) {
  sockaddr_storage storage;
  std::memset(&storage, 0, sizeof storage);
  if (family == ScriptPeer::Family::IPv4) {
    auto* sa = reinterpret_cast<sockaddr_in*>(&storage);
    sa->sin_family = AF_INET;
    sa->sin_port = htons(static_cast<uint16_t>(port));
    sa->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    size = sizeof *sa;
  } else {
    auto* sa = reinterpret_cast<sockaddr_in6*>(&storage);
    sa->sin6_family = AF_INET6;
    sa->sin6_port = htons(static_cast<uint16_t>(port));
    sa->sin6_addr = in6addr_loopback;
    size = sizeof *sa;
  }
  return storage;
}

// The port that `s` is bound to, or 0.
int BoundPort(int s) {
  sockaddr_storage storage;
  socklen_t size = sizeof storage;
  if (::getsockname(s, reinterpret_cast<sockaddr*>(&storage), &size) != 0) return 0;
  if (storage.ss_family == AF_INET)
    return ntohs(reinterpret_cast<sockaddr_in*>(&storage)->sin_port);
  return ntohs(reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port);
}
} // namespace

ScriptPeer::ScriptPeer(Family kind) : family(kind) {
  listener = ::socket(family == Family::IPv4 ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0) return;
  const int on = 1;
  ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  socklen_t size;
  const sockaddr_storage address = LoopbackAddress(family, 0, size);
  if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      ::listen(listener, 16) != 0) {
    ::close(listener);
    listener = -1;
    return;
  }
  port = BoundPort(listener);
}

ScriptPeer::~ScriptPeer() {
  stopping = true;
  if (player.joinable()) player.join();
  if (listener >= 0) ::close(listener);
}

ScriptPeer& ScriptPeer::Expect(std::string_view pattern) {
  steps.push_back({StepKind::Expect, std::string(pattern)});
  return *this;
}

ScriptPeer& ScriptPeer::Send(std::string_view bytes) {
  steps.push_back({StepKind::Send, std::string(bytes)});
  return *this;
}

ScriptPeer& ScriptPeer::SendPieces(std::string_view bytes, size_t pieceSize, int pauseMillis) {
  steps.push_back(
      {StepKind::SendPieces, std::string(bytes), pieceSize ? pieceSize : 1, pauseMillis});
  return *this;
}

ScriptPeer& ScriptPeer::Pause(int milliseconds) {
  steps.push_back({StepKind::Pause, {}, 0, milliseconds});
  return *this;
}

ScriptPeer& ScriptPeer::Close() {
  steps.push_back({StepKind::Close});
  return *this;
}

ScriptPeer& ScriptPeer::Reset() {
  steps.push_back({StepKind::Reset});
  return *this;
}

ScriptPeer& ScriptPeer::StaySilent() {
  steps.push_back({StepKind::StaySilent});
  return *this;
}

ScriptPeer& ScriptPeer::NextConnection() {
  steps.push_back({StepKind::Next});
  return *this;
}

void ScriptPeer::Start() {
  if (listener < 0) {
    Fail("the peer could not listen");
    std::lock_guard<std::mutex> hold(lock);
    finished = true;
    return;
  }
  player = std::thread([this] { Run(); });
}

bool ScriptPeer::Finished(int timeoutMillis) {
  std::unique_lock<std::mutex> hold(lock);
  return changed.wait_for(hold, std::chrono::milliseconds(timeoutMillis),
                          [this] { return finished; });
}

bool ScriptPeer::ClientClosed(int timeoutMillis) {
  std::unique_lock<std::mutex> hold(lock);
  return changed.wait_for(hold, std::chrono::milliseconds(timeoutMillis),
                          [this] { return clientClosed; });
}

bool ScriptPeer::ClientReset() const {
  std::lock_guard<std::mutex> hold(lock);
  return clientReset;
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

int ScriptPeer::UnusedPort() {
  const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  socklen_t size;
  const sockaddr_storage address = LoopbackAddress(Family::IPv4, 0, size);
  int found = 0;
  if (s >= 0 && ::bind(s, reinterpret_cast<const sockaddr*>(&address), size) == 0)
    found = BoundPort(s);
  if (s >= 0) ::close(s);
  return found;
}

std::string ScriptPeer::Printable(std::string_view bytes) {
  std::string text;
  for (const unsigned char c : bytes) {
    if (c == '\r') {
      text += "\\r";
    } else if (c == '\n') {
      text += "\\n";
    } else if (c < 32 || c > 126) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      text += hex;
    } else {
      text += static_cast<char>(c);
    }
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
  std::lock_guard<std::mutex> hold(lock);
  finished = true;
  changed.notify_all();
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
    pending.clear();
    clientClosed = false;
    clientReset = false;
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
      SendAll(connection, step.bytes);
      break;
    case StepKind::SendPieces:
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
  if (last) {
    std::lock_guard<std::mutex> hold(lock);
    finished = true;
    changed.notify_all();
  }
  if (open) {
    if (last) DrainUntilClientCloses(connection);
    ::close(connection);
  }
  return index;
}

bool ScriptPeer::PlayExpect(int connection, const std::string& pattern) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(kExpectLimitMillis);
  while (!stopping) {
    size_t consumed = 0;
    MatchResult result;
    {
      std::lock_guard<std::mutex> hold(lock);
      result = MatchPattern(pattern, pending, consumed);
      if (result == MatchResult::Match) pending.erase(0, consumed);
    }
    if (result == MatchResult::Match) return true;
    const bool over = Clock::now() >= deadline;
    if (result == MatchResult::Mismatch || over || ReadSome(connection, kReadSliceMillis) < 0) {
      std::string arrived;
      {
        std::lock_guard<std::mutex> hold(lock);
        arrived = pending;
      }
      Fail("expected \"" + Printable(pattern) + "\" but got \"" + Printable(arrived) + "\"" +
           (result == MatchResult::Mismatch ? ""
            : over                          ? " (time-out)"
                                            : " (client closed)"));
      return false;
    }
  }
  return false;
}

void ScriptPeer::DrainUntilClientCloses(int connection) {
  while (!stopping && ReadSome(connection, kReadSliceMillis) >= 0) {
  }
}

long ScriptPeer::ReadSome(int connection, int waitMillis) {
  pollfd entry = {connection, POLLIN, 0};
  if (::poll(&entry, 1, waitMillis) <= 0) return 0;
  char buffer[65536];
  const long n = ::recv(connection, buffer, sizeof buffer, 0);
  std::lock_guard<std::mutex> hold(lock);
  if (n > 0) {
    received.back().append(buffer, static_cast<size_t>(n));
    pending.append(buffer, static_cast<size_t>(n));
    return n;
  }
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
  // Only the first sign of the end counts: after a reset, reads see a plain end of stream.
  if (clientClosed) return -1;
  clientClosed = true;
  clientReset = n < 0;
  changed.notify_all();
  return -1;
}

void ScriptPeer::SendAll(int connection, std::string_view bytes) {
  while (!bytes.empty() && !stopping) {
    const long n = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      Fail("send failed: " + std::string(std::strerror(errno)));
      return;
    }
    bytes.remove_prefix(static_cast<size_t>(n));
  }
}

void ScriptPeer::Fail(std::string text) {
  std::lock_guard<std::mutex> hold(lock);
  failures.push_back(std::move(text));
}

void ScriptPeer::Sleep(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace quillon::test
