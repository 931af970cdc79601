// Bindings of the schema cursor: Schema... Each reads a field of the record that the cursors make
// current, and reads empty, false or 0 when there is none; only the four indexes are written.
#pragma once

#include "surface/Bindings.h"

#include <climits>

namespace quillon {

inline constexpr auto kNavigation = &QuillonCore::CurrentNavigation;
inline constexpr auto kEntitySet = &QuillonCore::CurrentEntitySet;
inline constexpr auto kProperty = &QuillonCore::CurrentProperty;
inline constexpr auto kTypeField = &QuillonCore::CurrentTypeField;

template <auto Current, auto Field> int GetSchemaText(QuillonCore& core, int, PropertyValue& out) {
  if (const auto* record = (core.*Current)()) out.text.Point(record->*Field);
  return errNone;
}
template <auto Current, auto Field>
int GetSchemaNumber(QuillonCore& core, int, PropertyValue& out) {
  const auto* record = (core.*Current)();
  out.number = record ? record->*Field : 0;
  return errNone;
}
// A type outside the Edm namespace names a complex type, or a collection.
template <auto Current> int GetIsComplexType(QuillonCore& core, int, PropertyValue& out) {
  const SchemaProperty* record = (core.*Current)();
  out.number = record && !record->type.StartsWith("Edm.");
  return errNone;
}
template <auto Current, auto Field>
constexpr Binding SchemaText{&GetSchemaText<Current, Field>, nullptr};
template <auto Current, auto Field>
constexpr Binding SchemaNumber{&GetSchemaNumber<Current, Field>, nullptr};
template <auto Current> constexpr Binding SchemaIsComplexType{&GetIsComplexType<Current>, nullptr};

inline int GetSchemaEntityCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = core.entitySets.Count();
  return errNone;
}
inline int GetSchemaKeysCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  out.number = type ? type->keys.Count() : 0;
  return errNone;
}
inline int GetSchemaKeys(QuillonCore& core, int index, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  if (!type || index < 0 || index >= type->keys.Count())
    return core.Fail(errArrayIndex, "Invalid Index");
  out.text.Point(type->keys.At(index));
  return errNone;
}
inline int GetSchemaPropertyCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  out.number = type ? type->properties.Count() : 0;
  return errNone;
}
inline int GetSchemaAssociationCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  out.number = type ? type->navigation.Count() : 0;
  return errNone;
}
inline int GetSchemaTypeFieldCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaComplexType* type = core.CurrentComplexType();
  out.number = type ? type->properties.Count() : 0;
  return errNone;
}

// The cursors read as they stand and are moved through the engine's setters, which test the
// index against their list.
template <auto Cursor, int (QuillonCore::*Setter)(int)>
int SetSchemaCursor(QuillonCore& core, int, const PropertyValue& in) {
  const int index = in.number < INT_MIN || in.number > INT_MAX ? -1 : static_cast<int>(in.number);
  return (core.*Setter)(index);
}
template <auto Cursor, int (QuillonCore::*Setter)(int)>
constexpr Binding SchemaCursor{&GetNumberField<Cursor>, &SetSchemaCursor<Cursor, Setter>};

} // namespace quillon
