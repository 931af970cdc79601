// Arbitrary bytes read as a GetSchema response: parsed with the dispatcher's settings, read by
// ReadSchema, then walked as a host walks a schema: every entity set selected by index and by
// name, every property and navigation property made current, every Schema property read, and
// every complex type selected. Nothing may crash, hang or read outside a record.
#include "FuzzSupport.h"
#include "odata/QuillonCore.h"
#include "surface/ControlSurface.h"

namespace quillon::fuzz {
namespace {
void ReadEverySchemaProperty(QuillonCore& core) {
  for (const PropertyRow& row : PropertyRows()) {
    if (row.id < 83 || row.id > 124) continue;
    PropertyValue value;
    for (int index = -1; index <= (row.indexName ? 2 : -1); ++index)
      row.get(core, index, value);
  }
}

} // namespace
} // namespace quillon::fuzz

QUILLON_FUZZ_TARGET(document) {
  QuillonCore core;
  core.parser.PrepareForDocument();
  core.parser.ConfigText("KeepOriginalText=TRUE", nullptr);
  if (core.parser.Parse(document) != 0 || core.parser.SetXPath("/") != 0) return;
  core.ClearSchema();
  core.ReadSchema();

  // Bounded so that a document of many sets and properties still runs quickly.
  for (int e = 0; e < core.entitySets.Count() && e < 64; ++e) {
    core.SetSchemaEntityIndex(e);
    core.SetSchemaEntity(core.entitySets.Peek(e)->name.View());
    ReadEverySchemaProperty(core);
    const SchemaEntityType* type = core.CurrentEntityType();
    for (int p = 0; type && p < type->properties.Count() && p < 64; ++p) {
      core.SetSchemaPropertyIndex(p);
      core.SetSchemaProperty(type->properties.Peek(p)->name.View());
      core.SetSchemaTypeFieldIndex(1);
      ReadEverySchemaProperty(core);
    }
    for (int n = 0; type && n < type->navigation.Count() && n < 64; ++n) {
      core.SetSchemaAssociationIndex(n);
      ReadEverySchemaProperty(core);
    }
  }
  for (int c = 0; c < core.complexTypes.Count() && c < 64; ++c) {
    core.SetSchemaType(core.complexTypes.Peek(c)->name.View());
    ReadEverySchemaProperty(core);
  }
}
