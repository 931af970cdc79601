// What the command-line program shows of the component's state after its steps: in text for a
// person, or as members of the JSON document.
#pragma once

#include "JsonWriter.h"

#include <quillon/Quillon.h>

namespace quillon::cli {

void PrintTextReport(Quillon& component);
void WriteJsonReport(Quillon& component, JsonWriter& json);

} // namespace quillon::cli
