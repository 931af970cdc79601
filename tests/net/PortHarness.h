// A transfer port for tests: every event and every delivery of data lands in one log, in order,
// and a test may act from inside the data event.
#pragma once

#include "net/TransferPort.h"
#include "support/QuietSink.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quillon::test {

class RecordingSink final : public QuietSink {
public:
  explicit RecordingSink(std::vector<std::string>& target) : log(target) {}
  void Connected(int16_t* code, const char* text) override { Note("Connected", *code, text); }
  void Disconnected(int16_t* code, const char* text) override { Note("Disconnected", *code, text); }
  void Error(int16_t* code, const char* text) override { Note("Error", *code, text); }

private:
  void Note(const char* name, int code, const char* text) {
    log.push_back(std::string(name) + "(" + std::to_string(code) + ", " + text + ")");
  }
  std::vector<std::string>& log;
};

class TestPort : public TransferPort {
public:
  // Timeouts count milliseconds; the five seconds here only keep a broken test from hanging.
  explicit TestPort(bool windowMessages) {
    SetEventSink(&sink);
    useWindowsMessages = windowMessages;
    timeoutInMilliseconds = 1;
    SetTimeout(5000, true);
  }

  // Data arrives here as "Data(bytes, 1)" (a record) or "Data(bytes, 0)" (a piece).
  int OnDataEvent(char* bytes, int length, bool endOfRecord) override {
    const std::string_view text(bytes, static_cast<size_t>(length));
    log.push_back("Data(" + std::string(text) + ", " + (endOfRecord ? "1" : "0") + ")");
    received.append(text);
    if (onData) onData(text, endOfRecord);
    return defaultSink ? TransferPort::OnDataEvent(bytes, length, endOfRecord) : 0;
  }

  int OnSendProgress(int64_t) override {
    ++progressCalls;
    return 0;
  }

  int Connect(const char* host, int port) {
    if (const int rc = SetRemoteHost(host); rc != 0) return rc;
    SetRemotePort(port);
    return ConnectAndWait();
  }

  // Runs wait steps until `done` holds: 0, or 301 when a step ended the wait.
  int WaitUntil(const std::function<bool()>& done) {
    ArmDeadline();
    while (!done())
      if (!WaitStep(static_cast<uint32_t>(selectWaitMillis), windowHandle)) return 301;
    return 0;
  }

  // Waits until the socket is gone: the peer's close was seen and reported.
  int WaitUntilClosed() {
    return WaitUntil([this] { return socketHandle == platform::kInvalidSocket; });
  }

  std::vector<std::string> log;
  std::string received;
  std::function<void(std::string_view, bool)> onData;
  bool defaultSink = false; // pass data on to TransferPort's own sink as well
  int progressCalls = 0;

private:
  RecordingSink sink{log};
};

} // namespace quillon::test
