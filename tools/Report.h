// What the command-line program shows of the component's state after its steps: in text for a
// person, or as members of the JSON document ("rootKind", "channel", "entries", "schema").
#pragma once

#include "JsonWriter.h"

#include <quillon/Quillon.h>

namespace quillon::cli {

void PrintTextReport(Quillon& component);
void WriteJsonReport(Quillon& component, JsonWriter& json);

// The parts, each in its own file.
// Channel and entries, a service error or a service document (ReportFeed.cpp).
void PrintFeedText(Quillon& component);
void WriteFeedJson(Quillon& component, JsonWriter& json);
void PrintSchemaText(Quillon& component);                   // entity sets, properties, associations
void WriteSchemaJson(Quillon& component, JsonWriter& json); // (ReportSchema.cpp)

} // namespace quillon::cli
