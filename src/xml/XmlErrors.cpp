// The one table of fixed texts of the XML engine. Codes 201 to 203 are raised with a longer
// form that names the culprit; the plain forms here are what the table gives for them.
#include "xml/XmlErrors.h"

#include "frame/Errors.h"

namespace quillon {

const char* XmlErrorText(int code) {
  switch (code) {
  case errOutOfMemory:
    return "Out of memory.";
  case errUnbalancedTag:
    return "Unbalanced element tag.";
  case errUnknownElementPrefix:
    return "Unknown element prefix (can't find namespace).";
  case errUnknownAttrPrefix:
    return "Unknown attribute prefix (can't find namespace).";
  case errInvalidMarkup:
    return "Invalid XML markup.";
  case errInvalidEndState:
    return "Invalid end state for parser.";
  case errUnbalancedDocument:
    return "Document contains unbalanced elements.";
  case errXPath:
    return "Invalid XPath.";
  case errNoSuchChild:
    return "No such child.";
  case errTopElement:
    return "Top element does not match start of path.";
  case errNoTree:
    return "DOM tree unavailable (set BuildDOM to TRUE and reparse).";
  case errMoreThanOneRoot:
    return "Invalid XML: the document has more than one root element.";
  case errTextOutsideRoot:
    return "Invalid XML: the document contains text outside the root element.";
  case errNoOriginalText:
    return "Subtree not available unless KeepOriginalText is set.";
  case errUtf16Input:
    return "UTF-16 support not currently available.";
  default:
    return "xmlpimpl: unknown error";
  }
}

} // namespace quillon
