// Runs the command-line program named by $QUILLON_CLI (CTest sets it) as a user would, and gives
// back its exit status and everything it printed.
#pragma once

#include <string>

namespace quillon::test {

struct CliRun {
  int status;      // the exit status; -1 when the program did not run or did not exit
  std::string out; // standard output and standard error, interleaved
};

CliRun RunCli(const std::string& arguments);
// Whether the program under test is known; tests skip without it.
bool HaveCli();

} // namespace quillon::test
