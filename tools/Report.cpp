#include "Report.h"

namespace quillon::cli {

// The component has no documents to show yet beyond what the steps printed.
void PrintTextReport(Quillon&) {}

void WriteJsonReport(Quillon&, JsonWriter&) {}

} // namespace quillon::cli
