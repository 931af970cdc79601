// Reading an EDMX document into the schema lists, in two passes.
//   1. /Edmx/DataServices/Schema[n] for n = 1, 2... until one is missing. The children of each
//      schema, by index and by local name: every EntitySet of an EntityContainer (raising Entity
//      as it is read), EntityType, ComplexType and Association; anything else is passed over.
//   2. Each navigation property of each entity type takes the documentation of the association
//      that its Relationship names, and the role, entity, multiplicity and delete action of the
//      ends that its FromRole and ToRole name. An association may stand in any schema.
// Entity set 0 is then selected, which raises Property for its properties.
//
// A document cut short (its root still open) is read as far as it goes, and the dispatch makes
// the result 206 whatever this reader says. What was read so far means: every entity set,
// entity type, complex type and association whose element closed before the cut, whether or not
// the Schema and EntityContainer around it closed. A record cut inside is dropped whole, so no
// type shows half its properties or keys and no association half its ends. A navigation property
// whose association lies behind the cut keeps its own fields and leaves the resolved
// ones empty instead of failing the read, and entity set 0 is selected as for a whole document.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"
#include "odata/ODataErrors.h"

namespace quillon {

namespace {
// The end of `association` whose role is `role` ignoring case, the first end winning; or null.
const SchemaAssociationEnd* EndOfRole(const SchemaAssociation& association, std::string_view role) {
  if (SameNoCase(association.end1.role.View(), role)) return &association.end1;
  if (SameNoCase(association.end2.role.View(), role)) return &association.end2;
  return nullptr;
}

// Whether the element under the cursor has ended; only the last record of a cut document has not.
bool CursorClosed(const XmlParser& parser) {
  const XmlTree& tree = parser.impl.tree;
  return tree.IsClosed(tree.CursorOrRoot());
}

// Lets the path walk reach into the open elements of a cut document while the reader runs.
class OpenChildrenReach {
public:
  OpenChildrenReach(XmlTree& of, bool on) : tree(of) { tree.ReachOpenChildren(on); }
  ~OpenChildrenReach() { tree.ReachOpenChildren(false); }
  OpenChildrenReach(const OpenChildrenReach&) = delete;
  OpenChildrenReach& operator=(const OpenChildrenReach&) = delete;

private:
  XmlTree& tree;
};
} // namespace

void QuillonCore::ClearSchema() {
  entitySets.Clear();
  entityTypes.Clear();
  complexTypes.Clear();
  associations.Clear();
  entityTypeNames.Clear();
  complexTypeNames.Clear();
  associationNames.Clear();
  schemaEntityIndex = schemaPropertyIndex = schemaTypeFieldIndex = 0;
  schemaAssociationIndex = schemaTypeIndex = 0;
}

int QuillonCore::ReadSchema() {
  ClearSchema();
  XmlTree& tree = parser.impl.tree;
  const bool cut = !tree.IsClosed(tree.Root());
  OpenChildrenReach reach(tree, cut);
  if (int rc = parser.SetXPath("/Edmx/DataServices"); rc != errNone)
    return Fail(rc, parser.lastError.Data());
  SchemaPlace dataServices(parser);
  int rc = dataServices.Remember();
  for (int n = 1; rc == errNone; ++n) {
    rc = dataServices.Go("Schema", n);
    if (rc == SchemaPlace::kAbsent) {
      rc = errNone;
      break;
    }
    if (rc == errNone) rc = ReadSchemaChildren();
  }
  // Lookups by qualified name go through the indexes from here on.
  entityTypeNames.Build(entityTypes);
  complexTypeNames.Build(complexTypes);
  associationNames.Build(associations);
  if (rc == errNone) rc = ResolveNavigation(cut);
  if (rc == errOutOfMemory) return DescribeError(rc);
  return rc != errNone ? rc : SetSchemaEntityIndex(0);
}

int QuillonCore::ReadSchemaChildren() {
  BufStr owner; // a copy, since an event handler may replace the document under the walk
  SchemaPlace schema(parser);
  int rc = owner.Assign(SchemaAttribute(parser, "Namespace"));
  if (rc == errNone) rc = schema.Remember();
  const int count = parser.XChildrenCount();
  for (int k = 1; k <= count && rc == errNone; ++k) {
    rc = schema.Go({}, k);
    if (rc == SchemaPlace::kAbsent) {
      rc = errNone;
      continue;
    }
    if (rc != errNone) break;
    const std::string_view kind = parser.LocalName();
    if (SameNoCase(kind, "EntityContainer"))
      rc = ReadEntitySets(owner.View()); // open or not: its closed entity sets count
    else if (!CursorClosed(parser))
      break; // a record cut inside, the last child there is
    else if (SameNoCase(kind, "EntityType"))
      rc = ReadInto(entityTypes, owner.View(), parser);
    else if (SameNoCase(kind, "ComplexType"))
      rc = ReadInto(complexTypes, owner.View(), parser);
    else if (SameNoCase(kind, "Association"))
      rc = ReadInto(associations, owner.View(), parser);
  }
  return rc == errNone || rc == errOutOfMemory ? rc : Fail(rc, parser.lastError.Data());
}

int QuillonCore::ReadEntitySets(std::string_view owner) {
  SchemaPlace container(parser);
  if (int rc = container.Remember(); rc != errNone) return rc;
  for (int j = 1;; ++j) {
    int rc = container.Go("EntitySet", j);
    if (rc == SchemaPlace::kAbsent) return errNone;
    if (rc == errNone && !CursorClosed(parser)) return errNone;
    SchemaEntitySet set;
    if (rc == errNone) rc = set.Read(owner, parser);
    if (rc != errNone) return rc;
    // The set is announced before it joins the list.
    FireEntity(set.name.Data());
    if (rc = entitySets.Append(set); rc != errNone) return rc;
  }
}

int QuillonCore::ResolveNavigation(bool cut) {
  for (int t = 0; t < entityTypes.Count(); ++t) {
    SchemaEntityType* type = entityTypes.Peek(t);
    for (int i = 0; type && i < type->navigation.Count(); ++i) {
      SchemaNavigation& link = *type->navigation.Peek(i);
      const SchemaAssociation* association =
          associations.Peek(associationNames.Find(associations, link.relationshipFull.View()));
      if (!association && cut) continue;
      if (!association)
        return FailNamed(errSchema, "Cannot find relationship: ", link.relationshipFull.View());
      int rc = link.description.Assign(association->description);
      if (rc == errNone) rc = link.summary.Assign(association->summary);
      const SchemaAssociationEnd* from = EndOfRole(*association, link.fromRole.View());
      if (!from) return FailNamed(errSchema, "Cannot find role: ", link.fromRole.View());
      if (rc == errNone) rc = link.fromDescription.Assign(from->description);
      if (rc == errNone) rc = link.fromEntity.Assign(from->entity);
      if (rc == errNone) rc = link.fromSummary.Assign(from->summary);
      link.fromMultiplicity = from->multiplicity;
      if (from->onDelete != daNone) link.onDelete = from->onDelete;
      const SchemaAssociationEnd* to = EndOfRole(*association, link.toRole.View());
      if (!to) return FailNamed(errSchema, "Cannot find role: ", link.toRole.View());
      if (rc == errNone) rc = link.toDescription.Assign(to->description);
      if (rc == errNone) rc = link.toEntity.Assign(to->entity);
      if (rc == errNone) rc = link.toSummary.Assign(to->summary);
      link.toMultiplicity = to->multiplicity;
      if (to->onDelete != daNone) link.onDelete = to->onDelete;
      if (rc != errNone) return rc;
    }
  }
  return errNone;
}

int QuillonCore::FailNamed(int code, const char* text, std::string_view name) {
  lastError.Assign(text);
  lastError.Append(name);
  lastError.AppendChar('.');
  return code;
}

} // namespace quillon
