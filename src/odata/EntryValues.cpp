// Reading and writing one entry by path. A read walks the tree that holds the entry; a write
// produces new raw text through the path rewrite and lets the next read parse that text again:
//
//   Value("content/properties/Name")   steps from the entry, each walked where the last ended
//   Value("/entry/category@term")      one absolute step, then the attribute
//   SetValue("/entry/title", "T")      RewriteChildren of /entry -> SetRawXml(text, false)
//
// Name steps are taken in the tree directly, in the response document while the entry is read
// there; any other step goes through the path walker of the entry's own parse.
//
// Values are escaped on the way in, so that what is written reads back the same.
#include "odata/EntryRecord.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "xml/XmlCharClass.h"
#include "xml/XmlRewrite.h"

namespace quillon {

namespace {
// Appends `text` with '&', '<', '>' and '"' as references: fit for element text and for an
// attribute value in double quotes.
int AppendEscaped(BufStrBase& out, std::string_view text) {
  int rc = errNone;
  for (size_t start = 0; rc == errNone && start < text.size();) {
    size_t end = start;
    while (end < text.size() && text[end] != '&' && text[end] != '<' && text[end] != '>' &&
           text[end] != '"')
      ++end;
    rc = out.Append(text.substr(start, end - start));
    if (rc == errNone && end < text.size()) {
      const char c = text[end];
      rc = out.AppendText(c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : "&quot;");
    }
    start = end + 1;
  }
  return rc;
}

constexpr std::string_view kAuthorName = "/entry/author/name";
constexpr std::string_view kAuthorEmail = "/entry/author/email";
} // namespace

bool EntryRecord::WalkNameSteps(const XmlTree& tree, std::string_view path, uint32_t* element) {
  // An absolute path is one step that starts at the entry, named as its own document names it.
  if (path.starts_with('/')) {
    const size_t slash = path.find('/', 1);
    if (path.substr(1, slash == std::string_view::npos ? slash : slash - 1) != "entry")
      return false;
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  uint32_t at = *element;
  while (!path.empty()) {
    const size_t slash = path.find('/');
    std::string_view step = path.substr(0, slash);
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    if (step.empty()) continue;
    size_t nameLength = 0;
    while (nameLength < step.size() && IsXmlNameChar(step[nameLength]))
      ++nameLength;
    if (nameLength == 0 || !IsXmlNameStart(step[0], false)) return false;
    int index = 1;
    if (nameLength < step.size()) {
      // name[digits]; anything else is the walker's
      const std::string_view inner = step.substr(nameLength);
      if (inner.size() < 3 || inner.front() != '[' || inner.back() != ']' || inner.size() > 11)
        return false;
      index = 0;
      for (const char c : inner.substr(1, inner.size() - 2)) {
        if (c < '0' || c > '9') return false;
        index = index * 10 + (c - '0');
      }
    }
    at = tree.ChildNamed(at, step.substr(0, nameLength), index);
    if (!at) break;
  }
  *element = at;
  return true;
}

const char* EntryRecord::Value(std::string_view path) {
  const XmlTree* tree;
  uint32_t element;
  if (Locate(&tree, &element) != errNone) return nullptr;
  // Only the attribute behind the last step counts; an absolute path is one step.
  const size_t lastStep = path.starts_with('/') ? 0 : path.rfind('/');
  const size_t at = path.find('@', lastStep == std::string_view::npos ? 0 : lastStep);
  const std::string_view attribute =
      at == std::string_view::npos ? std::string_view() : path.substr(at + 1);
  const std::string_view steps = path.substr(0, at);
  if (steps.find('@') != std::string_view::npos || !WalkNameSteps(*tree, steps, &element))
    return ValueByWalker(path);
  if (!element) return nullptr;
  if (!attribute.empty()) {
    const int count = tree->AttrCountOf(element);
    for (int a = 0; a < count; ++a) {
      const uint32_t record = tree->AttributeRecord(element, a);
      if (SameNoCase(tree->AttrLocalName(record), attribute)) return tree->AttrValue(record).data();
    }
    return nullptr;
  }
  const std::string_view text = tree->TextOf(element);
  return text.empty() ? "" : text.data();
}

// The path walker of the entry's own parse, for steps other than names.
const char* EntryRecord::ValueByWalker(std::string_view path) {
  if (Detach() != errNone || EnsureParsed() != errNone) return nullptr;
  XmlParser& parser = *entryParser;
  std::string_view attribute;
  // An absolute path is one step; a relative one is walked step by step, and only the last
  // step's attribute counts.
  const bool absolute = path.starts_with('/');
  std::string_view rest = path;
  while (!rest.empty()) {
    const size_t slash = absolute ? std::string_view::npos : rest.find('/');
    const std::string_view step = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    const size_t at = step.find('@');
    attribute = at == std::string_view::npos ? std::string_view() : step.substr(at + 1);
    if (parser.SetXPath(step.substr(0, at)) != errNone) return nullptr;
  }
  if (!attribute.empty()) return parser.AttributeByName(attribute);
  const std::string_view text = parser.XText();
  return text.empty() ? "" : text.data();
}

int EntryRecord::SetValue(std::string_view path, std::string_view value) {
  if (int rc = Detach(); rc != errNone) return rc;
  if (int rc = EnsureParsed(); rc != errNone) return rc;
  XmlParser& parser = *entryParser;
  if (path.starts_with('/')) path.remove_prefix(1);
  if (path.starts_with("entry/")) path.remove_prefix(6);
  // An empty first step would rewrite nothing and so empty the entry.
  if (path.empty() || path.front() == '/') return parser.Fail(errXPath, "Invalid XPath.");
  BufStr escaped;
  if (AppendEscaped(escaped, value) != errNone) return errOutOfMemory;
  BufStrN<7> text;
  XmlRewriteContext context{true, &parser};
  if (int rc = RewriteChildren(context, parser, text, path, escaped.View()); rc != errNone)
    return rc;
  return SetRawXml(text.View(), false);
}

const char* EntryRecord::Author(int format) {
  Lists* state = MakeLists();
  if (!state) return "";
  BufStrBase& out = state->authorText;
  out.Clear();
  if (format < 0 || format > 2) return out.Data();
  const char* name = Value(kAuthorName);
  const char* email = Value(kAuthorEmail);
  name = name ? name : "";
  email = email ? email : "";
  if (format == 1)
    out.Assign(name);
  else if (format == 2)
    out.Assign(email);
  else {
    out.Assign(name);
    if (*email) {
      if (*name) out.AppendChar(' ');
      out.AppendChar('<');
      out.AppendText(email);
      out.AppendChar('>');
    }
  }
  return out.Data();
}

int EntryRecord::SetAuthor(std::string_view text, int format) {
  Lists* state = MakeLists();
  if (!state || state->authorText.Assign(text) != errNone) return errOutOfMemory;
  if (format == 1) return SetValue(kAuthorName, text);
  if (format == 2) return SetValue(kAuthorEmail, text);
  if (format != 0) return errNone;
  std::string_view name = text;
  std::string_view email;
  const size_t open = text.find(" <");
  const size_t close = open == std::string_view::npos ? open : text.find('>', open + 2);
  if (close != std::string_view::npos) {
    name = text.substr(0, open);
    email = text.substr(open + 2, close - open - 2);
  }
  if (int rc = SetValue(kAuthorName, name); rc != errNone) return rc;
  return SetValue(kAuthorEmail, email);
}

const char* EntryRecord::Xml() {
  Lists* state = MakeLists();
  if (!state) return "";
  BufStrBase& out = state->xmlText;
  out.Clear();
  const std::string_view raw = RawText();
  if (raw.empty()) return out.Data();
  int rc = out.AppendText("<entry >");
  rc = rc ? rc : out.Append(raw);
  rc = rc ? rc : out.AppendText("</entry>");
  if (rc != errNone) out.Clear();
  return out.Data();
}

int EntryRecord::SetXml(std::string_view text) {
  XmlParser* errors = Parser();
  if (!errors) return errOutOfMemory;
  XmlParser reader;
  PrepareParser(reader);
  int rc = reader.Parse(text);
  rc = rc ? rc : reader.SetXPath("/entry");
  std::string_view contents;
  rc = rc ? rc : reader.XContents(&contents);
  if (rc != errNone) {
    errors->SetLastErrorText(reader.lastError.View());
    return rc;
  }
  return SetRawXml(contents, true);
}

} // namespace quillon
