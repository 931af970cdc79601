// Runs the command-line program as a user would and checks its output and exit status.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace {

struct CliRun {
  int status;
  std::string out;
};

CliRun RunCli(const std::string& arguments) {
  const char* cli = std::getenv("QUILLON_CLI");
  if (!cli) return {-1, "QUILLON_CLI is not set"};
  const std::string command = std::string(cli) + " " + arguments + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  std::string out;
  std::array<char, 4096> buffer;
  size_t n;
  while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
    out.append(buffer.data(), n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

class Cli : public ::testing::Test {
protected:
  void SetUp() override {
    if (!std::getenv("QUILLON_CLI"))
      GTEST_SKIP() << "QUILLON_CLI names the program under test; CTest sets it";
  }
};

TEST_F(Cli, ConfigValuesAndProperties) {
  CliRun run = RunCli("-c CodePage=1252 -c CodePage -p ResourcePath=Products -g ResourcePath");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(run.out, "1252\nProducts\n");
}

TEST_F(Cli, JsonCarriesResultAndError) {
  CliRun run = RunCli("--json -c Bogus");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("\"result\": -1"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\"lastError\": \"Unknown config setting.\""), std::string::npos);
  EXPECT_NE(run.out.find("\"events\": []"), std::string::npos);
}

TEST_F(Cli, FailuresPrintCodeAndTextAndExitNonZero) {
  CliRun run = RunCli("QueryService");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("error 901: The ServiceRootURI must be set before do action."),
            std::string::npos)
      << run.out;
  run = RunCli("-p Idle=1");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("error 383: Property is read-only."), std::string::npos) << run.out;
  run = RunCli("NoSuchMethod");
  EXPECT_EQ(run.status, 2);
  run = RunCli("CustomRequest GET");
  EXPECT_EQ(run.status, 2);
}

} // namespace
