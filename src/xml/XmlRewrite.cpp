// The rewrite walks the path one step per level: at each level the children of the cursor are
// visited by index, the chosen one is written anew and every other one is copied from the kept
// text. Values from the tree are decoded, so they are escaped again on the way out; the new
// value is written as the caller gives it.
#include "xml/XmlRewrite.h"

#include "frame/Errors.h"
#include "xml/XmlErrors.h"
#include "xml/XmlParser.h"

namespace quillon {

namespace {
constexpr const char* kIndexText = "Invalid index. There are not that many tags in the XML.";

struct PathStep {
  std::string_view head;      // the step's name, without its index
  int index = 1;              // [n], 1 when absent or 0
  std::string_view rest;      // the steps behind the first '/'
  std::string_view attribute; // "@attr" of the last step
};

PathStep SplitPath(std::string_view path) {
  PathStep step;
  const size_t slash = path.find('/');
  step.head = path.substr(0, slash);
  if (slash != std::string_view::npos) {
    step.rest = path.substr(slash + 1);
  } else if (const size_t at = step.head.find('@'); at != std::string_view::npos) {
    step.attribute = step.head.substr(at + 1);
    step.head = step.head.substr(0, at);
  }
  if (const size_t bracket = step.head.find('['); bracket != std::string_view::npos) {
    int index = 0;
    for (size_t i = bracket + 1;
         i < step.head.size() && step.head[i] >= '0' && step.head[i] <= '9' && index < 100000000;
         ++i)
      index = index * 10 + (step.head[i] - '0');
    step.index = index == 0 ? 1 : index;
    step.head = step.head.substr(0, bracket);
  }
  return step;
}

int AppendEscaped(BufStrBase& out, std::string_view text, bool inAttribute) {
  size_t from = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char* entity = nullptr;
    switch (text[i]) {
    case '&':
      entity = "&amp;";
      break;
    case '<':
      entity = "&lt;";
      break;
    case '>':
      entity = inAttribute ? nullptr : "&gt;";
      break;
    case '"':
      entity = inAttribute ? "&quot;" : nullptr;
      break;
    default:
      break;
    }
    if (!entity) continue;
    if (out.Append(text.substr(from, i - from)) != errNone || out.AppendText(entity) != errNone)
      return errOutOfMemory;
    from = i + 1;
  }
  return out.Append(text.substr(from));
}

int Fail(XmlRewriteContext& context, int code, const char* text) {
  if (context.errorTarget) context.errorTarget->SetLastErrorText(text);
  return code;
}

int FailedMove(XmlRewriteContext& context, XmlParser& parser, int code) {
  if (context.errorTarget) context.errorTarget->SetLastErrorText(parser.LastErrorText());
  return code;
}

// The start tag of the cursor element under `name`, each attribute by its local name; with a
// non-empty `attribute` that one takes `value`, or is added when missing. No closing '>'.
int AppendStartTag(XmlParser& parser, BufStrBase& out, std::string_view name,
                   std::string_view attribute, std::string_view value) {
  int rc = out.AppendChar('<') | out.Append(name);
  bool found = false;
  const int count = parser.AttrCount();
  for (int i = 0; i < count; ++i) {
    const std::string_view local = parser.AttrLocalName(i);
    rc |= out.AppendChar(' ') | out.Append(local) | out.Append("=\"", 2);
    if (!attribute.empty() && local == attribute) {
      found = true;
      rc |= out.Append(value);
    } else {
      rc |= AppendEscaped(out, parser.AttrValue(i), true);
    }
    rc |= out.AppendChar('"');
  }
  if (!attribute.empty() && !found)
    rc |= out.AppendChar(' ') | out.Append(attribute) | out.Append("=\"", 2) | out.Append(value) |
          out.AppendChar('"');
  return rc ? errOutOfMemory : errNone;
}

int AppendEndTag(BufStrBase& out, std::string_view name) {
  return out.Append("</", 2) | out.Append(name) | out.AppendChar('>') ? errOutOfMemory : errNone;
}
} // namespace

