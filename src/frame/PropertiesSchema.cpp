// Properties of the schema cursor: Schema... Each reads a field of the record that the cursors make
// current, and reads empty, false or 0 when there is none; only the four indexes are written.
#include "frame/ControlSurface.h"

#include "frame/Errors.h"

#include <climits>

namespace quillon {

namespace {
constexpr int64_t kMultiplicityLimit = 3; // nmZeroOne, nmOne, nmMany
constexpr int64_t kDeleteActionLimit = 2; // daNone, daCascade

template <auto Current, auto Field> int GetText(QuillonCore& core, int, PropertyValue& out) {
  const auto* record = (core.*Current)();
  return record ? out.text.Assign(record->*Field) : errNone;
}
template <auto Current, auto Field> int GetNumber(QuillonCore& core, int, PropertyValue& out) {
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

int GetEntityCount(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.entitySets.Count());
  return errNone;
}
int GetKeysCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  out.number = static_cast<int16_t>(type ? type->keys.Count() : 0);
  return errNone;
}
int GetKeys(QuillonCore& core, int index, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  if (!type || index < 0 || index >= type->keys.Count())
    return core.Fail(errArrayIndex, "Invalid Index");
  return out.text.Assign(type->keys.At(index));
}
int GetPropertyCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  out.number = static_cast<int16_t>(type ? type->properties.Count() : 0);
  return errNone;
}
int GetAssociationCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaEntityType* type = core.CurrentEntityType();
  out.number = static_cast<int16_t>(type ? type->navigation.Count() : 0);
  return errNone;
}
int GetTypeFieldCount(QuillonCore& core, int, PropertyValue& out) {
  const SchemaComplexType* type = core.CurrentComplexType();
  out.number = static_cast<int16_t>(type ? type->properties.Count() : 0);
  return errNone;
}

// The cursors read as they stand and are moved through the engine's setters, which test the
// index against their list.
template <auto Cursor> int GetCursor(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int16_t>(core.*Cursor);
  return errNone;
}
template <int (QuillonCore::*Setter)(int)>
int SetCursor(QuillonCore& core, int, const PropertyValue& in) {
  const int index = in.number < INT_MIN || in.number > INT_MAX ? -1 : static_cast<int>(in.number);
  return (core.*Setter)(index);
}

template <auto Current, auto Field> constexpr PropertyRow TextRow(int id, const char* name) {
  return {id, name, PropertyType::Text, true, nullptr, 0, &GetText<Current, Field>, nullptr};
}
template <auto Current, auto Field>
constexpr PropertyRow EnumRow(int id, const char* name, int64_t limit) {
  return {id,      name,  PropertyType::Enumeration,  true,
          nullptr, limit, &GetNumber<Current, Field>, nullptr};
}
template <auto Current, auto Field> constexpr PropertyRow FlagRow(int id, const char* name) {
  return {id, name, PropertyType::Boolean, true, nullptr, 0, &GetNumber<Current, Field>, nullptr};
}
template <auto Cursor, int (QuillonCore::*Setter)(int)>
constexpr PropertyRow CursorRow(int id, const char* name) {
  return {id,      name, PropertyType::Integer, false,
          nullptr, 0,    &GetCursor<Cursor>,    &SetCursor<Setter>};
}
constexpr PropertyRow CountRow(int id, const char* name,
                               int (*get)(QuillonCore&, int, PropertyValue&)) {
  return {id, name, PropertyType::Integer, true, nullptr, 0, get, nullptr};
}

constexpr auto kLink = &QuillonCore::CurrentNavigation;
constexpr auto kSet = &QuillonCore::CurrentEntitySet;
constexpr auto kProperty = &QuillonCore::CurrentProperty;
constexpr auto kField = &QuillonCore::CurrentTypeField;

