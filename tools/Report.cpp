#include "Report.h"

namespace quillon::cli {

void PrintTextReport(Quillon& component) {
  const std::string kind = component.RootKind();
  if (kind == "feed" || kind == "entry" || kind == "error" || kind == "service")
    PrintFeedText(component);
  else if (kind == "edmx")
    PrintSchemaText(component);
}

void WriteJsonReport(Quillon& component, JsonWriter& json) {
  json.Field("rootKind", component.RootKind());
  WriteFeedJson(component, json);
  WriteSchemaJson(component, json);
}

} // namespace quillon::cli
