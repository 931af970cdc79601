// The byte state machine. Outline of the states (numbers as in XmlScanState):
//
//   0 text --'<'--> 2 tag open --name--> 1 tag name --ws--> 3 in tag <--> 4/5/6 attributes
//        \                    \--'/'--> 11 end tag name --> 12 --'>'--> 8 after markup --> 0
//         '&'--> 13 entity     \--'!'--> 23 --'-'--> 18 --> 19/20/21 comment (31 with HTMLComments)
//                               \         --'['--> 26 keyword --> 25 section body
//                                \        --other--> 24 declaration (27/28/29 quoted, subset)
//                                 \--'?'--> 22 instruction
//   values: 6 --'"'--> 10, --'\''--> 9, --other--> 7, each with its entity state (16, 15, 14).
//
// Each byte is pushed once: OnInputByte, appended to the kept text, counted, then Step. Step
// loops while a row says "again". Without a listener on the sink the bytes go through ScanFast
// (XmlScanFast.cpp) instead, which does the same in bulk and hands ordinary markup to ScanMarkup
// (XmlScanMarkup.cpp), and the kept text is appended in blocks; ScanRun takes a run of bytes that
// the present state only appends or skips.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "frame/Memory.h"
#include "xml/XmlCharClass.h"
#include "xml/XmlErrors.h"

#include <climits>
#include <cstring>
#include <initializer_list>
#include <new>

