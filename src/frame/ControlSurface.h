// The control surface's inside: how public property names reach the engine, and how text moves
// between the host (UTF-8) and the engine (bytes in the code page). Each area of the engine lists
// its properties in a table of its own (Properties*.cpp); PropertyTable.cpp joins them.
#pragma once

#include "frame/BufStr.h"
#include "odata/QuillonCore.h"
#include "quillon/Quillon.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace quillon {

// A property's value inside the engine: bytes for text and byte properties, a number otherwise.
struct PropertyValue {
  BufStr text;
  int64_t number = 0;
};

struct PropertyRow {
  int id;
  const char* name;
  PropertyType type;
  bool readOnly;
  const char* indexName; // null for a property without an index
  int64_t enumLimit;     // an enumeration accepts 0 up to this value less 1
  int (*get)(QuillonCore& core, int index, PropertyValue& out);
  int (*set)(QuillonCore& core, int index, const PropertyValue& in); // null when read-only
};

// A text property over a BufStr field of the engine, read and written as it stands.
template <auto Member> int GetTextField(QuillonCore& core, int, PropertyValue& out) {
  return out.text.Assign(core.*Member);
}
template <auto Member> int SetTextField(QuillonCore& core, int, const PropertyValue& in) {
  return (core.*Member).Assign(in.text);
}
template <auto Member>
constexpr PropertyRow TextFieldRow(int id, const char* name, bool readOnly = false) {
  return {id,      name, PropertyType::Text,    readOnly,
          nullptr, 0,    &GetTextField<Member>, readOnly ? nullptr : &SetTextField<Member>};
}

// The tables of the areas, each in the order of the ids.
std::span<const PropertyRow> ODataProperties();
std::span<const PropertyRow> HttpProperties();
std::span<const PropertyRow> NetProperties();
std::span<const PropertyRow> EntryProperties();
std::span<const PropertyRow> SchemaProperties();
std::span<const PropertyRow> XmlProperties();

// The row of a public name (case-insensitive), or null.
const PropertyRow* FindProperty(std::string_view name);
// Calls `visit` for every row, in the order of the ids.
void ForEachProperty(void (*visit)(const PropertyRow& row, void* context), void* context);

// Host text (UTF-8) into engine bytes in `codePage`, cut at the first NUL unless `exact`.
int HostToEngine(BufStrBase& out, std::string_view text, int codePage, bool exact = false);
// Engine bytes in `codePage` into host text (UTF-8).
int EngineToHost(std::string& out, std::string_view bytes, int codePage);

} // namespace quillon
