// s_server runs as a child with its input on a pipe and its output in a log file; it is ready
// when it prints "ACCEPT".
#include "TlsPeer.h"

#include "support/ScriptPeer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace quillon::test {

const std::string& CertDir() {
  static const std::string dir = [] {
    std::string path = ::testing::TempDir() + "quillon-tls-" + std::to_string(::getpid());
    const std::string command = std::string("sh ") + QUILLON_SOURCE_DIR +
                                "/tests/tls/make-certs.sh " + path + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << "make-certs.sh failed";
    return path;
  }();
  return dir;
}

std::string CertFile(std::string_view name) {
  return CertDir() + "/" + std::string(name);
}

SslServer::SslServer(std::string_view leaf, const std::vector<std::string>& options) {
  const std::string dir = CertDir();
  const int chosen = ScriptPeer::UnusedPort();
  logPath = dir + "/s_server-" + std::to_string(chosen) + ".log";
  std::vector<std::string> args = {"openssl", "s_server",
                                   "-accept", "127.0.0.1:" + std::to_string(chosen),
                                   "-cert",   CertFile(std::string(leaf) + ".pem"),
                                   "-key",    CertFile(std::string(leaf) + ".key")};
  args.insert(args.end(), options.begin(), options.end());
  std::vector<char*> argv;
  for (std::string& arg : args)
    argv.push_back(arg.data());
  argv.push_back(nullptr);
  int pipeEnds[2];
  if (::pipe(pipeEnds) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[0], 0);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
  posix_spawn_file_actions_addopen(&actions, 1, logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  posix_spawn_file_actions_addchdir_np(&actions, dir.c_str());
  const int rc = posix_spawnp(&pid, "openssl", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeEnds[0]);
  input = pipeEnds[1];
  if (rc != 0) {
    pid = -1;
    return;
  }
  if (WaitFor("ACCEPT")) port = chosen;
}

SslServer::~SslServer() {
  if (input >= 0) ::close(input);
  if (pid > 0) {
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
  }
}

void SslServer::Type(std::string_view line) {
  if (input >= 0) [[maybe_unused]]
    auto n = ::write(input, line.data(), line.size());
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
  std::ifstream file(logPath);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

} // namespace quillon::test
