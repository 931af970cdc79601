// The scanner behind XmlParser: input layer (ASCII or UTF-8), the byte state machine with its
// text flushes and entity decoding, the element stack with late prefix resolution and the SGML
// closing rule, the tree it builds, and the path walker over that tree.
#pragma once

#include "frame/BufStr.h"
#include "xml/XmlEventSink.h"
#include "xml/XmlNameTable.h"
#include "xml/XmlScanText.h"
#include "xml/XmlTree.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// Scanner states, each named for what it awaits next. The numbers are part of the contract.
enum XmlScanState : uint8_t {
  xsText,               // 0  character data
  xsTagName,            // 1  the name behind '<'
  xsTagOpen,            // 2  the byte behind '<'
  xsInTag,              // 3  an attribute name or the end of the tag
  xsAttrName,           // 4  more of an attribute name
  xsAfterAttrName,      // 5  '=' or the next attribute
  xsBeforeValue,        // 6  the start of a value
  xsUnquotedValue,      // 7  more of an unquoted value
  xsAfterMarkup,        // 8  whitespace behind markup
  xsSingleQuoted,       // 9  more of a '-quoted value
  xsDoubleQuoted,       // 10 more of a "-quoted value
  xsEndTagName,         // 11 the name behind "</"
  xsAfterEndTagName,    // 12 the '>' of an end tag
  xsTextEntity,         // 13 a reference name in text
  xsUnquotedEntity,     // 14 a reference name in an unquoted value
  xsSingleQuotedEntity, // 15 a reference name in a '-quoted value
  xsDoubleQuotedEntity, // 16 a reference name in a "-quoted value
  xsAfterEndTagJunk,    // 17 anything: a failure
  xsBangDash,           // 18 the second '-' of "<!--"
  xsComment,            // 19 comment text
  xsCommentDash,        // 20 the second '-' of "--"
  xsCommentClose,       // 21 the '>' behind "--"
  xsInstruction,        // 22 instruction text up to "?>"
  xsAfterBang,          // 23 the byte behind "<!"
  xsDeclaration,        // 24 declaration text up to '>'
  xsSectionBody,        // 25 section text up to "]]>"
  xsSectionKeyword,     // 26 the keyword of "<![KEYWORD["
  xsDeclApos,           // 27 a '-quoted part of a declaration
  xsDeclQuote,          // 28 a "-quoted part of a declaration
  xsDeclBracket,        // 29 an internal subset up to ']'
  xsTrailByte,          // 30 the second byte of a double-byte character
  xsLongComment,        // 31 comment text up to "-->", with HTMLComments
};

// Bits of xmlpimpl::flags.
enum XmlParseFlag : uint32_t {
  xfIgnoreBadAttributePrefixes = 1,
  xfIgnoreBadElementPrefixes = 2,
  xfAllowMoreThanOneRoot = 4,
  xfAllowTextOutsideRoot = 8,
};

// Values of xmlpimpl::encoding.
enum XmlInputEncoding : int32_t { encAscii, encUtf8, encUtf16LE, encUtf16BE };

class xmlpimpl {
public:
  xmlpimpl() { tree.SetKeptText(&originalText); }
  ~xmlpimpl();
  xmlpimpl(const xmlpimpl&) = delete;
  xmlpimpl& operator=(const xmlpimpl&) = delete;

  // Documents
  // Prepares for a new document; keeps the settings, sgmlTags, encoding, codePage and sink.
  // Allocates nothing: the tables come with the first Feed.
  void Reset();
  // Pushes bytes through the scanner up to the first NUL or the end; 0 or the failing code, with
  // everything left as it stands at the failing byte.
  int Feed(const char* text);
  int Feed(std::string_view bytes);
  // Makes room in the kept text and the tree for about `bytes` of input to come in several
  // pushes, as a document pushed in one piece gets it: a hint, so that they do not grow by copies.
  void ExpectInput(size_t bytes);

  // Paths. Walks `path` from the cursor (or from the root when it begins with '/'); see
  // XmlPathWalk.cpp for the dialect.
  int XPathWalk(std::string_view path, bool top);
  std::string_view XPathText() const { return work ? work->xpathText.View() : std::string_view(); }
  // Restores a cursor and path text saved by the caller.
  int RestoreXPath(uint32_t cursor, std::string_view xpath);

