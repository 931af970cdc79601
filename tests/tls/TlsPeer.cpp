// Each server lives in a folder of its own beside the kit's peers, so the launcher finds the
// kit's certificates; its input is the launcher's fifo, kept open for the server's lifetime.
#include "TlsPeer.h"

#include "support/Corpus.h"
#include "support/Peers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace quillon::test {

static std::string Quoted(const std::string& text) {
  return "'" + text + "'";
}

std::string CertFile(std::string_view key) {
  return PeerValue("certs", key);
}

const std::string& WorkDir() {
  // Never destroyed: the exit handler that removes the folder runs after static destructors.
  static const std::string* dir = [] {
    const char* peers = std::getenv("QUILLON_PEERS");
    auto* path = new std::string(std::string(peers ? peers : ::testing::TempDir().c_str()) +
                                 "/tls-" + std::to_string(::getpid()));
    std::system(("mkdir -p " + Quoted(*path)).c_str());
    std::atexit([] { std::system(("rm -rf " + Quoted(WorkDir())).c_str()); });
    return path;
  }();
  return *dir;
}

SslServer::SslServer(std::string_view certKey, const std::vector<std::string>& options) {
  static int serial = 0;
  dir = WorkDir() + "/s_server-" + std::to_string(++serial);
  std::string command = "mkdir -p " + Quoted(dir) + " && cd " + Quoted(dir) + " && " +
                        QUILLON_SOURCE_DIR + "/tests/peers/sslserver.sh start " + Quoted(dir) +
                        " -cert " + Quoted(CertFile(certKey)) + " -key " +
                        Quoted(CertFile("SERVER_KEY"));
  for (const std::string& option : options)
    command += " " + Quoted(option);
  if (std::system((command + " >/dev/null").c_str()) != 0) {
    ADD_FAILURE() << "s_server did not start: " << command;
    return;
  }
  std::ifstream env(dir + "/peer.env");
  std::string line, fifo;
  while (std::getline(env, line)) {
    if (line.rfind("PORT=", 0) == 0) port = std::atoi(line.c_str() + 5);
    if (line.rfind("LOG=", 0) == 0) logPath = line.substr(4);
    if (line.rfind("STDIN=", 0) == 0) fifo = line.substr(6);
  }
  input = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
}

SslServer::~SslServer() {
  if (input >= 0) ::close(input);
  if (!dir.empty())
    std::system((QUILLON_SOURCE_DIR + std::string("/tests/peers/sslserver.sh stop ") + Quoted(dir) +
                 " >/dev/null 2>&1 && rm -rf " + Quoted(dir))
                    .c_str());
}

void SslServer::Type(std::string_view line) {
  const auto n = input >= 0 ? ::write(input, line.data(), line.size()) : -2;
  if (n != static_cast<long>(line.size()))
    ADD_FAILURE() << "typing failed: " << n << " fd " << input;
}

bool SslServer::WaitFor(std::string_view text) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    if (Log().find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

std::string SslServer::Log() const {
  return FileText(logPath);
}

} // namespace quillon::test
