// The schema of an EDMX document, read through the public properties by moving SchemaEntityIndex
// over the entity sets and, for each, SchemaPropertyIndex and SchemaAssociationIndex over its
// type's properties and navigation; a complex property also shows its type's fields.
#include "Report.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace quillon::cli {

namespace {
std::string Get(Quillon& component, const std::string& name, int index = -1) {
  std::string value;
  component.GetProperty(name, index, value);
  return value;
}
int GetNumber(Quillon& component, const std::string& name) {
  return std::atoi(Get(component, name).c_str());
}
bool GetFlag(Quillon& component, const std::string& name) {
  return Get(component, name) == "-1";
}
void Select(Quillon& component, const char* cursor, int index) {
  component.SetProperty(cursor, std::to_string(index));
}

// AssociationMultiplicities as EDMX writes them.
const char* MultiplicityText(int value) {
  return value == 1 ? "1" : value == 2 ? "*" : "0..1";
}

// The public names of the association properties, in the order of their ids.
const char* const kAssociationFields[] = {
    "Description",
    "FromRole",
    "FromRoleDescription",
    "FromRoleEntity",
    "FromRoleMultiplicity",
    "FromRoleSummary",
    "Name",
    "OnDelete",
    "Relationship",
    "Summary",
    "ToRole",
    "ToRoleDescription",
    "ToRoleEntity",
    "ToRoleMultiplicity",
    "ToRoleSummary",
};
bool IsNumberField(const std::string& field) {
  return field.ends_with("Multiplicity") || field == "OnDelete";
}

// "  Summary: ..." and "  Description: ..." lines of a record that has them.
void PrintDocumentation(Quillon& component, const std::string& prefix, const char* indent) {
  const std::string summary = Get(component, prefix + "Summary");
  const std::string description = Get(component, prefix + "Description");
  if (!summary.empty()) std::printf("%sSummary: %s\n", indent, summary.c_str());
  if (!description.empty()) std::printf("%sDescription: %s\n", indent, description.c_str());
}

// One property or type field: name, type, nullability, and "complex" for a complex type. The
// name column ends at the same place whatever the indent.
void PrintField(Quillon& component, const std::string& prefix, const char* indent) {
  const int nameWidth = 28 - static_cast<int>(std::strlen(indent));
  std::printf("%s%-*s %-28s %s%s\n", indent, nameWidth, Get(component, prefix + "Name").c_str(),
              Get(component, prefix + "Type").c_str(),
              GetFlag(component, prefix + "Nullable") ? "nullable" : "not null",
              GetFlag(component, prefix + "IsComplexType") ? "  complex" : "");
}

void PrintProperties(Quillon& component) {
  const int count = GetNumber(component, "SchemaPropertyCount");
  if (count > 0) std::printf("  Properties:\n");
  for (int i = 0; i < count; ++i) {
    Select(component, "SchemaPropertyIndex", i);
    PrintField(component, "SchemaProperty", "    ");
    if (!GetFlag(component, "SchemaPropertyIsComplexType")) continue;
    // Selecting a complex property made its type current.
    const int fields = GetNumber(component, "SchemaTypeFieldCount");
    for (int f = 0; f < fields; ++f) {
      Select(component, "SchemaTypeFieldIndex", f);
      PrintField(component, "SchemaTypeField", "      ");
    }
  }
}

void PrintAssociations(Quillon& component) {
  const int count = GetNumber(component, "SchemaAssociationCount");
  if (count > 0) std::printf("  Associations:\n");
  for (int i = 0; i < count; ++i) {
    Select(component, "SchemaAssociationIndex", i);
    std::printf("    %s: %s\n", Get(component, "SchemaAssociationName").c_str(),
                Get(component, "SchemaAssociationRelationship").c_str());
    std::printf("      from %s [%s, %s] to %s [%s, %s]%s\n",
                Get(component, "SchemaAssociationFromRole").c_str(),
                Get(component, "SchemaAssociationFromRoleEntity").c_str(),
                MultiplicityText(GetNumber(component, "SchemaAssociationFromRoleMultiplicity")),
                Get(component, "SchemaAssociationToRole").c_str(),
                Get(component, "SchemaAssociationToRoleEntity").c_str(),
                MultiplicityText(GetNumber(component, "SchemaAssociationToRoleMultiplicity")),
                GetNumber(component, "SchemaAssociationOnDelete") == 1 ? ", on delete cascade"
                                                                       : "");
    PrintDocumentation(component, "SchemaAssociation", "      ");
  }
}

void WriteEntityJson(Quillon& component, JsonWriter& json) {
  json.BeginObject();
  for (const char* field : {"SchemaEntityName", "SchemaEntityDescription", "SchemaEntitySummary"})
    json.Field(field, Get(component, field));
  json.Key("keys");
  json.BeginArray();
  const int keys = GetNumber(component, "SchemaKeysCount");
  for (int i = 0; i < keys; ++i)
    json.String(Get(component, "SchemaKeys", i));
  json.EndArray();

  json.Key("properties");
  json.BeginArray();
  const int properties = GetNumber(component, "SchemaPropertyCount");
  for (int i = 0; i < properties; ++i) {
    Select(component, "SchemaPropertyIndex", i);
    json.BeginObject();
    json.Field("SchemaPropertyName", Get(component, "SchemaPropertyName"));
    json.Field("SchemaPropertyType", Get(component, "SchemaPropertyType"));
    json.Field("SchemaPropertyNullable", GetFlag(component, "SchemaPropertyNullable"));
    json.Field("SchemaPropertyIsComplexType", GetFlag(component, "SchemaPropertyIsComplexType"));
    for (const char* field :
         {"SchemaPropertyAttributes", "SchemaPropertyDescription", "SchemaPropertySummary"})
      json.Field(field, Get(component, field));
    json.EndObject();
  }
  json.EndArray();

  json.Key("associations");
  json.BeginArray();
  const int associations = GetNumber(component, "SchemaAssociationCount");
  for (int i = 0; i < associations; ++i) {
    Select(component, "SchemaAssociationIndex", i);
    json.BeginObject();
    for (const char* field : kAssociationFields) {
      const std::string name = std::string("SchemaAssociation") + field;
      if (IsNumberField(field))
        json.Field(name, GetNumber(component, name));
      else
        json.Field(name, Get(component, name));
    }
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}
} // namespace

void PrintSchemaText(Quillon& component) {
  const int count = GetNumber(component, "SchemaEntityCount");
  std::printf("Schema: %d entity set%s\n", count, count == 1 ? "" : "s");
  for (int i = 0; i < count; ++i) {
    Select(component, "SchemaEntityIndex", i);
    std::printf("\nEntity set %s\n", Get(component, "SchemaEntityName").c_str());
    PrintDocumentation(component, "SchemaEntity", "  ");
    const int keys = GetNumber(component, "SchemaKeysCount");
    if (keys > 0) {
      std::printf("  Keys:");
      for (int k = 0; k < keys; ++k)
        std::printf("%s %s", k ? "," : "", Get(component, "SchemaKeys", k).c_str());
      std::printf("\n");
    }
    PrintProperties(component);
    PrintAssociations(component);
  }
}

void WriteSchemaJson(Quillon& component, JsonWriter& json) {
  json.Key("schema");
  json.BeginObject();
  json.Key("entities");
  json.BeginArray();
  const int count = GetNumber(component, "SchemaEntityCount");
  for (int i = 0; i < count; ++i) {
    Select(component, "SchemaEntityIndex", i);
    WriteEntityJson(component, json);
  }
  json.EndArray();
  json.EndObject();
}

} // namespace quillon::cli
