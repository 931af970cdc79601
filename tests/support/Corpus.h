// Paths of the real OData documents beside the project, a skip when they are absent, and the
// reading of a file whole.
#pragma once

#include <string>

namespace quillon::test {

// The folder of real documents: $QUILLON_CORPUS if set, else the one named at configure time.
std::string CorpusDir();
// The full path of `name` in the corpus, or empty when the corpus is absent.
std::string CorpusFile(const std::string& name);
// The bytes of a file, empty when it cannot be read.
std::string FileText(const std::string& path);
// True when the tests run in CI (CI=true), where a missing document fails instead of skipping.
bool InCi();

} // namespace quillon::test

// Ends the current test when `ready` is false: a failure in CI (CI=true), where everything a test
// needs must be there, and a skip with the message `why` elsewhere.
#define QUILLON_REQUIRE(ready, why)                                                                \
  do {                                                                                             \
    if (!(ready)) {                                                                                \
      if (::quillon::test::InCi()) FAIL() << why;                                                  \
      GTEST_SKIP() << why;                                                                         \
    }                                                                                              \
  } while (0)

// Ends the current test when the folder of real documents is missing.
#define QUILLON_REQUIRE_CORPUS()                                                                   \
  QUILLON_REQUIRE(!::quillon::test::CorpusDir().empty(),                                           \
                  "real OData documents not found (set QUILLON_CORPUS to their folder)")
