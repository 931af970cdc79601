// The path rewrite: new inner XML for the element at a parser's cursor, in which one element or
// attribute named by a path ("a/b[2]/c", "a/b@attr") takes a new value, built from the tree and
// the kept text. Untouched siblings are copied as they stood; a missing path is created.
#pragma once

#include "frame/BufStr.h"
#include "frame/ComponentCore.h"

#include <string_view>

namespace quillon {

class XmlParser;

struct XmlRewriteContext {
  bool byLocalName = true;              // compare children by local name, not qualified name
  ComponentCore* errorTarget = nullptr; // receives the text of a failure; none when null
};

// Appends to `out` the children of the cursor element with the element (or attribute) at `path`
// set to `value`, written as given. The cursor ends where it started. 0, 555 for an index beyond
// the elements there, 214 without KeepOriginalText, 200, or the code of a failed move.
int RewriteChildren(XmlRewriteContext& context, XmlParser& parser, BufStrBase& out,
                    std::string_view path, std::string_view value);
// Writes the cursor element under `name` with its attributes and, inside, either the rewrite of
// `rest` or `value`; with `attribute` only that attribute changes.
int RewriteElement(XmlRewriteContext& context, XmlParser& parser, BufStrBase& out,
                   std::string_view name, std::string_view rest, std::string_view attribute,
                   std::string_view value);
// Writes the cursor element under `name` with `attribute` set to `value` (added at the end when
// missing), its text kept and its children dropped.
int RewriteAttribute(XmlRewriteContext& context, XmlParser& parser, BufStrBase& out,
                     std::string_view name, std::string_view attribute, std::string_view value);
// Writes new elements for `path`, the last one holding `value` or the attribute of "@attr".
int WriteNewPath(BufStrBase& out, std::string_view path, std::string_view value);

} // namespace quillon
