// The TLS tests' peers: certificates made once per test program by make-certs.sh, and an
// `openssl s_server` on 127.0.0.1 whose input the test can type into (renegotiation, data).
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace quillon::test {

// The folder of the certificates; made at the first call.
const std::string& CertDir();
// A file of that folder.
std::string CertFile(std::string_view name);

class SslServer {
public:
  // Serves the certificate `leaf` (.pem and .key of CertDir) with further s_server options;
  // files are served from CertDir under -WWW.
  SslServer(std::string_view leaf, const std::vector<std::string>& options);
  ~SslServer();
  SslServer(const SslServer&) = delete;
  SslServer& operator=(const SslServer&) = delete;

  bool Ready() const { return port != 0; }
  int Port() const { return port; }
  // Types a line into the server's input.
  void Type(std::string_view line);
  // Waits until the server's output holds `text`; false after five seconds.
  bool WaitFor(std::string_view text) const;
  std::string Log() const;

private:
  pid_t pid = -1;
  int input = -1;
  int port = 0;
  std::string logPath;
};

} // namespace quillon::test
