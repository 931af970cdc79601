#include "ProgressLine.h"

namespace quillon::cli {

void ProgressLine::Update(int direction, int64_t bytes, int percent) {
  const char* verb = direction == 0 ? "sent" : "received";
  if (percent >= 0)
    std::fprintf(to, "\r%-8s %3d%% (%lld bytes)   ", verb, percent, static_cast<long long>(bytes));
  else
    std::fprintf(to, "\r%-8s %lld bytes   ", verb, static_cast<long long>(bytes));
  std::fflush(to);
  drawn = true;
}

void ProgressLine::End() {
  if (!drawn) return;
  std::fputc('\n', to);
  drawn = false;
}

} // namespace quillon::cli
