// Paths of the real OData documents beside the project, and a skip when they are absent.
#pragma once

#include <string>

namespace quillon::test {

// The folder of real documents: $QUILLON_CORPUS if set, else the one named at configure time.
std::string CorpusDir();
// The full path of `name` in the corpus, or empty when the corpus is absent.
std::string CorpusFile(const std::string& name);

} // namespace quillon::test

// Skips the current test with a clear message when the corpus folder is missing.
#define QUILLON_REQUIRE_CORPUS()                                                                   \
  do {                                                                                             \
    if (::quillon::test::CorpusDir().empty())                                                      \
      GTEST_SKIP() << "real OData documents not found (set QUILLON_CORPUS to their folder)";       \
  } while (0)
