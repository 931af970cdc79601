// The receiver of the scanner's callbacks. Every operation returns 0 to go on; any other code
// stops the scanner with that code (the result of OnError is not looked at). Strings are
// NUL-terminated unless a length comes with them.
#pragma once

namespace quillon {

class XmlEventSink {
public:
  virtual ~XmlEventSink() = default;

  // Character data, delivered line by line; `text` need not be NUL-terminated.
  virtual int OnCharacters(const char* text, int length) = 0;
  virtual int OnComment(const char* text) = 0;
  virtual int OnEndElement(const char* ns, const char* localName, const char* qualifiedName,
                           bool wasEmpty) = 0;
  virtual int OnEndPrefixMapping(const char* prefix) = 0;
  // A bad prefix tolerated by IgnoreBadAttributePrefixes or IgnoreBadElementPrefixes.
  virtual int OnError(int code, const char* text) = 0;
  // Each reference after decoding; pointing `*value` elsewhere replaces the value.
  virtual int OnEvalEntity(const char* name, const char** value) = 0;
  virtual int OnIgnorableWhitespace(const char* text) = 0;
  // A declaration such as DOCTYPE, without "<!" and ">".
  virtual int OnMeta(const char* text) = 0;
  // A processing instruction: target and data as one string.
  virtual int OnPI(const char* text) = 0;
  // A bracketed section: its keyword ("CDATA") and its body.
  virtual int OnSpecialSection(const char* keyword, const char* text) = 0;
  virtual int OnStartElement(const char* ns, const char* localName, const char* qualifiedName,
                             bool isEmpty) = 0;
  virtual int OnStartPrefixMapping(const char* prefix, const char* ns) = 0;
  // Each input byte before the state machine sees it.
  virtual int OnInputByte(char byte) = 0;
};

} // namespace quillon
