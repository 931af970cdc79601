// The path dialect of the cursor. A path selects one element, never a set:
//   /name  /name[1]  /[1]  /[last()]  /[lastUnclosed()]   absolute: the first step is the root
//   [n]  [last()]  [last()-k]                              child n of any name
//   name  name[n]  name[@attr]  name[@attr=value]           child by name (prefix as written)
//   ..                                                     the parent; a '/' behind it starts over
//   *offset                                                a record offset, as saved earlier
// Each successful step extends xpathText so that it always leads back to the cursor by
// qualified names and indexes. A failing walk keeps the steps that succeeded.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "xml/XmlCharClass.h"
#include "xml/XmlErrors.h"

#include <climits>

namespace quillon {

namespace {
// Digits from the start of `text`, up to the first other byte; saturates at INT_MAX.
int LeadingNumber(std::string_view text, size_t* used = nullptr) {
  int64_t value = 0;
  size_t i = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
    if (value <= INT_MAX) value = value * 10 + (text[i] - '0');
  if (used) *used = i;
  return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

} // namespace

int xmlpimpl::AppendIndexToPath(int index) {
  BufStrBase& xpath = work->xpathText;
  int rc = xpath.Length() > 1 ? xpath.AppendChar('/') : errNone;
  if (rc == errNone) rc = xpath.AppendChar('[');
  if (rc == errNone) rc = xpath.AppendDecimal(index);
  if (rc == errNone) rc = xpath.AppendChar(']');
  return rc;
}

// The qualified name of the cursor element, composed here rather than in the tree's scratch
// string so that a failure to grow is seen.
int xmlpimpl::AppendCursorNameToPath() {
  BufStrBase& xpath = work->xpathText;
  const uint32_t element = tree.Cursor();
  const std::string_view prefix = tree.PrefixOf(element);
  int rc = errNone;
  if (!prefix.empty()) {
    rc = xpath.Append(prefix);
    if (rc == errNone) rc = xpath.AppendChar(':');
  }
  return rc == errNone ? xpath.Append(tree.LocalName(element)) : rc;
}

int xmlpimpl::RestoreXPath(uint32_t cursor, std::string_view xpath) {
  tree.SetCursor(cursor);
  if (!work) return errNone;
  return work->xpathText.Assign(xpath);
}

// The first step of an absolute path, tested against the root with the cursor on it.
int xmlpimpl::WalkFirstStep(std::string_view step, bool last) {
  if (step.empty()) return last ? errNone : SetErrorByCode(errXPath);
  if (SameNoCase(step, "[lastUnclosed()]")) {
    tree.SetCursor(tree.LastUnclosed());
    return errNone;
  }
  if (step == "[1]" || SameNoCase(step, "[last()]")) return errNone;
  if (!IsXmlNameStart(step[0], AllowLeadingDigit)) return SetErrorByCode(errXPath);
  size_t nameLength = 1;
  while (nameLength < step.size() && IsXmlNameChar(step[nameLength]))
    ++nameLength;
  const std::string_view name = step.substr(0, nameLength);
  if (nameLength < step.size()) {
    // name[digits]; only the first root can be named
    const std::string_view rest = step.substr(nameLength);
    size_t digits;
    const int index = rest.size() >= 3 && rest[0] == '[' && rest.back() == ']'
                          ? LeadingNumber(rest.substr(1), &digits)
                          : -1;
    if (index < 0 || digits != rest.size() - 2 || digits == 0 || index != 1)
      return SetErrorByCode(errXPath);
  }
  if (name != tree.QualifiedName() && name != tree.LocalName(tree.Cursor()) &&
      name != tree.ExpandedName())
    return SetErrorByCode(errTopElement);
  return errNone;
}

// name, name[n], name[@attr] or name[@attr=value], the value in optional quotes.
int xmlpimpl::WalkNameStep(std::string_view step) {
  size_t nameLength = 1;
  while (nameLength < step.size() && IsXmlNameChar(step[nameLength]))
    ++nameLength;
  const std::string_view name = step.substr(0, nameLength);
  int index = 1;
  std::string_view attribute;
  std::string_view value;
  bool hasValue = false;
  if (nameLength < step.size()) {
    if (step[nameLength] != '[' || step.back() != ']' || step.size() - nameLength < 2)
      return SetErrorByCode(errXPath);
    std::string_view inner = step.substr(nameLength + 1, step.size() - nameLength - 2);
    if (inner.find(']') != std::string_view::npos) return SetErrorByCode(errXPath);
    if (!inner.empty() && inner[0] == '@') {
      inner.remove_prefix(1);
      const size_t equals = inner.find('=');
      attribute = inner.substr(0, equals);
      if (equals != std::string_view::npos) {
        value = inner.substr(equals + 1);
        hasValue = true;
        if (value.size() >= 2 && (value[0] == '\'' || value[0] == '"') && value.back() == value[0])
          value = value.substr(1, value.size() - 2);
      }
    } else {
      size_t digits;
      index = LeadingNumber(inner, &digits);
      if (digits == 0 || digits != inner.size()) return SetErrorByCode(errXPath);
    }
  }
  if (int rc = tree.FindChild(name, index, attribute, hasValue ? &value : nullptr); rc != errNone)
    return SetErrorByCode(rc);
  BufStrBase& xpath = work->xpathText;
  int rc = xpath.Length() > 1 ? xpath.AppendChar('/') : errNone;
  if (rc == errNone) rc = AppendCursorNameToPath();
  if (rc == errNone && attribute.empty() && index > 1) {
    rc = xpath.AppendChar('[');
    if (rc == errNone) rc = xpath.AppendDecimal(index);
    if (rc == errNone) rc = xpath.AppendChar(']');
  }
  return rc == errNone ? errNone : SetErrorByCode(rc);
}

int xmlpimpl::XPathWalk(std::string_view path, bool top) {
  if (path.empty()) return errNone;
  if (!tree.Root()) return SetErrorByCode(errNoTree);
  Work& w = *work;
  // The path may be our own xpathText, which the walk rewrites.
  if (w.pathCopy.Assign(path) != errNone) return SetErrorByCode(errOutOfMemory);
  const std::string_view p = w.pathCopy.View();
  size_t pos = 0;
  for (;;) {
    if (top) {
      if (pos == p.size()) return errNone;
      if (p[pos] == '*') {
        // A record offset saved earlier; xpathText stays as it is.
        const int64_t offset = LeadingNumber(p.substr(pos + 1));
        if (offset >= tree.OffsetLimit()) return errNone;
        if (offset == 0) {
          tree.SetCursor(tree.Root());
          return errNone;
        }
        const uint32_t element = tree.ElementAtOffset(static_cast<uint32_t>(offset));
        if (!element) return SetErrorByCode(errXPath);
        tree.SetCursor(element);
        return errNone;
      }
      if (p[pos] == '/') {
        w.xpathText.Assign("/");
        tree.SetCursor(tree.Root());
        const size_t stepEnd = p.find('/', pos + 1);
        const bool last = stepEnd == std::string_view::npos;
        const size_t next = last ? p.size() : stepEnd;
        if (int rc = WalkFirstStep(p.substr(pos + 1, next - pos - 1), last); rc != errNone)
          return rc;
        if (AppendCursorNameToPath() != errNone) return SetErrorByCode(errOutOfMemory);
        pos = next;
      }
      top = false;
      continue;
    }

    while (pos < p.size() && p[pos] == '/')
      ++pos;
    if (pos == p.size()) return errNone;
    const char c = p[pos];

    if (c == '[') {
      // child n of any name; the text runs to the first ']'
      const size_t close = p.find(']', pos);
      const size_t textEnd = close == std::string_view::npos ? p.size() : close;
      const std::string_view text = p.substr(pos + 1, textEnd - pos - 1);
      int index;
      if (text.starts_with("last()") || text.starts_with("Last()") || text.starts_with("LAST()")) {
        BufStrN<31> offsetText;
        offsetText.Assign(text.substr(6));
        const int32_t offset = ParseDec32(offsetText.Data());
        if (offset > 0) return SetErrorByCode(errXPath);
        const int count = tree.ChildCount();
        index = static_cast<int>(static_cast<int64_t>(count) + offset < INT_MIN
                                     ? INT_MIN
                                     : static_cast<int64_t>(count) + offset);
      } else {
        index = LeadingNumber(text);
      }
      if (int rc = tree.NthChild(index); rc != errNone) return SetErrorByCode(rc);
      if (AppendIndexToPath(index) != errNone) return SetErrorByCode(errOutOfMemory);
      pos = close == std::string_view::npos ? p.size() : close + 1;
      continue;
    }

    if (c == '.' && pos + 1 < p.size() && p[pos + 1] == '.' &&
        (pos + 2 == p.size() || p[pos + 2] == '/')) {
      if (int rc = tree.GoParent(); rc != errNone) return SetErrorByCode(rc);
      BufStrBase& xpath = w.xpathText;
      int length = xpath.Length();
      while (length > 1 && xpath[length - 1] != '/')
        --length;
      if (length > 1) --length;
      xpath.Resize(length, nullptr);
      if (pos + 2 == p.size()) return errNone;
      // Behind "../" the rest starts over, so a further '/' makes it absolute.
      pos += 3;
      top = true;
      continue;
    }

    if (IsXmlNameStart(c, AllowLeadingDigit)) {
      const size_t stepEnd = p.find('/', pos);
      const size_t next = stepEnd == std::string_view::npos ? p.size() : stepEnd;
      if (int rc = WalkNameStep(p.substr(pos, next - pos)); rc != errNone) return rc;
      pos = next;
      continue;
    }
    return SetErrorByCode(errXPath);
  }
}

} // namespace quillon
