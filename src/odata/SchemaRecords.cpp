// Each record reads the element under the cursor. It reaches its parts (documentation, properties,
// keys, ends) by paths composed from the element's own path text, and walks back to that path
// when done, so the caller finds the cursor where it left it:
//   item         Name, Documentation/Summary, Documentation/LongDescription
//   property     item, then every attribute in order (Type and Nullable also into fields)
//   complex type item, Property[1..]
//   entity type  complex type, Key/PropertyRef[1..], NavigationProperty[1..]
//   association  item, End[1], End[2]; an end reads Role, Type, Multiplicity and OnDelete/@Action
// A step that finds no element only ends its loop; a failure to hold a text is 200.
#include "odata/SchemaRecords.h"

#include "xml/XmlParser.h"

namespace quillon {

namespace {
// Moves to `step` below `place` and copies the element's text into `out` when it is there.
int ReadTextAt(SchemaPlace& place, std::string_view step, XmlParser& parser, BufStrBase& out) {
  const int rc = place.Go(step);
  if (rc == SchemaPlace::kAbsent) return errNone;
  return rc != errNone ? rc : out.Assign(parser.XText());
}
} // namespace

std::string_view SchemaAttribute(const XmlParser& parser, std::string_view name) {
  const int count = parser.AttrCount();
  for (int i = 0; i < count; ++i)
    if (SameNoCase(parser.AttrLocalName(i), name)) return parser.AttrValue(i);
  return {};
}

int SchemaPlace::Remember() {
  return base.Assign(parser.XPath());
}

int SchemaPlace::Go(std::string_view step, int index) {
  int rc = path.Assign(base);
  if (rc == errNone) rc = path.AppendChar('/');
  if (rc == errNone) rc = path.Append(step);
  if (rc == errNone && index > 0) {
    rc = path.AppendChar('[');
    if (rc == errNone) rc = path.AppendDecimal(index);
    if (rc == errNone) rc = path.AppendChar(']');
  }
  if (rc != errNone) return rc;
  rc = parser.SetXPath(path.View());
  return rc == errNone || rc == errOutOfMemory ? rc : kAbsent;
}

int SchemaPlace::Back() {
  return parser.SetXPath(base.View());
}

bool IsQualifiedName(const SchemaItem& item, std::string_view text) {
  const std::string_view owner = item.owner.View();
  const std::string_view name = item.name.View();
  return text.size() == owner.size() + 1 + name.size() && text[owner.size()] == '.' &&
         SameNoCase(text.substr(0, owner.size()), owner) &&
         SameNoCase(text.substr(owner.size() + 1), name);
}

int SchemaItem::ReadItem(std::string_view ownerNamespace, XmlParser& parser) {
  int rc = owner.Assign(ownerNamespace);
  if (rc == errNone) rc = name.Assign(SchemaAttribute(parser, "Name"));
  // Most elements are leaves, and a leaf has no documentation to walk to.
  if (rc != errNone || parser.XChildrenCount() == 0) return rc;
  SchemaPlace place(parser);
  rc = place.Remember();
  if (rc == errNone) rc = ReadTextAt(place, "Documentation/Summary", parser, summary);
  if (rc == errNone) rc = ReadTextAt(place, "Documentation/LongDescription", parser, description);
  return rc != errNone ? rc : place.Back();
}

int SchemaItem::CopyItemTo(SchemaItem& destination) const {
  int rc = destination.owner.Assign(owner);
  if (rc == errNone) rc = destination.name.Assign(name);
  if (rc == errNone) rc = destination.description.Assign(description);
  if (rc == errNone) rc = destination.summary.Assign(summary);
  return rc;
}

std::string_view SchemaItem::StripNamespace(std::string_view text) const {
  const std::string_view prefix = owner.View();
  if (prefix.empty() || text.size() <= prefix.size() || !text.starts_with(prefix) ||
      text[prefix.size()] != '.')
    return text;
  return text.substr(prefix.size() + 1);
}

int SchemaEntitySet::Read(std::string_view ownerNamespace, XmlParser& parser) {
  const int rc = ReadItem(ownerNamespace, parser);
  return rc != errNone ? rc : entityType.Assign(SchemaAttribute(parser, "EntityType"));
}

int SchemaEntitySet::CopyTo(SchemaEntitySet& destination) const {
  const int rc = CopyItemTo(destination);
  return rc != errNone ? rc : destination.entityType.Assign(entityType);
}

int SchemaProperty::Read(std::string_view ownerNamespace, XmlParser& parser) {
  if (int rc = ReadItem(ownerNamespace, parser); rc != errNone) return rc;
  nullable = 1;
  int rc = errNone;
  const int count = parser.AttrCount();
  for (int i = 0; i < count && rc == errNone; ++i) {
    const std::string_view attribute = parser.AttrLocalName(i);
    const std::string_view value = parser.AttrValue(i);
    if (i > 0) rc = attributes.AppendChar(' ');
    if (rc == errNone) rc = attributes.Append(attribute);
    if (rc == errNone) rc = attributes.Append("=\"");
    if (rc == errNone) rc = attributes.Append(value);
    if (rc == errNone) rc = attributes.AppendChar('"');
    if (rc == errNone && SameNoCase(attribute, "Type")) rc = type.Assign(value);
    if (SameNoCase(attribute, "Nullable")) nullable = SameNoCase(value, "true") ? 1 : 0;
  }
  return rc;
}

int SchemaComplexType::Read(std::string_view ownerNamespace, XmlParser& parser) {
  if (int rc = ReadItem(ownerNamespace, parser); rc != errNone) return rc;
  SchemaPlace place(parser);
  if (int rc = place.Remember(); rc != errNone) return rc;
  for (int i = 1;; ++i) {
    int rc = place.Go("Property", i);
    if (rc == SchemaPlace::kAbsent) break;
    if (rc == errNone) rc = ReadInto(properties, owner.View(), parser);
    if (rc != errNone) return rc;
  }
  return place.Back();
}

int SchemaEntityType::Read(std::string_view ownerNamespace, XmlParser& parser) {
  SchemaPlace place(parser);
  if (int rc = place.Remember(); rc != errNone) return rc;
  if (int rc = SchemaComplexType::Read(ownerNamespace, parser); rc != errNone) return rc;
  for (int i = 1;; ++i) {
    int rc = place.Go("Key/PropertyRef", i);
    if (rc == SchemaPlace::kAbsent) break;
    if (rc == errNone) rc = keys.Append(SchemaAttribute(parser, "Name"));
    if (rc != errNone) return rc;
  }
  for (int i = 1;; ++i) {
    int rc = place.Go("NavigationProperty", i);
    if (rc == SchemaPlace::kAbsent) break;
    if (rc == errNone) rc = ReadInto(navigation, owner.View(), parser);
    if (rc != errNone) return rc;
  }
  return place.Back();
}

int SchemaNavigation::Read(std::string_view ownerNamespace, XmlParser& parser) {
  int rc = ReadItem(ownerNamespace, parser);
  if (rc == errNone) rc = relationshipFull.Assign(SchemaAttribute(parser, "Relationship"));
  if (rc == errNone) rc = relationship.Assign(StripNamespace(relationshipFull.View()));
  if (rc == errNone) rc = fromRole.Assign(SchemaAttribute(parser, "FromRole"));
  if (rc == errNone) rc = toRole.Assign(SchemaAttribute(parser, "ToRole"));
  return rc;
}

int SchemaAssociation::Read(std::string_view ownerNamespace, XmlParser& parser) {
  SchemaPlace place(parser);
  int rc = place.Remember();
  if (rc == errNone) rc = ReadItem(ownerNamespace, parser);
  for (int i = 1; i <= 2 && rc == errNone; ++i) {
    rc = place.Go("End", i);
    if (rc == SchemaPlace::kAbsent)
      rc = errNone;
    else if (rc == errNone)
      rc = (i == 1 ? end1 : end2).Read(owner.View(), parser);
  }
  return rc != errNone ? rc : place.Back();
}

int SchemaAssociationEnd::Read(std::string_view ownerNamespace, XmlParser& parser) {
  SchemaPlace place(parser);
  int rc = place.Remember();
  if (rc == errNone) rc = ReadItem(ownerNamespace, parser);
  if (rc == errNone) rc = role.Assign(SchemaAttribute(parser, "Role"));
  if (rc == errNone) rc = type.Assign(SchemaAttribute(parser, "Type"));
  if (rc == errNone) rc = entity.Assign(StripNamespace(type.View()));
  if (rc != errNone) return rc;
  // "0..1" and anything unknown mean at most one.
  const std::string_view given = SchemaAttribute(parser, "Multiplicity");
  multiplicity = given == "1" ? nmOne : given == "*" ? nmMany : nmZeroOne;
  rc = place.Go("OnDelete");
  if (rc == SchemaPlace::kAbsent) return place.Back();
  if (rc != errNone) return rc;
  onDelete = SameNoCase(SchemaAttribute(parser, "Action"), "Cascade") ? daCascade : daNone;
  return place.Back();
}

} // namespace quillon
