// The progress line of --progress: one line on standard error, drawn again in place from each
// Transfer event and ended when the transfer ends.
#pragma once

#include <cstdint>
#include <cstdio>

namespace quillon::cli {

class ProgressLine {
public:
  explicit ProgressLine(FILE* out) : to(out) {}
  // `percent` is -1 when the length is unknown; the line then counts bytes.
  void Update(int direction, int64_t bytes, int percent);
  void End();

private:
  FILE* to;
  bool drawn = false;
};

} // namespace quillon::cli
