// An entry's life: raw text (Capture, SetRawXml) -> parsed (EnsureParsed) -> scanned for links,
// for properties, or both, independently. Release goes back to raw text, keeping only the lists
// that the host changed by index, since those exist nowhere else.
//
// The entry's text is parsed in its own document "<entry namespaces>" raw "</entry>". The
// namespaces are the mappings in scope at the entry in the response, so the d: and m: prefixes
// that a feed declares on its root resolve here too and everything below goes by local names.
#include "odata/EntryRecord.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "odata/ODataNamespaces.h"

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

// "/entry/[i]" or "[i]".
void IndexStep(BufStrBase& out, const char* front, int index) {
  out.Assign(front);
  out.AppendDecimal(index);
  out.AppendChar(']');
}

int AssignAttribute(BufStrBase& field, const XmlParser& parser, std::string_view name) {
  const char* value = parser.AttributeByName(name);
  return field.Assign(value ? value : "");
}

// A leaf at the cursor of `parser`, named `name` at `path`.
int ReadLeaf(EntryProperty& property, const XmlParser& parser, const BufStrBase& name,
             const BufStrBase& path) {
  int rc = property.name.Assign(name);
  rc = rc ? rc : property.path.Assign(path);
  rc = rc ? rc : AssignAttribute(property.type, parser, "type");
  const char* null = parser.AttributeByName("null");
  if (rc == errNone && null && std::string_view(null) == "true") {
    property.isNull = 1;
  } else if (rc == errNone) {
    rc = property.value.Assign(parser.XText());
    property.isNull = property.value.IsEmpty() ? 1 : 0;
  }
  for (int a = 0; rc == errNone && a < parser.AttrCount(); ++a) {
    if (a > 0) rc = property.attributes.AppendChar(' ');
    rc = rc ? rc : property.attributes.Append(parser.AttrLocalName(a));
    rc = rc ? rc : property.attributes.AppendText("=\"");
    rc = rc ? rc : property.attributes.Append(parser.AttrValue(a));
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
  codePage = 0;
  charsetMode = 0;
  parsed = propertiesRead = linksRead = 0;
  propertiesEdited = linksEdited = 0;
}

int EntryRecord::Capture(XmlParser& parser) {
  Clear();
  std::string_view contents;
  if (int rc = parser.XContents(&contents); rc != errNone) return rc;
  int rc = rawXml.Assign(contents);

  // An inner declaration of a prefix wins over an outer one, which is left out.
  const int count = parser.NamespaceCount();
  for (int i = 0; rc == errNone && i < count; ++i) {
    const std::string_view prefix = parser.NamespacePrefix(i);
    bool redeclared = prefix == "xml";
    for (int j = i + 1; !redeclared && j < count; ++j)
      redeclared = parser.NamespacePrefix(j) == prefix;
    if (redeclared) continue;
    if (!namespaces.IsEmpty()) rc = namespaces.AppendChar(' ');
    rc = rc ? rc : namespaces.AppendText("xmlns");
    if (rc == errNone && !prefix.empty()) {
      rc = namespaces.AppendChar(':');
      rc = rc ? rc : namespaces.Append(prefix);
    }
    rc = rc ? rc : namespaces.AppendText("=\"");
    rc = rc ? rc : AppendAttributeText(namespaces, parser.NamespaceUri(i));
    rc = rc ? rc : namespaces.AppendChar('"');
  }
  rc = rc ? rc : AssignAttribute(entryETag, parser, "etag");
  // A feed's entries stay as text for as long as the feed does; they hold no spare room.
  rawXml.ShrinkToFit();
  namespaces.ShrinkToFit();
  entryETag.ShrinkToFit();
  codePage = parser.impl.codePage;
  charsetMode = parser.impl.charsetMode ? 1 : 0;
  if (rc != errNone) Clear();
  return rc;
}

int EntryRecord::SetRawXml(std::string_view text, bool alsoLinks) {
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
  return rc;
}

void EntryRecord::PrepareParser(XmlParser& parser) const {
  parser.ResetCore();
  parser.PrepareForDocument(charsetMode);
  parser.impl.KeepOriginalText = 1;
  parser.impl.codePage = codePage;
}

int EntryRecord::EnsureParsed() {
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

int EntryRecord::ReadLink(XmlParser& parser) {
  EntryLink link;
  int rc = AssignAttribute(link.title, parser, "title");
  rc = rc ? rc : AssignAttribute(link.href, parser, "href");
  rc = rc ? rc : AssignAttribute(link.rel, parser, "rel");
  rc = rc ? rc : AssignAttribute(link.type, parser, "type");
  rc = rc ? rc : AssignAttribute(link.etag, parser, "etag");
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
  if (int rc = EnsureParsed(); rc != errNone) return rc;
  if (linksRead) return errNone;
  if (!MakeLists()) return errOutOfMemory;
  XmlParser& parser = *entryParser;
  lists->links.Clear();
  const int count = parser.XChildrenCount();
  BufStr30 step;
  for (int i = 1; i <= count; ++i) {
    IndexStep(step, "/entry/[", i);
    if (int rc = parser.SetXPath(step.View()); rc != errNone) return rc;
    if (!SameNoCase(parser.LocalName(), "link")) continue;
    if (int rc = ReadLink(parser); rc != errNone) return rc;
  }
  // Services put the ETag on the entry element; a link's etag, where one is given, wins.
  EntryLink& edit = lists->editLink;
  if (edit.etag.IsEmpty())
    if (int rc = edit.etag.Assign(entryETag); rc != errNone) return rc;
  linksRead = 1;
  return errNone;
}

int EntryRecord::ScanProperties() {
  if (int rc = EnsureParsed(); rc != errNone) return rc;
  if (propertiesRead) return errNone;
  if (!MakeLists()) return errOutOfMemory;
  XmlParser& parser = *entryParser;
  lists->properties.Clear();
  const int count = parser.XChildrenCount();
  BufStr30 step;
  BufStr30 name;
  BufStr namePrefix;
  BufStr path;
  for (int i = 1; i <= count; ++i) {
    IndexStep(step, "[", i);
    int rc = parser.SetXPath(step.View());
    rc = rc ? rc : name.Assign(parser.LocalName());
    rc = rc ? rc : parser.SetXPath("..");
    if (rc != errNone) return rc;
    // A media entry holds its properties directly under entry. Content without properties
    // simply has none.
    const char* where = SameNoCase(name.View(), "content")      ? "content/properties"
                        : SameNoCase(name.View(), "properties") ? "properties"
                                                                : nullptr;
    if (!where) continue;
    namePrefix.Clear();
    if (path.Assign(where) != errNone) return errOutOfMemory;
    if (ReadProperties(namePrefix, path) == errOutOfMemory) return errOutOfMemory;
    rc = parser.SetXPath("/entry");
    if (rc != errNone) return rc;
  }
  propertiesRead = 1;
  return errNone;
}

// Records the leaves below /entry/`path`; a child with children of its own is walked with its
// name added to both. `namePrefix` and `path` are restored before returning.
int EntryRecord::ReadProperties(BufStrBase& namePrefix, BufStrBase& path) {
  XmlParser& parser = *entryParser;
  const int prefixLength = namePrefix.Length();
  const int pathLength = path.Length();
  BufStr absolute;
  int rc = absolute.AppendText("/entry/");
  rc = rc ? rc : absolute.Append(path);
  rc = rc ? rc : parser.SetXPath(absolute.View());
  if (rc == errNone && prefixLength > 0 && !namePrefix.EndsWith("/"))
    rc = namePrefix.AppendChar('/');
  const int count = rc == errNone ? parser.XChildrenCount() : 0;
  const int nameBase = namePrefix.Length();
  BufStr30 step;
  for (int i = 1; rc == errNone && i <= count; ++i) {
    IndexStep(step, "[", i);
    rc = parser.SetXPath(step.View());
    if (rc != errNone) break;
    const std::string_view local = parser.LocalName();
    rc = namePrefix.Append(local);
    rc = rc ? rc : path.AppendChar('/');
    rc = rc ? rc : path.Append(local);
    if (rc == errNone && parser.XChildrenCount() > 0) {
      // A complex value: its leaves carry its name in theirs.
      rc = parser.SetXPath("..");
      rc = rc ? rc : ReadProperties(namePrefix, path);
      rc = rc ? rc : parser.SetXPath("..");
    } else if (rc == errNone) {
      PtrList<EntryProperty>& properties = lists->properties;
      const int at = properties.Count();
      EntryProperty* property = properties.Resize(at + 1) == errNone ? properties.At(at) : nullptr;
      rc = property ? ReadLeaf(*property, parser, namePrefix, path) : errOutOfMemory;
      if (rc != errNone) properties.Resize(at);
      rc = rc ? rc : parser.SetXPath("..");
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
