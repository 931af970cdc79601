// A blocking HTTP/1.1 client connection to 127.0.0.1 for benchmarks that play the legs of an
// exchange themselves: one GET at a time, each answer read to the end of its body.
#pragma once

#include "platform/Socket.h"

#include <string>

namespace quillon::bench {

class LoopbackHttp {
public:
  explicit LoopbackHttp(int port) : s(platform::SocketOpen(false)) {
    platform::SocketConnect(s, platform::ParseIPv4("127.0.0.1"), port);
    platform::SocketReadiness ready;
    platform::SocketPoll(s, true, 5000, ready);
  }
  ~LoopbackHttp() { platform::SocketClose(s); }
  // The status, with the value of `wanted` from the answer's headers in `header`. `path` may be
  // an absolute URL, for a proxy; `field` names the header that carries `authorization`.
  int Get(const std::string& path, const std::string& authorization, std::string& header,
          const char* wanted = "WWW-Authenticate: ", const char* field = "Authorization") {
    std::string request = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n";
    if (!authorization.empty()) request += std::string(field) + ": " + authorization + "\r\n";
    request += "\r\n";
    platform::SocketSend(s, request.data(), static_cast<long>(request.size()));
    std::string answer;
    size_t headEnd = std::string::npos;
    size_t total = std::string::npos;
    while (total == std::string::npos || answer.size() < total) {
      platform::SocketReadiness ready;
      if (platform::SocketPoll(s, false, 5000, ready) != 1) return -1;
      char buffer[4096];
      const long got = platform::SocketRecv(s, buffer, sizeof buffer);
      if (got <= 0) return -1;
      answer.append(buffer, static_cast<size_t>(got));
      if (headEnd == std::string::npos &&
          (headEnd = answer.find("\r\n\r\n")) != std::string::npos) {
        const size_t length = answer.find("Content-Length: ");
        total = headEnd + 4 + (length < headEnd ? std::stoul(answer.substr(length + 16)) : 0);
      }
    }
    header.clear();
    const size_t at = answer.find(wanted);
    if (at != std::string::npos && at < headEnd) {
      const size_t from = at + std::string(wanted).size();
      header = answer.substr(from, answer.find("\r\n", from) - from);
    }
    return std::stoi(answer.substr(9, 3));
  }

private:
  platform::SocketId s;
};

} // namespace quillon::bench
