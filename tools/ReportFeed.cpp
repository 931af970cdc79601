// The channel and the entries of a feed or entry document.
#include "Report.h"

namespace quillon::cli {

void PrintFeedText(Quillon&) {}

void WriteFeedJson(Quillon&, JsonWriter&) {}

} // namespace quillon::cli
