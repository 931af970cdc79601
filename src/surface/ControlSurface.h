// The control surface's inside: the rows of the public property table, each with the binding that
// reaches the engine, and how text moves between the host (UTF-8) and the engine (bytes in the
// code page). The rows come from quillon/QuillonProperties.inc; the bindings live in *Bindings.h.
#pragma once

#include "frame/BufStr.h"
#include "odata/QuillonCore.h"
#include "quillon/QuillonTypes.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quillon {

// The text of a property's value: a view of engine bytes that stay in place for the call, or a
// copy held here. A value handed to a setter is always a copy, so Data() is NUL-terminated.
class ValueText {
public:
  std::string_view View() const { return {data, size}; }
  const char* Data() const { return data; }
  int Length() const { return static_cast<int>(size); }
  bool IsEmpty() const { return size == 0; }
  // Copies.
  int Assign(std::string_view text);
  int Assign(const char* text) { return Assign(std::string_view(text ? text : "")); }
  // Points at text that outlives the call; null reads as empty.
  void Point(std::string_view text) { data = text.data(), size = text.size(); }
  void Point(const char* text) { Point(std::string_view(text ? text : "")); }
  void Point(const BufStrBase& text) { Point(text.View()); }
  // The copy's storage, for a conversion to write into; Adopt() then points at it.
  BufStrBase& Store() { return scratch; }
  void Adopt() { Point(scratch); }

private:
  const char* data = "";
  size_t size = 0;
  BufStr scratch;
};

// A property's value inside the engine: bytes for text and byte properties, a number otherwise.
struct PropertyValue {
  ValueText text;
  int64_t number = 0;
};

using PropertyGetter = int (*)(QuillonCore& core, int index, PropertyValue& out);
using PropertySetter = int (*)(QuillonCore& core, int index, const PropertyValue& in);

// How a row reaches the engine. A getter of an indexed property tests the index and fails with
// errArrayIndex, leaving its family's text in lastError; a setter tests it as the engine does.
struct Binding {
  PropertyGetter get;
  PropertySetter set; // null for a property that is only read
};

// The families of indexed properties; each has an index named after it ("CookieIndex").
enum class IndexFamily : uint8_t {
  None,
  Cookie,
  ParsedHeader,
  EntryLinks,
  EntryProperties,
  SchemaKeys,
  Attr,
  XChild
};

// How a value crosses the border.
enum class ValueKind : uint8_t {
  Text,    // converted, cut at the first NUL on the way in
  Counted, // converted by length, NULs kept
  Bytes,   // unchanged
  Int,
  Bool,
  Enum, // a number below enumLimit, tested as unsigned
};

struct PropertyRow {
  int id;
  std::string_view name;
  PropertyType type;
  ValueKind kind;
  IndexFamily family;
  bool readOnly;
  bool designTime; // may be read in design mode
  int64_t enumLimit;
  const char* indexName; // null for a property without an index
  PropertyGetter get;
  PropertySetter set; // null when read-only
};

// The rows in the order of their ids; row i has the id i + 1.
std::span<const PropertyRow> PropertyRows();
// The row of a public name (case-insensitive), or null, through a hash table built at compile
// time.
const PropertyRow* FindProperty(std::string_view name);
// The help number of the property with `id`.
constexpr int PropertyHelpNumber(int id) {
  return id <= 152 ? 28100 + id : id <= 157 ? 28101 + (id - 153) : 38100 + (id - 158);
}

// Host text (UTF-8) into engine bytes in `codePage`, cut at the first NUL unless `counted`.
int HostToEngine(BufStrBase& out, std::string_view text, int codePage, bool counted = false);
// Engine bytes in `codePage` into host text (UTF-8).
int EngineToHost(std::string& out, std::string_view bytes, int codePage);

} // namespace quillon
