// The TLS tests' servers: `openssl s_server` instances of their own, started by the peer kit's
// launcher with the options a test needs, on the kit's certificates; a test types into a
// server's input (renegotiation, data) and reads its log.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillon::test {

// A file of the kit's certificates by its peer.env key (SERVER_CERT, EXPIRED_CERT, ...).
std::string CertFile(std::string_view key);
// A folder of this test program for files it makes.
const std::string& WorkDir();

class SslServer {
public:
  // Serves the certificate of `certKey` with the kit's server key and the further options;
  // -WWW serves files from Folder().
  SslServer(std::string_view certKey, const std::vector<std::string>& options);
  ~SslServer();
  SslServer(const SslServer&) = delete;
  SslServer& operator=(const SslServer&) = delete;

  bool Ready() const { return port != 0; }
  int Port() const { return port; }
  const std::string& Folder() const { return dir; }
  // Types a line into the server's input.
  void Type(std::string_view line);
  // Waits until the server's log holds `text`; false after five seconds.
  bool WaitFor(std::string_view text) const;
  std::string Log() const;

private:
  std::string dir;
  std::string logPath;
  int input = -1;
  int port = 0;
};

} // namespace quillon::test
