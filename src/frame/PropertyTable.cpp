// The public property table, joined from the tables of the engine's areas. Lookup is by name,
// ignoring case; the listing is in the order of the ids.
#include "frame/ControlSurface.h"

#include "frame/Text.h"

#include <algorithm>
#include <array>
#include <vector>

namespace quillon {

namespace {
std::array<std::span<const PropertyRow>, 6> AllTables() {
  return {ODataProperties(), HttpProperties(),   NetProperties(),
          EntryProperties(), SchemaProperties(), XmlProperties()};
}
} // namespace

const PropertyRow* FindProperty(std::string_view name) {
  for (std::span<const PropertyRow> table : AllTables())
    for (const PropertyRow& row : table)
      if (SameNoCase(name, row.name)) return &row;
  return nullptr;
}

void ForEachProperty(void (*visit)(const PropertyRow& row, void* context), void* context) {
  std::vector<const PropertyRow*> rows;
  for (std::span<const PropertyRow> table : AllTables())
    for (const PropertyRow& row : table)
      rows.push_back(&row);
  std::sort(rows.begin(), rows.end(),
            [](const PropertyRow* a, const PropertyRow* b) { return a->id < b->id; });
  for (const PropertyRow* row : rows)
    visit(*row, context);
}

} // namespace quillon
