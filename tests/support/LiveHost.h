// A public Quillon object for tests against the live peers of tests/peers/: its settings from one
// list, its events recorded, and the lines that a peer's log shows of what arrived.
#pragma once

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillon::test {

// "{peer.KEY}" in `text` becomes that peer's value.
std::string Expand(std::string text);

// The lines of `peer`'s ACCESS_LOG that hold every one of `parts`, once `count` have come: a peer
// writes its log after the answer, so the log may lag behind it.
std::vector<std::string> LoggedLines(const std::string& peer, const std::vector<std::string>& parts,
                                     size_t count);

// The value of ` name=value` in a log line, "" when the line has none.
std::string LogField(const std::string& line, const std::string& name);

struct LiveEvents : QuillonEvents {
  void Connected(int, const std::string&) override { ++connections; }
  void Error(int code, const std::string& text) override {
    errors += std::to_string(code) + " " + text + ";";
  }
  void Header(const std::string& field, const std::string& value) override {
    headers += field + ": " + value + "\n";
  }
  void SSLServerAuthentication(const std::string& cert, const std::string&, const std::string&,
                               const std::string& status, bool& accept) override {
    judged.push_back(status + (accept ? " (accept)" : " (refuse)"));
    certificate = cert;
    if (flip) accept = !accept;
  }
  int connections = 0;
  bool flip = false; // turn round every verdict on the server's certificate
  std::string headers, certificate, errors;
  std::vector<std::string> judged;
};

class LiveHost {
public:
  LiveHost() {
    q.SetEventHandler(&events);
    q.SetTimeout(20);
  }
  // Sets "Name=value;Name=value..." after expanding it: a property by its name, any other
  // name, or every one when `config` is set, through Config.
  ::testing::AssertionResult Set(const std::string& settings, bool config = false);
  int Query(const std::string& root, const std::string& path) {
    q.SetServiceRootURI(root);
    q.SetResourcePath(path);
    return q.QueryService();
  }
  Quillon q;
  LiveEvents events;
};

} // namespace quillon::test
