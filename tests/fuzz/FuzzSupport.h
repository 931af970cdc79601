// What the fuzz targets share: the entry point over the input as text, a check that aborts (which
// libFuzzer reports as a crash, with the input), and the lines of an input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace quillon::fuzz {

inline void Check(bool condition) {
  if (!condition) std::abort();
}

// Calls `line` for each line of `input`, without its '\n'.
template <class Line> void ForEachLine(std::string_view input, Line line) {
  while (!input.empty()) {
    const size_t end = input.find('\n');
    line(input.substr(0, end));
    input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
  }
}

} // namespace quillon::fuzz

// The libFuzzer entry point. The body that follows reads the input as `std::string_view input`
// and is a function of quillon::fuzz, so names of quillon and Check need no qualifier.
#define QUILLON_FUZZ_TARGET(input)                                                                 \
  namespace quillon::fuzz {                                                                        \
  void FuzzOne(std::string_view input);                                                            \
  }                                                                                                \
  extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {                        \
    quillon::fuzz::FuzzOne(std::string_view(reinterpret_cast<const char*>(data), size));           \
    return 0;                                                                                      \
  }                                                                                                \
  void quillon::fuzz::FuzzOne(std::string_view input)
