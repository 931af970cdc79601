// Result codes of the XML engine: scanner, element stack, tree cursor and path rewrite. 200
// (out of memory), 207 (bad path) and 434 (code page) are the shared codes of frame/Errors.h.
#pragma once

namespace quillon {

enum XmlError : int {
  errAttrIndex = 101,            // an attribute index outside the cursor element's attributes
  errNoAttributes = 102,         // an attribute index on an element without attributes
  errNamespaceIndex = 103,       // a namespace index outside the mappings in scope
  errNoNamespaces = 104,         // a namespace index where no mapping is in scope
  errElementIndex = 105,         // a child index outside the cursor element's children
  errNoElements = 106,           // a child index on an element without children
  errNoAttribute = 107,          // AttributeValue of a missing attribute with ErrorOnEmptyAttr
  errUnbalancedTag = 201,        // an end tag that does not close the innermost open element
  errUnknownElementPrefix = 202, // an element prefix with no mapping in scope
  errUnknownAttrPrefix = 203,    // an attribute prefix with no mapping in scope
  errInvalidMarkup = 204,        // "=" then ">", junk behind an end tag name, "--" in a comment
  errInvalidEndState = 205,      // reserved: has a text, raised nowhere
  errUnbalancedDocument = 206,   // reserved: has a text, raised nowhere
  errNoSuchChild = 208,          // a name step that matches no child; ".." at the root
  errTopElement = 209,           // the first step of an absolute path names another root
  errNoTree = 210,               // a path walked while no element record exists
  errMoreThanOneRoot = 211,      // reserved: has a text, raised nowhere
  errTextOutsideRoot = 212,      // text outside every element with AllowTextOutsideRoot off
  errNoOriginalText = 214,       // XSubTree or XContents with KeepOriginalText off
  errUtf16Input = 306,           // UseEncoding names UTF-16, which the input layer refuses
  errRewriteIndex = 555,         // a path rewrite with an index beyond the elements there
};

// The fixed text of an XML engine code; "xmlpimpl: unknown error" for any other code.
const char* XmlErrorText(int code);

} // namespace quillon