namespace quillon {

namespace {
int TrimmedLength(const char* text, int length) {
  while (length > 0 && IsXmlSpace(text[length - 1]))
    --length;
  return length;
}

bool EndsInSpace(const XmlScanText& text) {
  return text.Length() > 0 && IsXmlSpace(text[text.Length() - 1]);
}

enum SpecialKind { skComment, skInstruction, skDeclaration };

constexpr int kUtf8Block = 4096;
constexpr size_t kReserveFrom = 4096;
} // namespace

xmlpimpl::~xmlpimpl() {
  if (work) {
    work->~Work();
    MemFree(work);
  }
}

int xmlpimpl::MakeWork() {
  if (work) return errNone;
  void* block = MemAlloc(sizeof(Work));
  if (!block) return errOutOfMemory;
  work = new (block) Work();
  return errNone;
}

void xmlpimpl::Reset() {
  markupStart = 0;
  inputCount = 0;
  state = xsText;
  prev1 = 0;
  prev2 = 0;
  inCallback = 0;
  if (work) {
    FlushAll();
    Work& w = *work;
    for (XmlScanText* text :
         {&w.token, &w.entity, &w.entityValue, &w.attrName, &w.elementText, &w.values})
      text->Clear();
    ClearPendingText();
    w.xpathText.Resize(0, nullptr);
    w.attrCount = 0;
    w.depth = 0;
    w.elementName = kNoName;
    w.lastStartName = kNoName;
    w.textKeptAt = kNotKept;
    w.prefixes.Clear();
    ++w.scopeVersion;
  }
  originalText.Release();
  errorText.Resize(0, nullptr);
  tree.Reset();
  partialCodePoint = 0;
  pendingBytes = 0;
}

int xmlpimpl::SetErrorByCode(int code) {
  errorText.Assign(XmlErrorText(code));
  return code;
}

int xmlpimpl::Feed(const char* text) {
  return Feed(std::string_view(text ? text : "", text ? std::strlen(text) : 0));
}

void xmlpimpl::ExpectInput(size_t bytes) {
  if (bytes >= static_cast<size_t>(INT_MAX / 2)) return;
  if (KeepOriginalText) originalText.Reserve(originalText.Length() + static_cast<int>(bytes));
  if (BuildDOM) tree.Reserve(bytes);
}

int xmlpimpl::Feed(std::string_view bytes) {
  if (encoding == encUtf16LE || encoding == encUtf16BE) return SetErrorByCode(errUtf16Input);
  if (const void* nul = bytes.empty() ? nullptr : std::memchr(bytes.data(), 0, bytes.size()))
    bytes = bytes.substr(0, static_cast<size_t>(static_cast<const char*>(nul) - bytes.data()));
  if (int rc = MakeWork(); rc != errNone) return SetErrorByCode(rc);
  if (BuildDOM && !tree.Begun())
    if (int rc = tree.Begin(); rc != errNone) return SetErrorByCode(rc);
  // A document given in one piece gets its kept text and records in one block each, rather
  // than growing through copies.
  if (bytes.size() > inputCount && bytes.size() >= kReserveFrom) ExpectInput(bytes.size());
  const char* begin = bytes.data();
  const char* end = begin + bytes.size();
  const int rc = encoding == encUtf8 ? FeedUtf8(begin, end) : PushBytes(begin, end);
  // Also behind a failure, since the tree up to it stays readable.
  const int reserved = BuildDOM ? tree.ReserveCopies() : errNone;
  if (rc == errNone && reserved != errNone) return SetErrorByCode(reserved);
  return rc;
}

// RFC 3629 sequences become "&#n;" so that they meet the entity handling of the state machine;
// stray continuation bytes and bytes that start no sequence are dropped. An overlong form of an
// ASCII byte becomes a reference too, so that it can never be markup.
int xmlpimpl::FeedUtf8(const char* begin, const char* end) {
  char block[kUtf8Block + 16];
  int used = 0;
  for (const char* p = begin; p < end; ++p) {
    const uint8_t b = static_cast<uint8_t>(*p);
    if (b < 0x80) {
      partialCodePoint = 0;
      pendingBytes = 0;
      block[used++] = static_cast<char>(b);
    } else if ((b & 0xE0) == 0xC0) {
      partialCodePoint = (b & 0x1Fu) << 6;
      pendingBytes = 1;
    } else if ((b & 0xF0) == 0xE0) {
      partialCodePoint = (b & 0x0Fu) << 12;
      pendingBytes = 2;
    } else if ((b & 0xF8) == 0xF0) {
      partialCodePoint = (b & 0x07u) << 18;
      pendingBytes = 3;
    } else if ((b & 0xC0) == 0x80 && pendingBytes > 0) {
      --pendingBytes;
      partialCodePoint |= (b & 0x3Fu) << (6 * pendingBytes);
      if (pendingBytes == 0) {
        char digits[16];
        int n = 0;
        uint32_t value = partialCodePoint;
        do {
          digits[n++] = static_cast<char>('0' + value % 10);
          value /= 10;
        } while (value);
        block[used++] = '&';
        block[used++] = '#';
        while (n)
          block[used++] = digits[--n];
        block[used++] = ';';
        partialCodePoint = 0;
      }
    }
    if (used >= kUtf8Block) {
      if (int rc = PushBytes(block, block + used); rc != errNone) return rc;
      used = 0;
    }
  }
  return used ? PushBytes(block, block + used) : errNone;
}

int xmlpimpl::PushBytes(const char* begin, const char* end) {
  chunkBegin = begin;
  originalFrom = begin;
  chunkCount = inputCount;
  const char* p = begin;
  int rc = errNone;
  if (XmlEventSink* listener = Listener()) {
    // Byte by byte: the listener sees each byte, and the kept text is up to date at every
    // callback.
    for (; p < end; ++p) {
      if ((rc = listener->OnInputByte(*p)) != errNone) break;
      if ((rc = FlushOriginal(p + 1)) != errNone || (rc = StepAt(p)) != errNone) {
        ++p;
        break;
      }
    }
  } else {
    p = ScanFast(p, end, &rc);
  }
  const int keptRc = FlushOriginal(p);
  if (rc == errNone) rc = keptRc;
  inputCount = chunkCount + static_cast<uint32_t>(p - begin);
  if (p - begin >= 2) {
    prev2 = static_cast<uint8_t>(p[-2]);
    prev1 = static_cast<uint8_t>(p[-1]);
  } else if (p > begin) {
    prev2 = prev1;
    prev1 = static_cast<uint8_t>(p[-1]);
  }
  return rc;
}

int xmlpimpl::FlushOriginal(const char* upTo) {
  if (upTo <= originalFrom) return errNone;
  const char* from = originalFrom;
  originalFrom = upTo;
  if (!KeepOriginalText) return errNone;
  return originalText.Append(from, static_cast<int>(upTo - from));
}

char xmlpimpl::ByteBefore(const char* at, int back) const {
  const ptrdiff_t inChunk = at - chunkBegin;
  if (inChunk >= back) return at[-back];
  // The rest lies before this push, where prev1 and prev2 stand.
  return static_cast<char>(back - inChunk == 1 ? prev1 : prev2);
}

// Takes the run of bytes from `p` that the present state would append to one buffer (or skip)
// without any other action, and returns where the run ends. On a failed append `*rc` is set.
const char* xmlpimpl::ScanRun(const char* p, const char* end, int* rc) {
  Work& w = *work;
  const char* q = p;
  XmlScanText* target;
  switch (state) {
  case xsText: {
    const uint8_t stop = xcTextStop | (charsetMode == 1 ? xcLeadByte : 0);
    while (q < end && !(XmlClass(*q) & stop))
      ++q;
    target = &w.text;
    break;
  }
  case xsAfterMarkup:
    while (q < end && IsXmlSpace(*q))
      ++q;
    target = &w.text;
    break;
  case xsTagName:
    while (q < end && IsXmlNameChar(*q))
      ++q;
    target = &w.token;
    break;
  case xsInTag:
    while (q < end && (IsXmlSpace(*q) || *q == '/'))
      ++q;
    return q;
  case xsAttrName:
    while (q < end && !IsXmlSpace(*q) && *q != '=' && *q != '>' && *q != '/')
      ++q;
    target = &w.token;
    break;
  case xsUnquotedValue:
    while (q < end && !IsXmlSpace(*q) && *q != '&' && *q != '>')
      ++q;
    target = &w.token;
    break;
  case xsSingleQuoted:
    while (q < end && *q != '\'' && *q != '&')
      ++q;
    target = &w.token;
    break;
  case xsDoubleQuoted:
    while (q < end && *q != '"' && *q != '&')
      ++q;
    target = &w.token;
    break;
  case xsEndTagName:
    // The first byte behind "</" decides between an end tag and text.
    if (ByteBefore(p, 1) == '/') return p;
    while (q < end && IsXmlNameChar(*q))
      ++q;
    target = &w.token;
    break;
  case xsTextEntity:
  case xsUnquotedEntity:
  case xsSingleQuotedEntity:
  case xsDoubleQuotedEntity:
    while (q < end && (IsXmlNameChar(*q) || *q == '#'))
      ++q;
    target = &w.entity;
    break;
  case xsComment:
    while (q < end && *q != '-')
      ++q;
    target = &w.token;
    break;
  case xsInstruction:
  case xsLongComment:
    while (q < end && *q != '>')
      ++q;
    target = &w.token;
    break;
  case xsDeclaration:
    while (q < end && *q != '>' && *q != '[' && *q != '"' && *q != '\'')
      ++q;
    target = &w.token;
    break;
  case xsDeclApos:
  case xsDeclQuote:
  case xsDeclBracket: {
    const char closer = state == xsDeclApos ? '\'' : state == xsDeclQuote ? '"' : ']';
    while (q < end && *q != closer)
      ++q;
    target = &w.token;
    break;
  }
  case xsSectionBody:
    while (q < end && *q != '>')
      ++q;
    target = &w.text;
    break;
  case xsSectionKeyword:
    while (q < end && *q != '[' && !IsXmlSpace(*q))
      ++q;
    target = &w.token;
    break;
  default:
    return p;
  }
  if (q > p && (*rc = target->Append(p, static_cast<int>(q - p))) != errNone) return p;
  return q;
}

int xmlpimpl::TagEnd() {
  const int rc = Prev1() == '/' ? EmptyElement() : StartElement(false);
  state = xsAfterMarkup;
  return rc;
}

// One byte through the table of states. `return` consumes the byte; `continue` looks at it
// again in the new state.
int xmlpimpl::Step(char c) {
  Work& w = *work;
  const bool space = IsXmlSpace(c);
  int rc;
  for (;;) {
    switch (state) {
    case xsText:
      // text: LF flushes the line, '&' starts a reference, '<' markup
      if (c == '\n') {
        if ((rc = w.text.AppendChar(c)) != errNone) return rc;
        return FlushLine();
      }
      if (c == '&') {
        w.entity.Clear();
        state = xsTextEntity;
        return errNone;
      }
      if (c == '<') {
        if ((rc = FlushTrim()) != errNone) return rc;
        w.token.Clear();
        state = xsTagOpen;
        return errNone;
      }
      if ((rc = w.text.AppendChar(c)) != errNone) return rc;
      if (charsetMode == 1 && (XmlClass(c) & xcLeadByte)) state = xsTrailByte;
      return errNone;

    case xsTagName:
      // name-char* then '>', whitespace, or "!" "?" "/" directly behind '<'
      if (IsXmlNameChar(c)) return w.token.AppendChar(c);
      if (c == '!') {
        w.token.Clear();
        state = xsAfterBang;
        return errNone;
      }
      if (c == '?') {
        w.token.Clear();
        state = xsInstruction;
        return errNone;
      }
      if (c == '/' && Prev1() == '<') {
        state = xsEndTagName;
        return errNone;
      }
      if ((rc = EndOfTagName()) != errNone) return rc;
      if (c == '>') return TagEnd();
      state = xsInTag;
      return errNone;

    case xsTagOpen:
      // the byte behind '<': markup only if it can start a name or is one of / ? !
      markupStart = inputCount - 2;
      if (IsXmlNameStart(c, AllowLeadingDigit) || c == '/' || c == '?' || c == '!') {
        state = xsTagName;
        continue;
      }
      if ((rc = w.text.AppendChar('<')) != errNone) return rc;
      state = xsText;
      continue;

    case xsInTag:
      // attribute name, '/', '>' or whitespace
      if (space || c == '/') return errNone;
      if (c == '>') return TagEnd();
      state = xsAttrName;
      return w.token.AppendChar(c);

    case xsAttrName:
      if (space || c == '=' || c == '>' || c == '/') {
        if ((rc = w.attrName.Assign(w.token.View())) != errNone) return rc;
        w.token.Clear();
        if (space) {
          state = xsAfterAttrName;
          return errNone;
        }
        if (c == '=') {
          state = xsBeforeValue;
          return errNone;
        }
        if ((rc = StoreAttribute()) != errNone) return rc;
        if (c == '>') return TagEnd();
        state = xsAfterAttrName;
        return errNone;
      }
      return w.token.AppendChar(c);

    case xsAfterAttrName:
      // '=' or a new attribute: the last one had no value
      if (space) return errNone;
      if (c == '=') {
        state = xsBeforeValue;
        return errNone;
      }
      if ((rc = StoreAttribute()) != errNone) return rc;
      if (c == '>') return TagEnd();
      state = xsAttrName;
      return w.token.AppendChar(c);

    case xsBeforeValue:
      // a quote, a reference or the first byte of an unquoted value
      if (space) return errNone;
      if (c == '"') {
        state = xsDoubleQuoted;
        return errNone;
      }
      if (c == '\'') {
        state = xsSingleQuoted;
        return errNone;
      }
      if (c == '&') {
        w.entity.Clear();
        state = xsUnquotedEntity;
        return errNone;
      }
      if (c == '>') return SetErrorByCode(errInvalidMarkup);
      state = xsUnquotedValue;
      return w.token.AppendChar(c);

    case xsUnquotedValue:
      // up to whitespace or '>'; a '/' directly in front of '>' closes the tag
      if (c == '&') {
        w.entity.Clear();
        state = xsUnquotedEntity;
        return errNone;
      }
      if (space) {
        state = xsInTag;
        return StoreAttribute();
      }
      if (c == '>') {
        if (Prev1() == '/') w.token.Truncate(w.token.Length() - 1);
        if ((rc = StoreAttribute()) != errNone) return rc;
        return TagEnd();
      }
      return w.token.AppendChar(c);

    case xsAfterMarkup:
      // whitespace behind markup is ignorable unless text follows and is preserved
      if (space) return w.text.AppendChar(c);
      if (c == '<' || !PreserveWhitespace)
        if ((rc = FlushIgnorable()) != errNone) return rc;
      state = xsText;
      continue;

    case xsSingleQuoted:
      if (c == '&') {
        w.entity.Clear();
        state = xsSingleQuotedEntity;
        return errNone;
      }
      if (c == '\'') {
        state = xsInTag;
        return StoreAttribute();
      }
      return w.token.AppendChar(c);

    case xsDoubleQuoted:
      if (c == '"') {
        state = xsInTag;
        return StoreAttribute();
      }
      if (c == '&') {
        w.entity.Clear();
        state = xsDoubleQuotedEntity;
        return errNone;
      }
      return w.token.AppendChar(c);

    case xsEndTagName:
      // "</" then a name; without a name start the two bytes were text
      if (!IsXmlNameStart(c, AllowLeadingDigit) && Prev1() == '/') {
        if ((rc = w.text.Append("</", 2)) != errNone) return rc;
        state = xsText;
        continue;
      }
      if (IsXmlNameChar(c)) return w.token.AppendChar(c);
      state = xsAfterEndTagName;
      continue;

    case xsAfterEndTagName:
      // whitespace, then '>'; anything else is junk that fails at the next byte
      if (space) return errNone;
      rc = EndElement(false, false, w.token.View());
      state = c == '>' ? xsAfterMarkup : xsAfterEndTagJunk;
      return rc;

    case xsTextEntity:
      if (IsXmlNameChar(c) || c == '#') return w.entity.AppendChar(c);
      if ((rc = DecodeEntity(c)) != errNone) return rc;
      if ((rc = w.text.Append(w.entityValue.View())) != errNone) return rc;
      if (EndsInSpace(w.entityValue) && (rc = FlushAll()) != errNone) return rc;
      state = xsText;
      if (c == ';') return errNone;
      continue;

    case xsUnquotedEntity:
    case xsSingleQuotedEntity:
    case xsDoubleQuotedEntity:
      if (IsXmlNameChar(c) || c == '#') return w.entity.AppendChar(c);
      if ((rc = DecodeEntity(c)) != errNone) return rc;
      if ((rc = w.token.Append(w.entityValue.View())) != errNone) return rc;
      state = state == xsUnquotedEntity       ? xsUnquotedValue
              : state == xsSingleQuotedEntity ? xsSingleQuoted
                                              : xsDoubleQuoted;
      if (c == ';') return errNone;
      continue;

    case xsAfterEndTagJunk:
      return SetErrorByCode(errInvalidMarkup);

    case xsBangDash:
      // "<!-" then '-' opens a comment; anything else is a declaration
      if (c == '-') {
        w.token.Clear();
        state = xsComment;
        return errNone;
      }
      state = xsDeclaration;
      return w.token.AppendChar(c);

    case xsComment:
      if (c == '-') {
        if (HTMLComments) {
          state = xsLongComment;
          return w.token.AppendChar(c);
        }
        state = xsCommentDash;
        return errNone;
      }
      return w.token.AppendChar(c);

    case xsCommentDash:
      // "--" ends the comment; a lone '-' was text
      if (c == '-') {
        state = xsCommentClose;
        return EndSpecial(skComment);
      }
      if ((rc = w.token.AppendChar(Prev1())) != errNone) return rc;
      state = xsComment;
      return w.token.AppendChar(c);

    case xsCommentClose:
      // only '>' may follow "--"
      if (c == '-' && HTMLComments) {
        state = xsBangDash;
        return errNone;
      }
      if (space && HTMLComments) return errNone;
      if (c == '>') {
        state = xsAfterMarkup;
        return errNone;
      }
      return SetErrorByCode(errInvalidMarkup);

    case xsInstruction:
      // up to the first "?>"
      if (c == '>' && Prev1() == '?') {
        w.token.Truncate(w.token.Length() - 1);
        state = xsAfterMarkup;
        return EndSpecial(skInstruction);
      }
      return w.token.AppendChar(c);

    case xsAfterBang:
      // "<!" then "--", "[KEYWORD[" or a declaration
      if (c == '[') {
        if (!HTMLComments) {
          state = xsSectionKeyword;
          return errNone;
        }
        if (Prev1() == '!' && Prev2() == '<') {
          state = xsDeclaration;
          return w.token.AppendChar(c);
        }
        return errNone;
      }
      if (c == '-') {
        state = xsBangDash;
        return w.token.AppendChar(c);
      }
      if (c == '>') {
        state = xsAfterMarkup;
        return errNone;
      }
      state = xsDeclaration;
      return w.token.AppendChar(c);

    case xsDeclaration:
      // up to '>', with quoted parts and an internal subset passed over
      if (c == '>') {
        state = xsAfterMarkup;
        return EndSpecial(skDeclaration);
      }
      if (c == '[')
        state = xsDeclBracket;
      else if (c == '"')
        state = xsDeclQuote;
      else if (c == '\'')
        state = xsDeclApos;
      return w.token.AppendChar(c);

    case xsSectionBody:
      // up to "]]>"; whitespace behind the section is content, so it ends in state 0
      if (c == '>' && Prev1() == ']' && Prev2() == ']') {
        w.text.Truncate(w.text.Length() - 2);
        state = xsText;
        return EndSection();
      }
      return w.text.AppendChar(c);

    case xsSectionKeyword:
      if (c == '[') {
        state = xsSectionBody;
        return errNone;
      }
      if (space) return errNone;
      return w.token.AppendChar(c);

    case xsDeclApos:
    case xsDeclQuote:
    case xsDeclBracket:
      if (c == (state == xsDeclApos ? '\'' : state == xsDeclQuote ? '"' : ']'))
        state = xsDeclaration;
      return w.token.AppendChar(c);

    case xsTrailByte:
      state = xsText;
      return w.text.AppendChar(c);

    case xsLongComment:
      // with HTMLComments a comment ends only at "-->"
      if (c == '>' && Prev1() == '-' && Prev2() == '-') {
        if (w.token.EndsWith("--")) w.token.Truncate(w.token.Length() - 2);
        state = xsAfterMarkup;
        return EndSpecial(skComment);
      }
      return w.token.AppendChar(c);

    default:
      return SetErrorByCode(errInvalidMarkup);
    }
  }
}

int xmlpimpl::EndSpecial(int kind) {
  int rc = FlushTrim();
  if (rc == errNone) {
    if (XmlEventSink* listener = Listener()) {
      const char* text = work->token.Data();
      rc = kind == skComment       ? listener->OnComment(text)
           : kind == skInstruction ? listener->OnPI(text)
                                   : listener->OnMeta(text);
    }
  }
  work->token.Clear();
  return rc;
}

int xmlpimpl::EndSection() {
  Work& w = *work;
  int rc = errNone;
  if (XmlEventSink* listener = Listener())
    rc = listener->OnSpecialSection(w.token.Data(), w.text.Data());
  if (rc == errNone && BuildDOM && w.token.View() == "CDATA" && w.depth > 0)
    rc = AppendElementText(w.text.Data(), w.text.Length());
  w.token.Clear();
  ClearPendingText();
  return rc;
}

// Content: the callback, then the open element's text; outside every element the run is
// dropped, or refused without AllowTextOutsideRoot.
int xmlpimpl::Content(const char* text, int length, uint32_t keptAt) {
  if (XmlEventSink* listener = Listener()) {
    // The receiver gets a NUL-terminated view: a byte is lent for the terminator.
    char* end = const_cast<char*>(text) + length;
    const char saved = *end;
    *end = 0;
    const int rc = listener->OnCharacters(text, length);
    *end = saved;
    if (rc != errNone) return rc;
  }
  if (!BuildDOM) return errNone;
  Work& w = *work;
  if (w.depth > 0) {
    // The first run of an element's text is only noted while it lies in the kept text: a
    // leaf's text is then never copied.
    if (keptAt != kNotKept && w.textKeptAt == kNotKept &&
        w.elementText.Length() == static_cast<int>(w.open[w.depth - 1].textStart)) {
      w.textKeptAt = keptAt;
      w.textKeptLength = static_cast<uint32_t>(length);
      return errNone;
    }
    return AppendElementText(text, length);
  }
  if (flags & xfAllowTextOutsideRoot) return errNone;
  return SetErrorByCode(errTextOutsideRoot);
}

int xmlpimpl::AppendElementText(const char* text, int length) {
  if (int rc = TakeKeptText(); rc != errNone) return rc;
  if (work->elementText.Append(text, length) != errNone) return SetErrorByCode(errOutOfMemory);
  return errNone;
}

int xmlpimpl::CopyKeptText() {
  Work& w = *work;
  const uint32_t at = w.textKeptAt;
  w.textKeptAt = kNotKept;
  const char* bytes = KeptBytes(at, at + w.textKeptLength);
  if (!bytes || w.elementText.Append(bytes, static_cast<int>(w.textKeptLength)) != errNone)
    return SetErrorByCode(errOutOfMemory);
  return errNone;
}

// The kept text at offset n holds the pushed byte n; the bytes from originalFrom on are not yet
// in it, and originalFrom is byte originalText.Length() of the stream.
const char* xmlpimpl::KeptBytes(uint32_t at, uint32_t end) {
  const uint32_t kept = static_cast<uint32_t>(originalText.Length());
  if (end > kept && FlushOriginal(originalFrom + (end - kept)) != errNone) return nullptr;
  return end <= static_cast<uint32_t>(originalText.Length()) ? originalText.Data() + at : nullptr;
}

int xmlpimpl::FlushText() {
  XmlScanText& text = work->text;
  const int rc = Content(text.Data(), text.Length());
  ClearPendingText();
  return rc;
}

int xmlpimpl::FlushIgnorableText() {
  XmlScanText& text = work->text;
  int rc = errNone;
  if (XmlEventSink* listener = Listener()) rc = listener->OnIgnorableWhitespace(text.Data());
  ClearPendingText();
  return rc;
}

int xmlpimpl::FlushTrim() {
  XmlScanText& text = work->text;
  if (text.IsEmpty()) return errNone;
  const int length = text.Length();
  const int kept = PreserveWhitespace ? length : TrimmedLength(text.Data(), length);
  int rc = errNone;
  if (kept > 0) rc = Content(text.Data(), kept);
  if (rc == errNone && kept < length)
    if (XmlEventSink* listener = Listener())
      rc = listener->OnIgnorableWhitespace(text.Data() + kept);
  ClearPendingText();
  return rc;
}

int xmlpimpl::FlushTrimRun(const char* run, int length) {
  // Only the fast path comes here: no listener wants the trailing whitespace or a terminator.
  const int kept = PreserveWhitespace ? length : TrimmedLength(run, length);
  if (kept <= 0) return errNone;
  return Content(run, kept, KeepOriginalText && BuildDOM ? StreamOffset(run) : kNotKept);
}

// The line up to its trailing whitespace is content; that whitespace waits in `text` until it
// is known whether more text follows.
int xmlpimpl::FlushLine() {
  Work& w = *work;
  XmlScanText& text = w.text;
  // Only the bytes behind the part known to be blank need a look, so that many blank lines in
  // a row cost one pass.
  int kept = text.Length();
  while (kept > w.textBlank && IsXmlSpace(text[kept - 1]))
    --kept;
  if (kept == w.textBlank) {
    w.textBlank = text.Length();
    return errNone;
  }
  const int rc = Content(text.Data(), kept);
  text.DropFront(kept);
  w.textBlank = text.Length();
  return rc;
}

void xmlpimpl::ClearPendingText() {
  work->text.Clear();
  work->textBlank = 0;
}

} // namespace quillon
