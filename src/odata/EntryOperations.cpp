// The operations that change the service, each one request:
//
//   CreateEntry     POST   root/ResourcePath  application/atom+xml  entry document
//   UpdateEntry     PUT    root/ResourcePath  application/atom+xml  entry document, If-Match
//   UpdateProperty  PUT    root/ResourcePath  application/xml       property document, If-Match
//   DeleteEntry     DELETE root/ResourcePath  -                     no body, If-Match
//
// The entry is the current one. If-Match carries its ETag as the service gave it, with no blank
// after the colon, unless the caller's header lines hold an If-Match of their own.
#include "odata/QuillonCore.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
bool ContainsNoCase(std::string_view text, std::string_view word) {
  for (size_t i = 0; i + word.size() <= text.size(); ++i)
    if (SameNoCase(text.substr(i, word.size()), word)) return true;
  return false;
}

// The document of one property: the element at the cursor of `response` with its declarations
// and attributes as they stand there, and `value` as its text.
int WritePropertyDocument(XmlWriter& writer, XmlParser& response, std::string_view value) {
  writer.Reset();
  writer.indent.Assign(" ");
  int rc = writer.WriteDeclaration("1.0", true, true);
  rc = rc ? rc : writer.StartElement(response.XElement(), response.XNamespace());
  BufStr name;
  const int count = response.NamespaceCount();
  for (int i = count - response.DeclaredNamespaceCount(); rc == errNone && i < count; ++i) {
    const std::string_view prefix = response.NamespacePrefix(i);
    rc = name.Assign("xmlns");
    if (!prefix.empty()) {
      rc = rc ? rc : name.AppendChar(':');
      rc = rc ? rc : name.Append(prefix);
    }
    rc = rc ? rc : writer.WriteAttribute(name.View(), "", response.NamespaceUri(i));
  }
  for (int i = 0; rc == errNone && i < response.AttrCount(); ++i) {
    const std::string_view prefix = response.AttrPrefix(i);
    rc = name.Assign(prefix);
    if (!prefix.empty()) rc = rc ? rc : name.AppendChar(':');
    rc = rc ? rc : name.Append(response.AttrLocalName(i));
    rc = rc ? rc
            : writer.WriteAttribute(name.View(), response.AttrNamespace(i), response.AttrValue(i));
  }
  rc = rc ? rc : writer.WriteText(value);
  return rc ? rc : writer.EndElement();
}
} // namespace

int QuillonCore::ComposeEntryUrl(BufStrBase& url) {
  bool absolute = false;
  const int rc = ComposeResourceUrl(url, absolute);
  return rc || absolute ? rc : AppendQuery(url, OtherQueryOptions.View(), true);
}

int QuillonCore::AddIfMatch(EntryRecord& entry) {
  const char* etag = entry.ETag();
  if (!etag || !*etag) return errNone;
  if (ContainsNoCase(OtherHeaders.View(), "If-Match") ||
      ContainsNoCase(userHeaders.View(), "If-Match"))
    return errNone;
  BufStr lines;
  int rc = lines.Assign("If-Match:");
  rc = rc ? rc : lines.AppendText(etag);
  rc = rc ? rc : lines.Append("\r\n", 2);
  rc = rc ? rc : lines.Append(OtherHeaders);
  return rc ? rc : OtherHeaders.Assign(lines);
}

int QuillonCore::CreateEntry() {
  BufStr document, url;
  if (int rc = BuildEntryDocument(CurrentEntry(), document, parser, false); rc != errNone)
    return rc;
  if (ComposeEntryUrl(url) || ContentType.Assign("application/atom+xml"))
    return DescribeError(errOutOfMemory);
  return RunRequest(actPost, url.Data(), document.Data(), document.Length());
}

int QuillonCore::UpdateEntry() {
  EntryRecord& entry = CurrentEntry();
  BufStr document, url;
  if (int rc = BuildEntryDocument(entry, document, parser, false); rc != errNone) return rc;
  if (ComposeEntryUrl(url) || ContentType.Assign("application/atom+xml") || AddIfMatch(entry))
    return DescribeError(errOutOfMemory);
  return RunRequest(actPut, url.Data(), document.Data(), document.Length());
}

int QuillonCore::UpdateProperty(std::string_view xpath, std::string_view value) {
  if (int rc = parser.SetXPath(xpath); rc != errNone) return ParserFailure(rc);
  XmlWriter writer;
  if (int rc = WritePropertyDocument(writer, parser, value); rc != errNone)
    return WriterFailure(writer, rc);
  EntryRecord& entry = CurrentEntry();
  BufStr url;
  if (ComposeEntryUrl(url) || ContentType.Assign("application/xml") || AddIfMatch(entry))
    return DescribeError(errOutOfMemory);
  if (int rc = RunRequest(actPut, url.Data(), writer.output.Data(), writer.output.Length());
      rc != errNone)
    return rc;
  // The local copy follows the service: the new value, and the new ETag when one came back.
  if (int rc = SetEntryProperty(xpath, value); rc != errNone) return rc;
  if (const std::string_view etag = ParsedHeaderValue("ETag"); !etag.empty())
    if (CurrentEntry().SetETag(etag) != errNone) return DescribeError(errOutOfMemory);
  return errNone;
}

int QuillonCore::DeleteEntry() {
  BufStr url;
  if (ComposeEntryUrl(url) || AddIfMatch(CurrentEntry())) return DescribeError(errOutOfMemory);
  if (int rc = RunRequest(actDelete, url.Data(), nullptr, 0); rc != errNone) return rc;
  if (entryIndex < 0 || entryIndex >= entries.Count()) return errNone;
  entries.RemoveAt(entryIndex);
  if (entryIndex >= entries.Count()) return SetEntryIndex(entries.Count() - 1);
  return errNone;
}

} // namespace quillon
