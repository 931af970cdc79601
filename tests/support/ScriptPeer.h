// A scripted peer on the loopback interface for protocol tests. It listens on 127.0.0.1 or ::1
// on a port that the kernel chooses and, on a thread of the test program, plays its steps against
// the connections that arrive, recording every byte that the client sends.
//
//   ScriptPeer peer;
//   peer.Expect("GET / HTTP/1.1\r\n{*}\r\n\r\n").SendPieces("HTTP/1.1 200 OK\r\n...", 7).Close();
//   peer.Start();
//   ... connect the engine to peer.Host(), peer.Port() and drive it ...
//   EXPECT_TRUE(peer.Finished());
//   EXPECT_THAT(peer.Failures(), IsEmpty());
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quillon::test {

class ScriptPeer {
public:
  enum class Family { IPv4, IPv6 };

  // Listens at once, so that Port() is known before Start.
  explicit ScriptPeer(Family family = Family::IPv4);
  // Stops playing, closes everything and joins the thread.
  ~ScriptPeer();
  ScriptPeer(const ScriptPeer&) = delete;
  ScriptPeer& operator=(const ScriptPeer&) = delete;

  // Steps, played in this order. The first ones apply to the first connection.
  // Reads until what arrived matches `pattern`; "{*}" in it matches any run of bytes (nonces,
  // dates, lengths). A mismatch, or no match within five seconds, is a failure, and the steps of
  // this connection stop there.
  ScriptPeer& Expect(std::string_view pattern) {
    return Add({StepKind::Expect, std::string(pattern)});
  }
  ScriptPeer& Send(std::string_view bytes) { return SendPieces(bytes, bytes.size(), 0); }
  // Sends in pieces of `pieceSize` bytes with a pause between them, so that each piece reaches
  // the client as a read of its own.
  ScriptPeer& SendPieces(std::string_view bytes, size_t pieceSize, int pauseMillis = 20) {
    return Add({StepKind::Send, std::string(bytes), std::max<size_t>(pieceSize, 1), pauseMillis});
  }
  ScriptPeer& Pause(int milliseconds) { return Add({StepKind::Pause, {}, 0, milliseconds}); }
  // Orderly close: the client reads the end of the stream. The peer still records what the
  // client sends until it closes.
  ScriptPeer& Close() { return Add({StepKind::Close}); }
  // Abortive close (SO_LINGER 0): the client sees a reset.
  ScriptPeer& Reset() { return Add({StepKind::Reset}); }
  // Holds the connection without a word until the client closes it or the peer is destroyed.
  // This is also what happens after the last step of a connection that was not closed.
  ScriptPeer& StaySilent() { return Add({StepKind::StaySilent}); }
  // Closes the current connection if it is still open, and plays what follows against the next.
  ScriptPeer& NextConnection() { return Add({StepKind::Next}); }

  void Start();
  // Waits up to `timeoutMillis` for every step to have been played; false on time-out.
  bool Finished(int timeoutMillis = 5000) { return WaitFor(finished, timeoutMillis); }
  // Waits up to `timeoutMillis` until the client has closed the latest connection.
  bool ClientClosed(int timeoutMillis = 5000) { return WaitFor(clientClosed, timeoutMillis); }

  // False when the peer could not listen (no IPv6 loopback, for one); tests then skip.
  bool Listening() const { return port != 0; }
  const char* Host() const { return family == Family::IPv4 ? "127.0.0.1" : "::1"; }
  int Port() const { return port; }
  // The bytes that the client sent on connection `index` (0 is the first).
  std::string Received(int index = 0) const;
  int Connections() const;
  // One line per failed step; empty when the script went as written.
  std::vector<std::string> Failures() const;

  // A loopback port on which nobody listens.
  static int UnusedPort() { return ScriptPeer().Port(); }
  // Bytes with controls shown as \r, \n or \xNN, for failure messages.
  static std::string Printable(std::string_view bytes);

private:
  enum class StepKind { Expect, Send, Pause, Close, Reset, StaySilent, Next };
  struct Step {
    StepKind kind;
    std::string bytes = {};
    size_t pieceSize = 0;
    int millis = 0;
  };

  ScriptPeer& Add(Step step);
  bool WaitFor(const bool& flag, int timeoutMillis);
  // Sets `flag` and wakes the waits.
  void Signal(bool& flag);
  void Run();
  bool Accept(int& connection);
  // Plays steps from `index` on against `connection` until a Next step or the end; returns the
  // index of the step after it.
  size_t PlayConnection(int connection, size_t index);
  bool PlayExpect(int connection, std::string_view pattern);
  // Reads what the client sends until it closes or the peer stops.
  void DrainUntilClientCloses(int connection);
  // One read of up to 20 ms; false when the client closed or reset.
  bool ReadSome(int connection);
  void SendAll(int connection, std::string_view bytes);
  void Fail(std::string text);

  Family family;
  int listener = -1;
  int port = 0;
  std::vector<Step> steps;
  std::thread player;
  std::atomic<bool> stopping{false};

  mutable std::mutex lock;
  std::condition_variable changed;
  std::vector<std::string> received; // per connection; guarded by lock
  size_t matched = 0;                // bytes of the latest connection matched by an Expect
  std::vector<std::string> failures; // guarded by lock
  bool finished = false;             // guarded by lock
  bool clientClosed = false;         // of the latest connection; guarded by lock
};

} // namespace quillon::test
