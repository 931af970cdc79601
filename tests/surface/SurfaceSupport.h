// What the public-object tests share: the sample feed, and a failure shown as one line.
#pragma once

#include <quillon/Quillon.h>

#include <cstdio>
#include <string>

namespace quillon::test {

inline const std::string kProductsFeed =
    std::string(QUILLON_SOURCE_DIR) + "/examples/products-feed.xml";

inline std::string Hex32(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

// "result value helpNumber description" of a member's result and the failure it left, so that
// one comparison shows every part of it.
inline std::string FailureText(int result, const Failure& failure) {
  return std::to_string(result) + " " + Hex32(failure.value) + " " +
         std::to_string(failure.helpNumber) + " " + failure.description;
}

} // namespace quillon::test
