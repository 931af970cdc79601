// State rule, checked before each write:
//   start element  always allowed; closes an open start tag, indents, depth + 1
//   end element    needs an open element; an open start tag becomes " />"
//   attribute      only while the start tag is open (after a start element or attribute)
//   text           needs an open element; closes the start tag; the element then has content
//   declaration    not directly behind an end tag
// Indentation stops inside an element that has text, so mixed content is never reformatted.
// Namespace mappings live in the record of the element that declares them and are written,
// default namespace first, when its start tag closes.
#include "xml/XmlWriter.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
bool IsNameStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
} // namespace

int XmlWriter::Element::CopyTo(Element& destination) const {
  destination.hasContent = hasContent;
  if (destination.localName.Assign(localName) || destination.prefix.Assign(prefix) ||
      destination.namespaceUri.Assign(namespaceUri))
    return errOutOfMemory;
  destination.mappings.Clear();
  for (int i = 0; i < mappings.Count(); ++i)
    if (destination.mappings.Append(mappings.At(i))) return errOutOfMemory;
  return errNone;
}

int XmlWriter::Config(ConfigRequest& request, const char** result) {
  const std::string_view name = request.name.View();
  if (EqualsNoCase(name, "QuoteChar")) {
    if (request.isGet) return ReturnText(result, quote);
    return quote.Assign(request.value);
  }
  if (EqualsNoCase(name, "Charset")) {
    if (request.isGet) return ReturnText(result, charset);
    return charset.Assign(request.value);
  }
  return ComponentCore::Config(request, result);
}

void XmlWriter::Reset() {
  quote.Assign("\"");
  newline.Assign("\r\n");
  indent.Assign("\t");
  charset.Assign("utf-8");
  output.Clear();
  elements.Clear();
  lastOp = opNone;
  depth = 0;
  wroteAnything = 0;
  ResetCore();
}

int XmlWriter::Write(std::string_view text) {
  wroteAnything = 1;
  return output.Append(text);
}

int XmlWriter::WriteEscaped(std::string_view text) {
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char* entity = nullptr;
    switch (text[i]) {
    case '"':
      entity = "&quot;";
      break;
    case '&':
      entity = "&amp;";
      break;
    case '\'':
      entity = "&apos;";
      break;
    case '<':
      entity = "&lt;";
      break;
    case '>':
      entity = "&gt;";
      break;
    default:
      continue;
    }
    if (Write(text.substr(run, i - run)) || Write(entity)) return errOutOfMemory;
    run = i + 1;
  }
  return Write(text.substr(run));
}

int XmlWriter::WriteQuoted(std::string_view value) {
  if (Write(quote.View()) || WriteEscaped(value) || Write(quote.View())) return errOutOfMemory;
  return errNone;
}

int XmlWriter::SplitName(std::string_view qualifiedName, std::string_view& prefix,
                         std::string_view& local) {
  const size_t colon = qualifiedName.find(':');
  prefix = colon == std::string_view::npos ? std::string_view() : qualifiedName.substr(0, colon);
  local = colon == std::string_view::npos ? qualifiedName : qualifiedName.substr(colon + 1);
  const bool valid = colon != 0 && !local.empty() && IsNameStart(local[0]) &&
                     (prefix.empty() || IsNameStart(prefix[0]));
  if (valid) return errNone;
  SetErrorParts("Invalid XML name: \"", nullptr, nullptr, nullptr);
  lastError.Append(qualifiedName);
  lastError.AppendText("\".");
  return errWriterName;
}

void XmlWriter::IndentStep() {
  if (!wroteAnything) return;
  if (Element* innermost = Innermost(); innermost && innermost->hasContent) return;
  Write(newline.View());
  for (int i = 0; i < depth; ++i)
    Write(indent.View());
}

int XmlWriter::CloseStartTag(bool empty) {
  if (Element* element = Innermost()) {
    // The default namespace goes first, then the prefixed ones in the order they were added.
    for (int pass = 0; pass < 2; ++pass) {
      for (int i = 0; i + 2 < element->mappings.Count(); i += 3) {
        const std::string_view prefix = element->mappings.At(i);
        if (element->mappings.At(i + 2) != "0" || prefix.empty() != (pass == 0)) continue;
        if (Write(" xmlns") || (!prefix.empty() && (Write(":") || Write(prefix))) || Write("=") ||
            WriteQuoted(element->mappings.At(i + 1)) || element->mappings.SetAt(i + 2, "1", 1))
          return errOutOfMemory;
      }
    }
  }
  return Write(empty ? " />" : ">");
}

int XmlWriter::StateStep(Op op) {
  const bool tagOpen = lastOp == opStartElement || lastOp == opAttribute;
  int rc = errNone;
  switch (op) {
  case opStartElement:
    if (tagOpen && (rc = CloseStartTag(false))) return rc;
    IndentStep();
    ++depth;
    break;
  case opEndElement:
    if (elements.Count() == 0) return Fail(errWriterState, "No elements are currently open.");
    --depth;
    if (tagOpen) {
      if ((rc = CloseStartTag(true))) return rc;
    } else {
      const Element* element = Innermost();
      IndentStep();
      if (Write("</") ||
          (!element->prefix.IsEmpty() && (Write(element->prefix.View()) || Write(":"))) ||
          Write(element->localName.View()) || Write(">"))
        return errOutOfMemory;
    }
    break;
  case opAttribute:
    if (!tagOpen) return Fail(errWriterState, "Attributes cannot be written at this time.");
    break;
  case opText:
    if (elements.Count() == 0) return Fail(errWriterState, "Can't write content text here.");
    if (tagOpen && (rc = CloseStartTag(false))) return rc;
    Innermost()->hasContent = 1;
    break;
  case opDeclaration:
    if (lastOp == opEndElement)
      return Fail(errWriterState, "Cannot write an XML declaration at this time.");
    break;
  case opNone:
    break;
  }
  lastOp = op;
  return errNone;
}