  // Steps of the element stack, called by the state machine.
  int EndOfTagName() { return EndOfTagName(work->token.View()); }
  // The same with the name given; `name` may lie in the input.
  int EndOfTagName(std::string_view name);
  int StoreAttribute();
  // Stores a pair that lies outside attrName and token (in the input); they stay as they are.
  // `keptAt` is the value's offset in the kept text when it stands there as it is, or kNotKept.
  int StoreAttribute(std::string_view name, std::string_view value, uint32_t keptAt);
  int StartElement(bool isEmpty);
  int EmptyElement();
  // Closes the innermost element, or the one named by an end tag; `qname` may lie in the input
  // but not in `token`.
  int EndElement(bool wasEmpty, bool implied, std::string_view qname);

  // The tables as a receiver of OnStartElement sees them; valid only while inCallback is set.
  int LiveAttrCount() const { return work ? work->attrCount : 0; }
  std::string_view LiveAttrName(int i) const;
  std::string_view LiveAttrValue(int i) const;
  // Prefix and namespace of attribute i, resolved without failing.
  std::string_view LiveAttrNamespace(int i) const;
  int LivePrefixCount() const { return work ? work->prefixes.Count() : 0; }
  std::string_view LivePrefix(int i) const { return work->prefixes.Name(i); }
  std::string_view LivePrefixUri(int i) const { return work->prefixes.Value(i); }

  // Stores the fixed text of `code` in errorText and returns `code`.
  int SetErrorByCode(int code);
  // Adds a name to the list of elements that have end tags; 0 or 200.
  int AddSGMLTag(std::string_view name);

  // Fields
  XmlTree tree;                    // the document built while BuildDOM is set
  XmlEventSink* sink = nullptr;    // receiver of the callbacks; null until the owner sets it
  XmlEventSink* ownSink = nullptr; // the owning parser, whose callbacks do nothing: when `sink`
                                   // is it, callbacks are skipped and runs are scanned in bulk
  uint8_t state = xsText;          // XmlScanState
  uint8_t prev1 = 0;               // the last consumed byte; during a push, as of its start
  uint8_t prev2 = 0;               // the one before it
  uint8_t inCallback = 0;          // set only while OnStartElement runs
  BufStrN<7> errorText;            // message of the last failure
  int32_t codePage = 0;            // target of numeric references; 0 is the default code page
  int32_t charsetMode = 0;         // 1: a lead byte takes the next byte as text, unseen
  uint32_t inputCount = 0;         // bytes pushed through the state machine in this document
  uint32_t markupStart = 0;        // offset in the kept text of the last '<'
  XmlScanTextN<8> originalText;    // every byte pushed, while KeepOriginalText is set
  uint32_t flags = xfAllowMoreThanOneRoot | xfAllowTextOutsideRoot; // XmlParseFlag bits
  uint8_t IncludeUnknownPrefixes = 1; // a name with an unknown prefix keeps it in its local name
  uint8_t BuildDOM = 0;               // build the tree and decode references
  uint8_t KeepOriginalText = 1;       // keep the input in originalText for XSubTree and XContents
  uint8_t HTMLComments = 0;           // a comment ends only at "-->"; "--" inside is text
  uint8_t PreserveWhitespace = 0;     // keep leading and trailing whitespace of text runs
  uint8_t AllowLeadingDigit = 0;      // a digit may start a name
  BufStrN<7> sgmlTags;                // " a b " names that have end tags; empty: plain XML
  int32_t encoding = encAscii;        // XmlInputEncoding
  uint32_t partialCodePoint = 0;      // UTF-8: the bits of the sequence so far
  int32_t pendingBytes = 0;           // UTF-8: continuation bytes still due
  uint8_t markupPath = 1; // ordinary markup read in whole constructs; tests turn it off to compare

private:
  static constexpr uint32_t kNotKept = XmlTree::kNotKept;
  static constexpr uint32_t kNoName = XmlNamePool::kNone;
  // At most this many attributes in a tag and open elements; one more is 200.
  static constexpr int kMaxAttributes = 256;
  static constexpr int kMaxOpen = 256;

