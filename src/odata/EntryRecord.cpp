// An entry's life: read in place (Capture) -> detached to raw text of its own (Detach, or any
// change of its text) -> parsed (EnsureParsed). Links and properties are scanned out of whichever
// tree holds the entry, independently and on demand. Release drops the own parse and the lists,
// keeping only the lists that the host changed by index, since those exist nowhere else.
//
// Detached, the entry's text is parsed in its own document "<entry namespaces>" raw "</entry>".
// The namespaces are the mappings in scope at the entry in the response, so the d: and m:
// prefixes that a feed declares on its root resolve there too and the entry's elements have the
// same names in both trees: a scan or a read gives the same before and after Detach.
#include "odata/EntryRecord.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "odata/ODataNamespaces.h"
#include "xml/XmlErrors.h"

#include <new>

namespace quillon {

namespace {
// Appends `text` with the bytes that would end an attribute value or start markup escaped.
int AppendAttributeText(BufStrBase& out, std::string_view text) {
  int rc = errNone;
  for (size_t start = 0; rc == errNone && start < text.size();) {
    size_t end = start;
    while (end < text.size() && text[end] != '&' && text[end] != '"' && text[end] != '<')
      ++end;
    rc = out.Append(text.substr(start, end - start));
    if (rc == errNone && end < text.size())
      rc = out.AppendText(text[end] == '&' ? "&amp;" : text[end] == '"' ? "&quot;" : "&lt;");
    start = end + 1;
  }
  return rc;
}

// The element's first attribute whose local name is `name`, ignoring case: its value where it
// lies. False when there is none.
bool FindAttribute(const XmlTree& tree, uint32_t element, std::string_view name,
                   std::string_view* value) {
  const int count = tree.AttrCountOf(element);
  for (int a = 0; a < count; ++a) {
    const uint32_t attribute = tree.AttributeRecord(element, a);
    if (SameNoCase(tree.AttrLocalName(attribute), name)) {
      *value = tree.AttrValueBytes(attribute);
      return true;
    }
  }
  return false;
}

int AssignAttribute(BufStrBase& field, const XmlTree& tree, uint32_t element,
                    std::string_view name) {
  std::string_view value;
  return field.Assign(FindAttribute(tree, element, name, &value) ? value : std::string_view());
}

// A leaf `element`, named `name` at `path`.
int ReadLeaf(EntryProperty& property, const XmlTree& tree, uint32_t element, const BufStrBase& name,
             const BufStrBase& path) {
  int rc = property.name.Assign(name);
  rc = rc ? rc : property.path.Assign(path);
  rc = rc ? rc : AssignAttribute(property.type, tree, element, "type");
  std::string_view null;
  if (rc == errNone && FindAttribute(tree, element, "null", &null) && null == "true") {
    property.isNull = 1;
  } else if (rc == errNone) {
    rc = property.value.Assign(tree.TextBytes(element));
    property.isNull = property.value.IsEmpty() ? 1 : 0;
  }
  const int count = tree.AttrCountOf(element);
  for (int a = 0; rc == errNone && a < count; ++a) {
    const uint32_t attribute = tree.AttributeRecord(element, a);
    if (a > 0) rc = property.attributes.AppendChar(' ');
    rc = rc ? rc : property.attributes.Append(tree.AttrLocalName(attribute));
    rc = rc ? rc : property.attributes.AppendText("=\"");
    rc = rc ? rc : property.attributes.Append(tree.AttrValueBytes(attribute));
    rc = rc ? rc : property.attributes.AppendChar('"');
  }
  return rc;
}
} // namespace

int EntryProperty::CopyTo(EntryProperty& destination) const {
  int rc = destination.attributes.Assign(attributes);
  rc = rc ? rc : destination.name.Assign(name);
  rc = rc ? rc : destination.value.Assign(value);
  rc = rc ? rc : destination.path.Assign(path);
  rc = rc ? rc : destination.type.Assign(type);
  rc = rc ? rc : destination.fullPath.Assign(fullPath);
  destination.isNull = isNull;
  return rc;
}

int EntryLink::CopyTo(EntryLink& destination) const {
  int rc = destination.title.Assign(title);
  rc = rc ? rc : destination.href.Assign(href);
  rc = rc ? rc : destination.rel.Assign(rel);
  rc = rc ? rc : destination.etag.Assign(etag);
  return rc ? rc : destination.type.Assign(type);
}

void EntryLink::Clear() {
  title.Clear();
  href.Clear();
  rel.Clear();
  etag.Clear();
  type.Clear();
}

EntryRecord::~EntryRecord() {
  DropParser();
  DropLists();
}

int EntryRecord::CopyTo(EntryRecord& destination) const {
  if (&destination == this) return errNone;
  destination.DropParser();
  destination.parsed = 0;
  int rc = destination.rawXml.Assign(rawXml);
  rc = rc ? rc : destination.namespaces.Assign(namespaces);
  rc = rc ? rc : destination.entryETag.Assign(entryETag);
  destination.document = document;
  destination.documentElement = documentElement;
  destination.codePage = codePage;
  destination.charsetMode = charsetMode;
  destination.propertiesRead = propertiesRead;
  destination.linksRead = linksRead;
  destination.propertiesEdited = propertiesEdited;
  destination.linksEdited = linksEdited;
  if (!lists) {
    destination.DropLists();
    return rc;
  }
  Lists* target = destination.MakeLists();
  if (!target) return errOutOfMemory;
  target->properties.Clear();
  target->links.Clear();
  const EntryProperty emptyProperty;
  for (int i = 0; rc == errNone && i < lists->properties.Count(); ++i) {
    const EntryProperty* property = lists->properties.Peek(i);
    rc = target->properties.Append(property ? *property : emptyProperty);
  }
  const EntryLink emptyLink;
  for (int i = 0; rc == errNone && i < lists->links.Count(); ++i) {
    const EntryLink* link = lists->links.Peek(i);
    rc = target->links.Append(link ? *link : emptyLink);
  }
  rc = rc ? rc : lists->editLink.CopyTo(target->editLink);
  return rc ? rc : target->authorText.Assign(lists->authorText);
}

void EntryRecord::Clear() {
  DropParser();
  DropLists();
  rawXml.Clear();
  namespaces.Clear();
  entryETag.Clear();
  document = nullptr;
  documentElement = 0;
  codePage = 0;
  charsetMode = 0;
  parsed = propertiesRead = linksRead = 0;
  propertiesEdited = linksEdited = 0;
}

int EntryRecord::Capture(XmlParser& parser) {
  Clear();
  if (!parser.impl.KeepOriginalText) {
    std::string_view contents;
    return parser.XContents(&contents);
  }
  document = &parser;
  documentElement = parser.impl.tree.CursorOrRoot();
  codePage = parser.impl.codePage;
  charsetMode = parser.impl.charsetMode ? 1 : 0;
  return errNone;
}

std::string_view EntryRecord::RawText() const {
  if (!document) return rawXml.View();
  uint32_t start, end;
  document->impl.tree.KeptRange(documentElement, kpContents, &start, &end);
  const std::string_view kept = document->OriginalText();
  return end > start && end <= kept.size() ? kept.substr(start, end - start) : std::string_view();
}

int EntryRecord::Detach() {
  if (!document) return errNone;
  const XmlTree& tree = document->impl.tree;
  const uint32_t entry = documentElement;
  int rc = rawXml.Assign(RawText());
  // An inner declaration of a prefix wins over an outer one, which is left out.
  namespaces.Clear();
  const int count = tree.ScopeCountOf(entry);
  for (int i = 0; rc == errNone && i < count; ++i) {
    const std::string_view prefix = tree.MappingPrefix(tree.MappingInScope(entry, i));
    bool redeclared = prefix == "xml";
    for (int j = i + 1; !redeclared && j < count; ++j)
      redeclared = tree.MappingPrefix(tree.MappingInScope(entry, j)) == prefix;
    if (redeclared) continue;
    if (!namespaces.IsEmpty()) rc = namespaces.AppendChar(' ');
    rc = rc ? rc : namespaces.AppendText("xmlns");
    if (rc == errNone && !prefix.empty()) {
      rc = namespaces.AppendChar(':');
      rc = rc ? rc : namespaces.Append(prefix);
    }
    rc = rc ? rc : namespaces.AppendText("=\"");
    rc = rc ? rc : AppendAttributeText(namespaces, tree.MappingUri(tree.MappingInScope(entry, i)));
    rc = rc ? rc : namespaces.AppendChar('"');
  }
  rc = rc ? rc : AssignAttribute(entryETag, tree, entry, "etag");
  // A detached entry stays as text for as long as the feed does; it holds no spare room.
  rawXml.ShrinkToFit();
  namespaces.ShrinkToFit();
  entryETag.ShrinkToFit();
  document = nullptr;
  documentElement = 0;
  parsed = 0;
  if (rc != errNone) Clear();
  return rc;
}

int EntryRecord::SetRawXml(std::string_view text, bool alsoLinks) {
  // The namespaces stay, so an entry read in place takes them first.
  const int detached = Detach();
  const int rc = rawXml.Assign(text);
  DropParser();
  parsed = 0;
  propertiesRead = 0;
  propertiesEdited = 0;
  if (lists) lists->properties.Clear();
  if (alsoLinks) {
    linksRead = 0;
    linksEdited = 0;
    if (lists) {
      lists->links.Clear();
      lists->editLink.Clear();
    }
  }
  return detached ? detached : rc;
}

void EntryRecord::PrepareParser(XmlParser& parser) const {
  parser.ResetCore();
  parser.PrepareForDocument(charsetMode);
  parser.impl.KeepOriginalText = 1;
  parser.impl.codePage = codePage;
}

int EntryRecord::EnsureParsed() {
  if (document) return errNone;
  XmlParser* parser = Parser();
  if (!parser) return errOutOfMemory;
  if (!parsed) {
    // The pieces go through the scanner one after the other, as one document.
    PrepareParser(*parser);
    const std::string_view pieces[] = {"<entry ", namespaces.View(), ">", rawXml.View(),
                                       "</entry>"};
    for (std::string_view piece : pieces)
      if (int rc = parser->Parse(piece); rc != errNone) return rc;
  }
  if (int rc = parser->SetXPath("/entry"); rc != errNone) return rc;
  parsed = 1;
  return errNone;
}

int EntryRecord::Locate(const XmlTree** tree, uint32_t* element) {
  if (document) {
    *tree = &document->impl.tree;
    *element = documentElement;
    return errNone;
  }
  if (int rc = EnsureParsed(); rc != errNone) return rc;
  *tree = &entryParser->impl.tree;
  *element = entryParser->impl.tree.Cursor();
  return errNone;
}

int EntryRecord::ReadLink(const XmlTree& tree, uint32_t element) {
  EntryLink link;
  int rc = AssignAttribute(link.title, tree, element, "title");
  rc = rc ? rc : AssignAttribute(link.href, tree, element, "href");
  rc = rc ? rc : AssignAttribute(link.rel, tree, element, "rel");
  rc = rc ? rc : AssignAttribute(link.type, tree, element, "type");
  rc = rc ? rc : AssignAttribute(link.etag, tree, element, "etag");
  if (rc != errNone) return rc;
  // Navigation links are kept. Of the edit links the first etag stands, except that the
  // media's etag always wins.
  EntryLink& edit = lists->editLink;
  if (link.rel.StartsWith(NS_DATASERVICES_HOST)) return lists->links.Append(link);
  if (link.rel.View() == "edit") {
    rc = edit.title.Assign(link.title);
    rc = rc ? rc : edit.href.Assign(link.href);
    rc = rc ? rc : edit.rel.Assign(link.rel);
    rc = rc ? rc : edit.type.Assign(link.type);
    if (rc == errNone && edit.etag.IsEmpty()) rc = edit.etag.Assign(link.etag);
    return rc;
  }
  if (link.rel.View() == "edit-media" && !link.etag.IsEmpty()) return edit.etag.Assign(link.etag);
  return errNone;
}

int EntryRecord::ScanLinks() {
  const XmlTree* tree;
  uint32_t entry;
  if (int rc = Locate(&tree, &entry); rc != errNone) return rc;
  if (linksRead) return errNone;
  if (!MakeLists()) return errOutOfMemory;
  lists->links.Clear();
  const int count = tree->ChildCountOf(entry);
  uint32_t child = count > 0 ? tree->FirstChildOf(entry) : 0;
  for (int i = 0; child && i < count; ++i, child = tree->NextSiblingOf(child))
    if (SameNoCase(tree->LocalName(child), "link"))
      if (int rc = ReadLink(*tree, child); rc != errNone) return rc;
  // Services put the ETag on the entry element; a link's etag, where one is given, wins.
  EntryLink& edit = lists->editLink;
  if (edit.etag.IsEmpty()) {
    const int rc =
        document ? AssignAttribute(edit.etag, *tree, entry, "etag") : edit.etag.Assign(entryETag);
    if (rc != errNone) return rc;
  }
  linksRead = 1;
  return errNone;
}

int EntryRecord::ScanProperties() {
  const XmlTree* tree;
  uint32_t entry;
  if (int rc = Locate(&tree, &entry); rc != errNone) return rc;
  if (propertiesRead) return errNone;
  if (!MakeLists()) return errOutOfMemory;
  lists->properties.Clear();
  BufStr namePrefix;
  BufStr path;
  const int count = tree->ChildCountOf(entry);
  uint32_t child = count > 0 ? tree->FirstChildOf(entry) : 0;
  for (int i = 0; child && i < count; ++i, child = tree->NextSiblingOf(child)) {
    // A media entry holds its properties directly under entry. Content without properties
    // simply has none. The steps go by name, so a second content reads the first one's again.
    const std::string_view name = tree->LocalName(child);
    const bool content = SameNoCase(name, "content");
    if (!content && !SameNoCase(name, "properties")) continue;
    const uint32_t holder = content ? tree->ChildNamed(entry, "content") : entry;
    const uint32_t properties = tree->ChildNamed(holder, "properties");
    if (!properties) continue;
    namePrefix.Clear();
    if (path.Assign(content ? "content/properties" : "properties") != errNone)
      return errOutOfMemory;
    if (ReadProperties(*tree, properties, namePrefix, path) == errOutOfMemory)
      return errOutOfMemory;
  }
  propertiesRead = 1;
  return errNone;
}

// Records the leaves below `parent`, which `path` leads to; a child with children of its own is
// walked with its name added to both, as the step of that name finds it. `namePrefix` and
// `path` are restored before returning.
int EntryRecord::ReadProperties(const XmlTree& tree, uint32_t parent, BufStrBase& namePrefix,
                                BufStrBase& path) {
  const int prefixLength = namePrefix.Length();
  const int pathLength = path.Length();
  int rc = errNone;
  if (prefixLength > 0 && !namePrefix.EndsWith("/")) rc = namePrefix.AppendChar('/');
  const int count = rc == errNone ? tree.ChildCountOf(parent) : 0;
  const int nameBase = namePrefix.Length();
  uint32_t child = count > 0 ? tree.FirstChildOf(parent) : 0;
  for (int i = 0; rc == errNone && child && i < count; ++i, child = tree.NextSiblingOf(child)) {
    const std::string_view local = tree.LocalName(child);
    rc = namePrefix.Append(local);
    rc = rc ? rc : path.AppendChar('/');
    rc = rc ? rc : path.Append(local);
    if (rc == errNone && tree.ChildCountOf(child) > 0) {
      // A complex value: its leaves carry its name in theirs.
      const uint32_t named = tree.ChildNamed(parent, local);
      rc = named ? ReadProperties(tree, named, namePrefix, path) : errNoSuchChild;
    } else if (rc == errNone) {
      PtrList<EntryProperty>& properties = lists->properties;
      const int at = properties.Count();
      EntryProperty* property = properties.Resize(at + 1) == errNone ? properties.At(at) : nullptr;
      rc = property ? ReadLeaf(*property, tree, child, namePrefix, path) : errOutOfMemory;
      if (rc != errNone) properties.Resize(at);
    }
    namePrefix.Resize(nameBase, nullptr);
    path.Resize(pathLength, nullptr);
  }
  namePrefix.Resize(prefixLength, nullptr);
  path.Resize(pathLength, nullptr);
  return rc;
}

void EntryRecord::Release() {
  DropParser();
  parsed = 0;
  if (!lists) return;
  if (!propertiesEdited) {
    lists->properties.Clear();
    propertiesRead = 0;
  }
  if (!linksEdited) {
    lists->links.Clear();
    lists->editLink.Clear();
    linksRead = 0;
  }
  if (!propertiesEdited && !linksEdited) DropLists();
}

std::string_view EntryRecord::ErrorText() const {
  return entryParser ? entryParser->lastError.View() : std::string_view();
}

const char* EntryRecord::ETag() {
  return ScanLinks() == errNone ? lists->editLink.etag.Data() : nullptr;
}

const char* EntryRecord::EditHref() {
  return ScanLinks() == errNone ? lists->editLink.href.Data() : nullptr;
}

int EntryRecord::SetETag(std::string_view text) {
  // Scanned first, so that a later scan cannot put the document's value back.
  if (int rc = ScanLinks(); rc != errNone) return rc;
  linksEdited = 1;
  return lists->editLink.etag.Assign(text);
}

PtrList<EntryProperty>* EntryRecord::Properties() {
  return MakeLists() ? &lists->properties : nullptr;
}

PtrList<EntryProperty>* EntryRecord::PropertiesForEdit() {
  if (!MakeLists()) return nullptr;
  propertiesEdited = 1;
  return &lists->properties;
}

PtrList<EntryLink>* EntryRecord::Links() {
  return MakeLists() ? &lists->links : nullptr;
}

PtrList<EntryLink>* EntryRecord::LinksForEdit() {
  if (!MakeLists()) return nullptr;
  linksEdited = 1;
  return &lists->links;
}

int EntryRecord::PropertyCount() {
  return ScanProperties() == errNone ? lists->properties.Count() : 0;
}

int EntryRecord::LinkCount() {
  return ScanLinks() == errNone ? lists->links.Count() : 0;
}

XmlParser* EntryRecord::Parser() {
  if (!entryParser) entryParser = new (std::nothrow) XmlParser();
  return entryParser;
}

EntryRecord::Lists* EntryRecord::MakeLists() {
  if (!lists) lists = new (std::nothrow) Lists();
  return lists;
}

void EntryRecord::DropParser() {
  delete entryParser;
  entryParser = nullptr;
  parsed = 0;
}

void EntryRecord::DropLists() {
  delete lists;
  lists = nullptr;
  propertiesRead = linksRead = 0;
}

} // namespace quillon
