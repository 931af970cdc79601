// The command-line tests' check of one call of the program.
#pragma once

#include "support/CliRunner.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace quillon::test {

// A call of the program: its exit status, the pieces its output must hold, and how often some
// pieces come.
struct CliCall {
  std::string arguments;
  int status;
  std::vector<const char*> parts;
  std::vector<std::pair<const char*, size_t>> counts = {};
};

inline void Check(const CliCall& row) {
  const CliRun run = RunCli(row.arguments);
  EXPECT_EQ(run.status, row.status) << row.arguments << "\n" << run.out;
  for (const char* part : row.parts)
    EXPECT_NE(run.out.find(part), std::string::npos) << row.arguments << ": " << part << "\n"
                                                     << run.out;
  for (const auto& [part, count] : row.counts) {
    size_t found = 0;
    for (size_t at = run.out.find(part); at != std::string::npos; at = run.out.find(part, at + 1))
      ++found;
    EXPECT_EQ(found, count) << row.arguments << ": " << part;
  }
}

} // namespace quillon::test
