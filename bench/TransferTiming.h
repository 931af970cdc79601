// Steps shared by the benchmarks that time transfers against curl: seconds since a start, the
// median of a few runs, the time of a shell command, and the patterned file they download.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace quillon::bench {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// The seconds `command` took, or -1 when it failed.
inline double TimeCommand(const std::string& command) {
  const auto start = Clock::now();
  return std::system(command.c_str()) == 0 ? Seconds(start) : -1;
}

// `mebibytes` MiB of a byte pattern that no compression shrinks much.
inline void WritePatternFile(const std::string& path, long mebibytes) {
  std::ofstream out(path, std::ios::binary);
  std::string block(1 << 20, '\0');
  for (long i = 0; i < mebibytes; ++i) {
    for (size_t j = 0; j < block.size(); ++j)
      block[j] = static_cast<char>((i * 131 + j * 7) & 0xFF);
    out.write(block.data(), static_cast<std::streamsize>(block.size()));
  }
}

} // namespace quillon::bench