  // An attribute of the tag being read: its value lies in the kept text at keptAt, or in
  // `values` at valueAt, NUL-terminated.
  struct PendingAttribute {
    uint32_t name; // name id of the qualified name
    uint32_t keptAt;
    uint32_t valueAt;
    uint32_t valueLength;
  };
  struct OpenElement {
    uint32_t name;      // name id of the qualified name as written
    uint32_t textStart; // where its text starts in elementText
  };
  // Tables and buffers made by the first Feed, so that an idle parser stays small.
  struct Work {
    PendingAttribute attributes[kMaxAttributes]; // of the tag being read
    int attrCount = 0;
    XmlScanBuffer values;       // values of the tag being read that are not in the kept text
    OpenElement open[kMaxOpen]; // open elements, outermost first
    int depth = 0;              // entries of `open`
    XmlNameTable prefixes;      // mappings in scope: prefix, URI; searched from the top;
                                // Depth: depth + 1 of the declaring element; Offset: its mapping
    uint32_t scopeVersion = 1;  // changes whenever `prefixes` does; tags cached resolutions
    // The text so far of every open element, innermost last: an element's text starts at its
    // textStart and runs to the next element's start, and it leaves with its element.
    XmlScanBuffer elementText;
    // A run of text of the innermost element that lies in the kept text as it is, not yet copied
    // into elementText: at textKeptAt (kNotKept: none), of textKeptLength bytes.
    uint32_t textKeptAt = kNotKept;
    uint32_t textKeptLength = 0;
    XmlScanBuffer text;               // pending character data
    int textBlank = 0;                // length of the front of `text` known to be whitespace
    XmlScanBuffer entity;             // name of the reference being read, without '&' and ';'
    XmlScanBuffer token;              // the current name or value
    XmlScanBuffer entityValue;        // decoded value of the last reference
    uint32_t elementName = kNoName;   // the start tag being read; survives it in SGML mode
    uint32_t lastStartName = kNoName; // the name of the last start tag of the markup path
    XmlScanBuffer attrName;           // the attribute name waiting for its value
    XmlScanBuffer message;            // a failure text, or markup set aside by the SGML rule
    BufStr xpathText;                 // the cursor's path, always one that leads back to it
    BufStr pathCopy;                  // the walker's private copy of its path
  };