int RewriteChildren(XmlRewriteContext& context, XmlParser& parser, BufStrBase& out,
                    std::string_view path, std::string_view value) {
  if (path.empty() || path[0] == '/') return errNone;
  const PathStep step = SplitPath(path);
  int wanted = step.index;
  const int count = parser.XChildrenCount();
  for (int i = 1; i <= count; ++i) {
    BufStr20 move;
    move.AppendChar('[');
    move.AppendDecimal(i);
    move.AppendChar(']');
    if (int rc = parser.SetXPath(move.View()); rc != errNone)
      return FailedMove(context, parser, rc);
    const std::string_view name = context.byLocalName ? parser.LocalName() : parser.XElement();
    int rc = errNone;
    if (wanted == 1 && name == step.head) {
      BufStr qualified;
      if (qualified.Assign(parser.XElement()) != errNone) return errOutOfMemory;
      rc = RewriteElement(context, parser, out, qualified.View(), step.rest, step.attribute, value);
      wanted = 0;
    } else {
      if (wanted >= 1 && name == step.head) --wanted;
      std::string_view kept;
      rc = parser.XSubTree(&kept);
      if (rc == errNone && out.Append(kept) != errNone) rc = errOutOfMemory;
      if (rc == errNoOriginalText) return FailedMove(context, parser, rc);
    }
    if (rc != errNone) return rc;
    if (int back = parser.SetXPath(".."); back != errNone) return FailedMove(context, parser, back);
  }
  if (wanted > 1) return Fail(context, errRewriteIndex, kIndexText);
  if (wanted == 1) {
    // No such child yet: create the whole rest of the path.
    BufStr newPath;
    int rc = newPath.Append(step.head);
    if (!step.rest.empty()) rc |= newPath.AppendChar('/') | newPath.Append(step.rest);
    if (!step.attribute.empty()) rc |= newPath.AppendChar('@') | newPath.Append(step.attribute);
    if (rc != errNone) return errOutOfMemory;
    return WriteNewPath(out, newPath.View(), value);
  }
  return errNone;
}

int RewriteElement(XmlRewriteContext& context, XmlParser& parser, BufStrBase& out,
                   std::string_view name, std::string_view rest, std::string_view attribute,
                   std::string_view value) {
  if (!attribute.empty() && !rest.empty())
    return Fail(context, errRewriteIndex, "Internal error parsing attribute.");
  if (!attribute.empty()) return RewriteAttribute(context, parser, out, name, attribute, value);
  if (AppendStartTag(parser, out, name, {}, {}) != errNone || out.AppendChar('>') != errNone)
    return errOutOfMemory;
  if (!rest.empty()) {
    if (int rc = RewriteChildren(context, parser, out, rest, value); rc != errNone) return rc;
  } else if (out.Append(value) != errNone) {
    return errOutOfMemory;
  }
  return AppendEndTag(out, name);
}

int RewriteAttribute(XmlRewriteContext&, XmlParser& parser, BufStrBase& out, std::string_view name,
                     std::string_view attribute, std::string_view value) {
  if (AppendStartTag(parser, out, name, attribute, value) != errNone) return errOutOfMemory;
  const std::string_view text = parser.XText();
  if (text.empty()) return out.Append(" />", 3);
  if (out.AppendChar('>') != errNone || AppendEscaped(out, text, false) != errNone)
    return errOutOfMemory;
  return AppendEndTag(out, name);
}

// Opening tags from the first step to the last, then closing tags back to the first. Empty
// steps and indexes are left out: a new element has no siblings to count.
int WriteNewPath(BufStrBase& out, std::string_view path, std::string_view value) {
  int rc = errNone;
  std::string_view remaining = path;
  for (;;) {
    const PathStep step = SplitPath(remaining);
    if (step.rest.empty() && remaining.find('/') == std::string_view::npos) {
      if (!step.head.empty()) {
        rc |= out.AppendChar('<') | out.Append(step.head);
        if (!step.attribute.empty())
          rc |= out.AppendChar(' ') | out.Append(step.attribute) | out.Append("=\"", 2) |
                out.Append(value) | out.Append("\" />", 4);
        else if (value.empty())
          rc |= out.Append("/>", 2);
        else
          rc |= out.AppendChar('>') | out.Append(value) | AppendEndTag(out, step.head);
      }
      break;
    }
    if (!step.head.empty()) rc |= out.AppendChar('<') | out.Append(step.head) | out.AppendChar('>');
    remaining = step.rest;
  }
  // Close the steps in front of the last one, innermost first.
  std::string_view opened = path.substr(0, path.size() - remaining.size());
  while (!opened.empty()) {
    opened.remove_suffix(1); // the '/' behind the step
    const size_t slash = opened.rfind('/');
    const std::string_view stepText =
        slash == std::string_view::npos ? opened : opened.substr(slash + 1);
    const PathStep step = SplitPath(stepText);
    if (!step.head.empty()) rc |= AppendEndTag(out, step.head);
    opened = slash == std::string_view::npos ? std::string_view() : opened.substr(0, slash + 1);
  }
  return rc ? errOutOfMemory : errNone;
}

} // namespace quillon
