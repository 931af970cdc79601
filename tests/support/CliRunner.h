// Runs the command-line program named by $QUILLON_CLI (CTest sets it) as a user would, and gives
// back its exit status and everything it printed.
#pragma once

#include "support/Corpus.h"

#include <string>

namespace quillon::test {

struct CliRun {
  int status;      // the exit status; -1 when the program did not run or did not exit
  std::string out; // standard output and standard error, interleaved
};

CliRun RunCli(const std::string& arguments);
// Runs a shell command line the same way.
CliRun RunShell(const std::string& command);
// Whether the program under test is known; tests skip without it.
bool HaveCli();

} // namespace quillon::test

// Ends the current test when QUILLON_CLI is not set (CTest always sets it).
#define QUILLON_REQUIRE_CLI()                                                                      \
  QUILLON_REQUIRE(::quillon::test::HaveCli(),                                                      \
                  "QUILLON_CLI names the program under test; CTest sets it")