XmlWriter::Mapping XmlWriter::MapPrefix(std::string_view prefix, std::string_view uri,
                                        std::string_view* oldUri) {
  for (int e = elements.Count() - 1; e >= 0; --e) {
    const Element* element = elements.At(e);
    for (int i = element->mappings.Count() - 3; i >= 0; i -= 3) {
      if (element->mappings.At(i) != prefix) continue;
      const std::string_view found = element->mappings.At(i + 1);
      if (found == uri) return Mapping::kInScope;
      if (e == elements.Count() - 1 && oldUri) {
        *oldUri = found;
        return Mapping::kConflict;
      }
      return Mapping::kNeeded;
    }
  }
  return Mapping::kNeeded;
}

int XmlWriter::AddMapping(Element& element, std::string_view prefix, std::string_view uri,
                          bool declared) {
  if (element.mappings.Append(prefix) || element.mappings.Append(uri) ||
      element.mappings.Append(declared ? "1" : "0"))
    return errOutOfMemory;
  return errNone;
}

int XmlWriter::StartElement(std::string_view qualifiedName, std::string_view namespaceUri) {
  std::string_view prefix, local;
  if (int rc = SplitName(qualifiedName, prefix, local)) return rc;
  if (int rc = StateStep(opStartElement)) return rc;

  Element record;
  if (record.localName.Assign(local) || record.prefix.Assign(prefix) ||
      record.namespaceUri.Assign(namespaceUri))
    return errOutOfMemory;
  // The document starts with no default namespace, which needs no declaration.
  if (elements.Count() == 0 && AddMapping(record, "", "", true)) return errOutOfMemory;
  if (int rc = elements.Append(record)) return rc == -1 ? errOutOfMemory : rc;
  Element* element = Innermost();
  if (!element) return errOutOfMemory;
  if (MapPrefix(prefix, namespaceUri, nullptr) == Mapping::kNeeded &&
      AddMapping(*element, prefix, namespaceUri, false))
    return errOutOfMemory;
  if (Write("<") || Write(qualifiedName)) return errOutOfMemory;
  return errNone;
}

int XmlWriter::WriteAttribute(std::string_view qualifiedName, std::string_view namespaceUri,
                              std::string_view value) {
  std::string_view prefix, local;
  if (int rc = SplitName(qualifiedName, prefix, local)) return rc;
  if (int rc = StateStep(opAttribute)) return rc;
  Element* element = Innermost();

  if (prefix == "xml")
    return Write(" ") || Write(qualifiedName) || Write("=") || WriteQuoted(value) ? errOutOfMemory
                                                                                  : errNone;

  if (prefix == "xmlns" || qualifiedName == "xmlns") {
    // A declaration: written when the tag closes, and dropped when the scope already holds it.
    const std::string_view declared = prefix == "xmlns" ? local : std::string_view();
    if (MapPrefix(declared, value, nullptr) == Mapping::kNeeded)
      return AddMapping(*element, declared, value, false);
    return errNone;
  }

  if (Write(" ") || Write(qualifiedName) || Write("=") || WriteQuoted(value)) return errOutOfMemory;
  if (prefix.empty() && namespaceUri.empty()) return errNone;
  if (prefix.empty()) prefix = element->prefix.View();
  std::string_view oldUri;
  switch (MapPrefix(prefix, namespaceUri, &oldUri)) {
  case Mapping::kInScope:
    return errNone;
  case Mapping::kNeeded:
    return AddMapping(*element, prefix, namespaceUri, false);
  case Mapping::kConflict:
    break;
  }
  SetErrorParts("The prefix \"", nullptr, nullptr, nullptr);
  lastError.Append(prefix);
  lastError.AppendText("\" cannot be mapped to namespace \"");
  lastError.Append(namespaceUri);
  lastError.AppendText("\" because it has already been mapped to \"");
  lastError.Append(oldUri);
  lastError.AppendText("\".");
  return errWriterState;
}

int XmlWriter::WriteText(std::string_view text) {
  if (text.empty()) return errNone;
  if (int rc = StateStep(opText)) return rc;
  return WriteEscaped(text);
}

int XmlWriter::EndElement() {
  if (int rc = StateStep(opEndElement)) return rc;
  elements.RemoveAt(elements.Count() - 1);
  return errNone;
}

int XmlWriter::WriteDeclaration(const char* version, bool withEncoding, bool standalone) {
  if (int rc = StateStep(opDeclaration)) return rc;
  if (Write("<?xml version=") || WriteQuoted(version ? version : "")) return errOutOfMemory;
  if (withEncoding && (Write(" encoding=") || WriteQuoted(charset.View()))) return errOutOfMemory;
  if (standalone && (Write(" standalone=") || WriteQuoted("yes"))) return errOutOfMemory;
  return Write("?>");
}

} // namespace quillon
