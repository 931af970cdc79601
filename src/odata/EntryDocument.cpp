// The entry document that CreateEntry and UpdateEntry send and GenerateEntryXML shows:
//
//   <?xml version="1.0" encoding="utf-8" standalone="yes"?>
//   <entry xmlns="Atom" xmlns:d="data services" xmlns:m="metadata">
//    <id>           only when the entry has one
//    <title type="text">, <summary type="text">
//    <author><name/> [<email/>]</author>
//    <link rel title href type/>   one per navigation link, only when asked for
//    <category term scheme/>       only when the entry has a term
//    <content type="application/xml"><m:properties> the properties </m:properties></content>
//   </entry>
//
// It is written anew from these fields and the property records, never from the entry's text,
// so whatever else the service sent stays behind. The properties are sorted by name first, so
// that the parts of one complex value stand together and share their open elements.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"
#include "odata/ODataErrors.h"
#include "odata/ODataNamespaces.h"
#include "odata/WordOrder.h"

namespace quillon {

namespace {
struct Prefixes {
  BufStr20 atom; // for NS_ATOM, ending in ':' when not empty
  BufStr20 data; // for NS_DATASERVICES
  BufStr20 meta; // for NS_METADATA
};

const char* OrEmpty(const char* text) {
  return text ? text : "";
}

// The name `prefix` + `local` in `out`.
int QualifiedName(BufStrBase& out, const BufStrBase& prefix, std::string_view local) {
  int rc = out.Assign(prefix);
  return rc ? rc : out.Append(local);
}

// The root's namespace declarations, copied from the cursor element of the latest response, and
// the prefixes they give the three namespaces. With none, d and m are declared.
int DeclarePrefixes(XmlWriter& writer, XmlParser& response, Prefixes& prefixes) {
  const int count = response.NamespaceCount();
  const int declared = response.DeclaredNamespaceCount();
  int rc = errNone;
  if (declared <= 0) {
    rc = writer.WriteAttribute("xmlns:d", "", NS_DATASERVICES);
    rc = rc ? rc : writer.WriteAttribute("xmlns:m", "", NS_METADATA);
    rc = rc ? rc : prefixes.data.Assign("d");
    return rc ? rc : prefixes.meta.Assign("m");
  }
  BufStr name;
  for (int i = count - declared; i < count && rc == errNone; ++i) {
    const std::string_view prefix = response.NamespacePrefix(i);
    const std::string_view uri = response.NamespaceUri(i);
    rc = name.Assign("xmlns");
    if (!prefix.empty()) {
      rc = rc ? rc : name.AppendChar(':');
      rc = rc ? rc : name.Append(prefix);
    }
    // A declaration the writer refuses shows up when an element of that namespace is written.
    if (rc == errNone) writer.WriteAttribute(name.View(), "", uri);
    if (SameNoCase(uri, NS_ATOM)) rc = rc ? rc : prefixes.atom.Assign(prefix);
    if (SameNoCase(uri, NS_DATASERVICES)) rc = rc ? rc : prefixes.data.Assign(prefix);
    if (SameNoCase(uri, NS_METADATA)) rc = rc ? rc : prefixes.meta.Assign(prefix);
  }
  return rc;
}

// The steps of a property name: split at each '/', except one in the first place, which
// belongs to the first step.
int SplitSteps(std::string_view name, StrList& steps) {
  size_t start = 0;
  for (size_t i = 1; i <= name.size(); ++i) {
    if (i < name.size() && name[i] != '/') continue;
    if (int rc = steps.Append(name.substr(start, i - start)); rc != errNone) return rc;
    start = i + 1;
  }
  return errNone;
}

int AddColon(BufStrBase& prefix) {
  return prefix.IsEmpty() ? errNone : prefix.AppendChar(':');
}

// An Atom element with an optional type attribute and its text; an empty text closes it " />".
int WriteAtomElement(XmlWriter& writer, const Prefixes& prefixes, std::string_view local,
                     const char* type, std::string_view text) {
  BufStr name;
  int rc = QualifiedName(name, prefixes.atom, local);
  rc = rc ? rc : writer.StartElement(name.View(), NS_ATOM);
  if (type) rc = rc ? rc : writer.WriteAttribute("type", NS_ATOM, type);
  rc = rc ? rc : writer.WriteText(text);
  return rc ? rc : writer.EndElement();
}

int WriteLinks(XmlWriter& writer, const Prefixes& prefixes, EntryRecord& entry) {
  PtrList<EntryLink>* links = entry.Links();
  if (!links) return errOutOfMemory;
  BufStr name;
  int rc = QualifiedName(name, prefixes.atom, "link");
  for (int i = 0; rc == errNone && i < links->Count(); ++i) {
    const EntryLink* link = links->At(i);
    if (!link) return errOutOfMemory;
    rc = writer.StartElement(name.View(), NS_ATOM);
    rc = rc ? rc : writer.WriteAttribute("rel", NS_ATOM, link->rel.View());
    rc = rc ? rc : writer.WriteAttribute("title", NS_ATOM, link->title.View());
    rc = rc ? rc : writer.WriteAttribute("href", NS_ATOM, link->href.View());
    rc = rc ? rc : writer.WriteAttribute("type", NS_ATOM, "application/atom+xml;type=entry");
    rc = rc ? rc : writer.EndElement();
  }
  return rc;
}

int WriteProperty(XmlWriter& writer, const Prefixes& prefixes, const EntryProperty& property,
                  StrList& openPath) {
  int rc =
      QuillonCore::OpenPropertyPath(writer, prefixes.data.View(), property.name.View(), openPath);
  BufStr name;
  if (rc == errNone && !property.type.IsEmpty()) {
    rc = QualifiedName(name, prefixes.meta, "type");
    rc = rc ? rc : writer.WriteAttribute(name.View(), NS_METADATA, property.type.View());
  }
  if (rc != errNone) return rc;
  if (property.isNull) {
    rc = QualifiedName(name, prefixes.meta, "null");
    return rc ? rc : writer.WriteAttribute(name.View(), NS_METADATA, "true");
  }
  return writer.WriteText(property.value.View());
}
} // namespace

int QuillonCore::WriterFailure(const XmlWriter& writer, int code) {
  if (code == errOutOfMemory) return DescribeError(code);
  lastError.Assign(writer.lastError);
  return code;
}

void QuillonCore::SortProperties(PtrList<EntryProperty>& list) {
  // Passes from the end of the list, each moving an element one place left while it orders
  // before its neighbour; equal names never move, so the order is stable.
  for (bool moved = true; moved;) {
    moved = false;
    for (int i = list.Count() - 1; i > 0; --i) {
      const EntryProperty* left = list.At(i - 1);
      const EntryProperty* right = list.At(i);
      if (left && right && CompareWordOrder(right->name.View(), left->name.View()) < 0) {
        list.Swap(i - 1, i);
        moved = true;
      }
    }
  }
}

int QuillonCore::OpenPropertyPath(XmlWriter& writer, std::string_view dataPrefix,
                                  std::string_view name, StrList& openPath) {
  if (name.empty()) return errEmptyPath;
  StrList steps;
  if (int rc = SplitSteps(name, steps); rc != errNone) return rc;
  int shared = 0;
  while (shared < steps.Count() && shared < openPath.Count() &&
         SameNoCase(steps.At(shared), openPath.At(shared)))
    ++shared;
  while (openPath.Count() > shared) {
    if (int rc = writer.EndElement(); rc != errNone) return rc;
    openPath.SetCount(openPath.Count() - 1);
  }
  BufStr qualified;
  for (int i = shared; i < steps.Count(); ++i) {
    int rc = qualified.Assign(dataPrefix);
    rc = rc ? rc : qualified.Append(steps.At(i));
    rc = rc ? rc : writer.StartElement(qualified.View(), NS_DATASERVICES);
    rc = rc ? rc : openPath.Append(steps.At(i));
    if (rc != errNone) return rc;
  }
  return errNone;
}

int QuillonCore::BuildEntryDocument(EntryRecord& entry, BufStrBase& out, XmlParser& response,
                                    bool includeLinks) {
  if (int rc = entry.EnsureParsed(); rc != errNone) return EntryFailure(entry, rc);
  XmlWriter writer;
  writer.Reset();
  writer.indent.Assign(" ");
  Prefixes prefixes;
  int rc = writer.WriteDeclaration("1.0", true, true);
  // The root has no prefix, whatever prefix the Atom namespace gets.
  rc = rc ? rc : writer.StartElement("entry", NS_ATOM);
  rc = rc ? rc : DeclarePrefixes(writer, response, prefixes);
  rc = rc ? rc : AddColon(prefixes.atom);
  rc = rc ? rc : AddColon(prefixes.data);
  rc = rc ? rc : AddColon(prefixes.meta);
  if (rc != errNone) return WriterFailure(writer, rc);

  const std::string_view id = OrEmpty(entry.Value("/entry/id"));
  if (!id.empty()) rc = WriteAtomElement(writer, prefixes, "id", nullptr, id);
  rc = rc ? rc
          : WriteAtomElement(writer, prefixes, "title", "text",
                             OrEmpty(entry.Value("/entry/title")));
  rc = rc ? rc
          : WriteAtomElement(writer, prefixes, "summary", "text",
                             OrEmpty(entry.Value("/entry/summary")));
  BufStr name;
  rc = rc ? rc : QualifiedName(name, prefixes.atom, "author");
  rc = rc ? rc : writer.StartElement(name.View(), NS_ATOM);
  rc = rc ? rc
          : WriteAtomElement(writer, prefixes, "name", nullptr,
                             OrEmpty(entry.Value("/entry/author/name")));
  const std::string_view email = OrEmpty(entry.Value("/entry/author/email"));
  if (rc == errNone && !email.empty())
    rc = WriteAtomElement(writer, prefixes, "email", nullptr, email);
  rc = rc ? rc : writer.EndElement();
  if (rc == errNone && includeLinks) {
    if (int scan = entry.ScanLinks(); scan != errNone) return EntryFailure(entry, scan);
    rc = WriteLinks(writer, prefixes, entry);
  }
  const std::string_view term = OrEmpty(entry.Value("/entry/category@term"));
  if (rc == errNone && !term.empty()) {
    rc = QualifiedName(name, prefixes.atom, "category");
    rc = rc ? rc : writer.StartElement(name.View(), NS_ATOM);
    rc = rc ? rc : writer.WriteAttribute("term", NS_ATOM, term);
    rc = rc ? rc : writer.WriteAttribute("scheme", NS_ATOM, NS_SCHEME);
    rc = rc ? rc : writer.EndElement();
  }
  rc = rc ? rc : QualifiedName(name, prefixes.atom, "content");
  rc = rc ? rc : writer.StartElement(name.View(), NS_ATOM);
  rc = rc ? rc : writer.WriteAttribute("type", NS_ATOM, "application/xml");
  rc = rc ? rc : QualifiedName(name, prefixes.meta, "properties");
  rc = rc ? rc : writer.StartElement(name.View(), NS_METADATA);
  if (rc != errNone) return WriterFailure(writer, rc);

  if (int scan = entry.ScanProperties(); scan != errNone) return EntryFailure(entry, scan);
  PtrList<EntryProperty>* properties = entry.PropertiesForEdit();
  if (!properties) return DescribeError(errOutOfMemory);
  SortProperties(*properties);
  StrList openPath;
  for (int i = 0; rc == errNone && i < properties->Count(); ++i) {
    const EntryProperty* property = properties->At(i);
    rc = property ? WriteProperty(writer, prefixes, *property, openPath) : errOutOfMemory;
  }
  // The open property levels, deepest first, then properties, content and entry.
  for (int left = openPath.Count() + 3; rc == errNone && left > 0; --left)
    rc = writer.EndElement();
  if (rc == errEmptyPath) return Fail(rc, "A property has no name.");
  if (rc != errNone) return WriterFailure(writer, rc);
  return out.Assign(writer.output) == errNone ? errNone : DescribeError(errOutOfMemory);
}

} // namespace quillon
