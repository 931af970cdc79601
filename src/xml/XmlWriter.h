// A forward-only XML writer for request bodies. The caller names each element and attribute by
// qualified name and namespace URI; the writer decides which xmlns declarations are needed and
// writes them when the start tag closes. Owners Reset, write, and take `output`.
#pragma once

#include "frame/BufStr.h"
#include "frame/ComponentCore.h"
#include "frame/PtrList.h"
#include "frame/StrList.h"

#include <cstdint>
#include <string_view>

namespace quillon {

enum XmlWriterError : int {
  errWriterState = 401, // an operation the state does not allow here, or a conflicting mapping
  errWriterName = 402,  // a qualified name that is not a name
};

class XmlWriter : public ComponentCore {
public:
  // Config: QuoteChar and Charset; other keys go on to ComponentCore.
  int Config(ConfigRequest& request, const char** result) override;

  // Operations. Each returns 0, 401, 402 or 200; text written before a failure stays.
  void Reset();
  int WriteDeclaration(const char* version, bool withEncoding, bool standalone);
  int StartElement(std::string_view qualifiedName, std::string_view namespaceUri);
  int WriteAttribute(std::string_view qualifiedName, std::string_view namespaceUri,
                     std::string_view value);
  // A null or empty text does nothing at all, not even close the start tag.
  int WriteText(std::string_view text);
  int EndElement();

  // Settings, as Reset leaves them: quote ", newline CR LF, indent one tab, charset "utf-8".
  BufStr20 indent;  // one level of indentation
  BufStr20 newline; // the line break
  BufStr20 quote;   // written round attribute values
  BufStr20 charset; // the value of the encoding pseudo-attribute

  BufStr output; // everything written so far

private:
  enum Op : int32_t {
    opNone = 0,
    opStartElement = 1,
    opEndElement = 2,
    opAttribute = 3,
    opText = 4,
    opDeclaration = 7,
  };

  // One open element. `mappings` holds triples: prefix, URI, and "1" once declared.
  struct Element {
    BufStr20 localName;
    BufStr20 prefix;
    BufStr namespaceUri;
    int32_t hasContent = 0; // set once the element has text
    StrList mappings;
    int CopyTo(Element& destination) const;
  };

  enum class Mapping { kNeeded, kInScope, kConflict };

  Element* Innermost() { return elements.At(elements.Count() - 1); }
  // Splits at the first ':' and tests both parts; 402 with its text for a bad name.
  int SplitName(std::string_view qualifiedName, std::string_view& prefix, std::string_view& local);
  int StateStep(Op op);
  void IndentStep();
  int CloseStartTag(bool empty);
  Mapping MapPrefix(std::string_view prefix, std::string_view uri, std::string_view* oldUri);
  int AddMapping(Element& element, std::string_view prefix, std::string_view uri, bool declared);
  int Write(std::string_view text);
  int WriteEscaped(std::string_view text);
  int WriteQuoted(std::string_view value);

  int32_t depth = 0;         // open elements, for indentation
  Op lastOp = opNone;        // while 1 or 3 the innermost start tag is still open
  PtrList<Element> elements; // the open elements, innermost last
  int32_t wroteAnything = 0; // set by every write
};

} // namespace quillon