  int MakeWork();
  // Sets the value of `attribute`, copying it into `values` unless it is kept as it is, and
  // counts the attribute in.
  int AddPendingAttribute(PendingAttribute& attribute, std::string_view value, uint32_t keptAt) {
    attribute.keptAt = keptAt;
    attribute.valueLength = static_cast<uint32_t>(value.size());
    if (keptAt == kNotKept) {
      attribute.valueAt = static_cast<uint32_t>(work->values.Length());
      if (work->values.Append(value) != errNone || work->values.AppendChar(0) != errNone)
        return errOutOfMemory;
    }
    ++work->attrCount;
    return errNone;
  }
  // Appends `attribute` of the tag just read to the tree, with its resolved name and mapping.
  int AppendPendingAttribute(const PendingAttribute& attribute, uint32_t name, uint32_t mapping) {
    const char* value =
        attribute.keptAt == kNotKept ? work->values.Data() + attribute.valueAt : nullptr;
    return tree.AppendAttribute(name, mapping, value, attribute.valueLength, attribute.keptAt);
  }
  // Input layer
  int PushBytes(const char* begin, const char* end);
  int FeedUtf8(const char* begin, const char* end);
  // State machine
  int Step(char c);
  // Steps the byte at `at`, with `current` and inputCount set for it.
  int StepAt(const char* at) {
    SetCurrent(at);
    return Step(*at);
  }
  void SetCurrent(const char* at) {
    current = at;
    inputCount = chunkCount + static_cast<uint32_t>(at - chunkBegin) + 1;
  }
  // The bytes from `p` without a listener: runs and the common transitions inline, every
  // other byte through Step. Returns where it stopped: `end`, or behind a failing byte.
  const char* ScanFast(const char* p, const char* end, int* rc);
  const char* ScanRun(const char* p, const char* end, int* rc);
  // Whole constructs of ordinary markup from `p`, where text begins (XmlScanMarkup.cpp). Returns
  // where ScanFast goes on, or behind a failing byte with `*rc` set.
  const char* ScanMarkup(const char* p, const char* end, int* rc);
  // A start or end tag whose '<' is at `open`, or as much of it as is ordinary.
  const char* StartTagMarkup(const char* open, const char* end, int* rc);
  const char* EndTagMarkup(const char* open, const char* end, int* rc);
  // The steps of ordinary markup: a text run up to '<', an attribute, the start of the element
  // of the tag just read, the end of the innermost element. Each returns 0 or the failing code.
  // Offsets in the kept text: `tagStart` of the tag's '<', `tagEnd` behind its '>'; the end of
  // an element's contents is the start of its end tag, or the end of its empty tag.
  int MarkupText(const char* run, const char* open);
  // A reference in text from '&' at `amp` to the byte that ends its name, with the run before it;
  // where the text goes on.
  const char* TextReference(const char* run, const char* amp, const char* nameEnd, int* rc);
  // A quoted value whose opening quote is at `quote` and which holds a reference, stored as
  // attribute `name`; where the tag goes on.
  const char* ReferencedValue(std::string_view name, const char* quote, const char* end, int* rc);
  // `known` is the name's id when it is known, else kNoName; `previousName` and `sequel` say
  // what the name follows, and are moved on to it.
  int MarkupAttribute(std::string_view name, uint32_t known, std::string_view value,
                      uint32_t keptAt, uint32_t* previousName, XmlNamePool::Sequel* sequel);
  int MarkupStartElement(bool isEmpty, uint32_t tagStart, uint32_t tagEnd);
  int MarkupEndElement(uint32_t contentEnd, uint32_t tagEnd);
  // Whether ScanMarkup may take ordinary markup: the tree is built, and neither the SGML rule
  // nor double-byte characters apply.
  bool UseMarkupPath() const {
    return markupPath && BuildDOM && sgmlTags.IsEmpty() && charsetMode != 1;
  }
  int TagEnd();
  // The byte `back` places before `at` in the pushed stream, across the start of this push.
  char ByteBefore(const char* at, int back) const;
  char Prev1() const { return ByteBefore(current, 1); }
  char Prev2() const { return ByteBefore(current, 2); }
  // Appends the pushed bytes before `upTo` to the kept text; 0 or 200.
  int FlushOriginal(const char* upTo);
  // Text flushes and content
  // `keptAt`: the run's offset in the kept text when it lies there as it is, else kNotKept.
  int Content(const char* text, int length, uint32_t keptAt = kNotKept);
  // Appends to the text of the innermost open element; 0 or 200 with its text.
  int AppendElementText(const char* text, int length);
  // Copies a run noted as lying in the kept text into elementText; 0 or 200 with its text.
  int TakeKeptText() { return work->textKeptAt == kNotKept ? 0 : CopyKeptText(); }
  int CopyKeptText();
  // The kept text up to offset `end`, appending what this push holds of it; null on failure.
  const char* KeptBytes(uint32_t at, uint32_t end);
  // The offset in the pushed stream of a byte of this push.
  uint32_t StreamOffset(const char* at) const {
    return chunkCount + static_cast<uint32_t>(at - chunkBegin);
  }
  int FlushAll() { return work->text.IsEmpty() ? 0 : FlushText(); }
  int FlushIgnorable() { return work->text.IsEmpty() ? 0 : FlushIgnorableText(); }
  // The two flushes of a non-empty `text`.
  int FlushText();
  int FlushIgnorableText();
  int FlushTrim();
  // FlushTrim of a run that lies in the input while `text` is empty.
  int FlushTrimRun(const char* run, int length);
  int FlushLine();
  // Empties `text`; everything that empties it goes through here.
  void ClearPendingText();
  int DecodeEntity(char endByte);
  int ConvertCodeUnit(uint32_t unit);
  // Whether numeric references decode to UTF-8: codePage, or the default one for 0, is 65001.
  bool TargetIsUtf8() const;
  int EndSpecial(int kind);
  int EndSection();
  // Element stack
  int ResolveElement(std::string_view qname, std::string_view* ns, std::string_view* local,
                     int* mapping);
  // ResolveElement of an interned name, through the resolution cached with it.
  int ResolveElementName(uint32_t name, std::string_view* ns, std::string_view* local,
                         int* mapping);
  int ResolveAttribute(std::string_view qname, std::string_view* ns, std::string_view* local,
                       uint32_t* mappingRecord);
  // ResolveAttribute of an interned name, through the resolution cached with it.
  int ResolveAttributeName(uint32_t name, std::string_view* local, uint32_t* mappingRecord);
  bool InSgmlList(std::string_view name) const;
  int FailWithName(int code, const char* text, std::string_view name);
  XmlEventSink* Listener() const { return sink == ownSink ? nullptr : sink; }
  std::string_view NameOf(uint32_t name) const { return tree.Names().Name(name); }
  // Path walking
  // The first step of an absolute path; `last` when no step follows it.
  int WalkFirstStep(std::string_view step, bool last);
  int WalkNameStep(std::string_view step);
  // Extend xpathText by the step just taken: 0, or 200 when the text cannot grow.
  int AppendIndexToPath(int index);
  int AppendCursorNameToPath();

  Work* work = nullptr;               // made by the first Feed
  const char* chunkBegin = nullptr;   // the bytes being pushed: start,
  const char* current = nullptr;      // the byte in the state machine,
  const char* originalFrom = nullptr; // and the first byte not yet in originalText
  uint32_t chunkCount = 0;            // inputCount at chunkBegin, moved by SGML closings
};

} // namespace quillon
