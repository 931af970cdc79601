// The schema of an EDMX document.
#include "Report.h"

namespace quillon::cli {

void PrintSchemaText(Quillon&) {}

void WriteSchemaJson(Quillon&, JsonWriter&) {}

} // namespace quillon::cli
