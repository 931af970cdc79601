// The schema cursor: five indexes over the schema lists, and the records they make current.
//   entity set   schemaEntityIndex      -> its entity type, found by qualified name
//   property     schemaPropertyIndex    -> in the entity type's properties
//   association  schemaAssociationIndex -> in the entity type's navigation properties
//   complex type schemaTypeIndex        -> set by SetSchemaType, or by selecting a property
//   type field   schemaTypeFieldIndex   -> in the complex type's properties
// Nothing derived is stored: every Current... call looks it up again, so a cursor never points at
// a record of an older document.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"

namespace quillon {

namespace {
// Whether `index` is a place in a list of `count` elements.
bool InList(int index, int count) {
  return index >= 0 && index < count;
}
} // namespace

SchemaEntitySet* QuillonCore::CurrentEntitySet() {
  return entitySets.Peek(schemaEntityIndex);
}

SchemaEntityType* QuillonCore::CurrentEntityType() {
  const SchemaEntitySet* set = CurrentEntitySet();
  return set ? entityTypes.Peek(entityTypeNames.Find(entityTypes, set->entityType.View()))
             : nullptr;
}

SchemaProperty* QuillonCore::CurrentProperty() {
  SchemaEntityType* type = CurrentEntityType();
  return type ? type->properties.Peek(schemaPropertyIndex) : nullptr;
}

SchemaNavigation* QuillonCore::CurrentNavigation() {
  SchemaEntityType* type = CurrentEntityType();
  return type ? type->navigation.Peek(schemaAssociationIndex) : nullptr;
}

SchemaComplexType* QuillonCore::CurrentComplexType() {
  return complexTypes.Peek(schemaTypeIndex);
}

SchemaProperty* QuillonCore::CurrentTypeField() {
  SchemaComplexType* type = CurrentComplexType();
  return type ? type->properties.Peek(schemaTypeFieldIndex) : nullptr;
}

int QuillonCore::SelectSchemaEntity(int index) {
  schemaEntityIndex = index;
  SelectSchemaProperty(0);
  // The type is looked up again for every event, since a handler may move the cursor or replace
  // the lists; the events then stop or go on with what stands.
  const SchemaEntitySet* set = CurrentEntitySet();
  const int typeIndex = set ? entityTypeNames.Find(entityTypes, set->entityType.View()) : -1;
  for (int i = 0;; ++i) {
    const SchemaEntityType* type = entityTypes.Peek(typeIndex);
    const SchemaProperty* property = type ? type->properties.Peek(i) : nullptr;
    if (!property) break;
    FireProperty(property->name.Data(), property->type.Data(), property->nullable != 0);
  }
  schemaAssociationIndex = 0;
  return errNone;
}

void QuillonCore::SelectSchemaProperty(int index) {
  const SchemaEntityType* type = CurrentEntityType();
  if (!type || !InList(index, type->properties.Count())) {
    schemaPropertyIndex = 0;
    return;
  }
  schemaPropertyIndex = index;
  schemaTypeIndex = complexTypeNames.Find(complexTypes, type->properties.Peek(index)->type.View());
  schemaTypeFieldIndex = 0;
}

int QuillonCore::SetSchemaEntityIndex(int index) {
  if (!InList(index, entitySets.Count())) return Fail(errIndex, "Invalid index (out of bounds).");
  return SelectSchemaEntity(index);
}

int QuillonCore::SetSchemaPropertyIndex(int index) {
  const SchemaEntityType* type = CurrentEntityType();
  if (!type || !InList(index, type->properties.Count()))
    return Fail(errIndex, "Invalid index (out of bounds).");
  SelectSchemaProperty(index);
  return errNone;
}

int QuillonCore::SetSchemaAssociationIndex(int index) {
  const SchemaEntityType* type = CurrentEntityType();
  if (!type || !InList(index, type->navigation.Count()))
    return Fail(errIndex, "Invalid index (out of bounds).");
  schemaAssociationIndex = index;
  return errNone;
}

int QuillonCore::SetSchemaTypeFieldIndex(int index) {
  const SchemaComplexType* type = CurrentComplexType();
  if (!type || !InList(index, type->properties.Count()))
    return Fail(errIndex, "Invalid index (out of bounds).");
  schemaTypeFieldIndex = index;
  return errNone;
}

int QuillonCore::SetSchemaEntity(std::string_view name) {
  const int index = FindByName(entitySets, name);
  if (index < 0) return FailNamed(errIndex, "Could not find schema entity: ", name);
  return SelectSchemaEntity(index);
}

int QuillonCore::SetSchemaProperty(std::string_view name) {
  const SchemaEntityType* type = CurrentEntityType();
  const int index = type ? FindByName(type->properties, name) : -1;
  if (index < 0) return FailNamed(errIndex, "Could not find schema property: ", name);
  return SetSchemaPropertyIndex(index);
}

int QuillonCore::SetSchemaType(std::string_view name) {
  const int index = FindByName(complexTypes, name);
  if (index < 0) return FailNamed(errIndex, "Could not find schema complex type: ", name);
  schemaTypeIndex = index;
  return SetSchemaTypeFieldIndex(0);
}

} // namespace quillon
