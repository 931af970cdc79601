#include "support/CliRunner.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>

namespace quillon::test {

bool HaveCli() {
  return std::getenv("QUILLON_CLI") != nullptr;
}

CliRun RunCli(const std::string& arguments) {
  const char* cli = std::getenv("QUILLON_CLI");
  if (!cli) return {-1, "QUILLON_CLI is not set"};
  return RunShell(std::string(cli) + " " + arguments);
}

CliRun RunShell(const std::string& command) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  std::string out;
  std::array<char, 4096> buffer;
  size_t n;
  while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    out.append(buffer.data(), n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

} // namespace quillon::test