const PropertyRow kRows[] = {
    TextRow<kLink, &SchemaNavigation::description>(83, "SchemaAssociationDescription"),
    TextRow<kLink, &SchemaNavigation::fromRole>(84, "SchemaAssociationFromRole"),
    TextRow<kLink, &SchemaNavigation::fromDescription>(85, "SchemaAssociationFromRoleDescription"),
    TextRow<kLink, &SchemaNavigation::fromEntity>(86, "SchemaAssociationFromRoleEntity"),
    EnumRow<kLink, &SchemaNavigation::fromMultiplicity>(87, "SchemaAssociationFromRoleMultiplicity",
                                                        kMultiplicityLimit),
    TextRow<kLink, &SchemaNavigation::fromSummary>(88, "SchemaAssociationFromRoleSummary"),
    TextRow<kLink, &SchemaNavigation::name>(89, "SchemaAssociationName"),
    EnumRow<kLink, &SchemaNavigation::onDelete>(90, "SchemaAssociationOnDelete",
                                                kDeleteActionLimit),
    TextRow<kLink, &SchemaNavigation::relationship>(91, "SchemaAssociationRelationship"),
    TextRow<kLink, &SchemaNavigation::summary>(92, "SchemaAssociationSummary"),
    TextRow<kLink, &SchemaNavigation::toRole>(93, "SchemaAssociationToRole"),
    TextRow<kLink, &SchemaNavigation::toDescription>(94, "SchemaAssociationToRoleDescription"),
    TextRow<kLink, &SchemaNavigation::toEntity>(95, "SchemaAssociationToRoleEntity"),
    EnumRow<kLink, &SchemaNavigation::toMultiplicity>(96, "SchemaAssociationToRoleMultiplicity",
                                                      kMultiplicityLimit),
    TextRow<kLink, &SchemaNavigation::toSummary>(97, "SchemaAssociationToRoleSummary"),
    CountRow(98, "SchemaAssociationCount", &GetAssociationCount),
    CursorRow<&QuillonCore::schemaAssociationIndex, &QuillonCore::SetSchemaAssociationIndex>(
        99, "SchemaAssociationIndex"),
    TextRow<kSet, &SchemaEntitySet::description>(100, "SchemaEntityDescription"),
    TextRow<kSet, &SchemaEntitySet::name>(101, "SchemaEntityName"),
    TextRow<kSet, &SchemaEntitySet::summary>(102, "SchemaEntitySummary"),
    CountRow(103, "SchemaEntityCount", &GetEntityCount),
    CursorRow<&QuillonCore::schemaEntityIndex, &QuillonCore::SetSchemaEntityIndex>(
        104, "SchemaEntityIndex"),
    CountRow(105, "SchemaKeysCount", &GetKeysCount),
    {106, "SchemaKeys", PropertyType::Text, true, "SchemaKeysIndex", 0, &GetKeys, nullptr},
    TextRow<kProperty, &SchemaProperty::attributes>(107, "SchemaPropertyAttributes"),
    TextRow<kProperty, &SchemaProperty::description>(108, "SchemaPropertyDescription"),
    {109, "SchemaPropertyIsComplexType", PropertyType::Boolean, true, nullptr, 0,
     &GetIsComplexType<kProperty>, nullptr},
    TextRow<kProperty, &SchemaProperty::name>(110, "SchemaPropertyName"),
    FlagRow<kProperty, &SchemaProperty::nullable>(111, "SchemaPropertyNullable"),
    TextRow<kProperty, &SchemaProperty::summary>(112, "SchemaPropertySummary"),
    TextRow<kProperty, &SchemaProperty::type>(113, "SchemaPropertyType"),
    CountRow(114, "SchemaPropertyCount", &GetPropertyCount),
    CursorRow<&QuillonCore::schemaPropertyIndex, &QuillonCore::SetSchemaPropertyIndex>(
        115, "SchemaPropertyIndex"),
    TextRow<kField, &SchemaProperty::attributes>(116, "SchemaTypeFieldAttributes"),
    TextRow<kField, &SchemaProperty::description>(117, "SchemaTypeFieldDescription"),
    {118, "SchemaTypeFieldIsComplexType", PropertyType::Boolean, true, nullptr, 0,
     &GetIsComplexType<kField>, nullptr},
    TextRow<kField, &SchemaProperty::name>(119, "SchemaTypeFieldName"),
    FlagRow<kField, &SchemaProperty::nullable>(120, "SchemaTypeFieldNullable"),
    TextRow<kField, &SchemaProperty::summary>(121, "SchemaTypeFieldSummary"),
    TextRow<kField, &SchemaProperty::type>(122, "SchemaTypeFieldType"),
    CountRow(123, "SchemaTypeFieldCount", &GetTypeFieldCount),
    CursorRow<&QuillonCore::schemaTypeFieldIndex, &QuillonCore::SetSchemaTypeFieldIndex>(
        124, "SchemaTypeFieldIndex"),
};
} // namespace

std::span<const PropertyRow> SchemaProperties() {
  return kRows;
}

} // namespace quillon
