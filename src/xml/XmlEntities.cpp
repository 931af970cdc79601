// References: the five predefined names and numeric references, decoded only while the tree is
// built. A numeric value is one UTF-16 code unit converted to the code page, or, for UTF-8, any
// code point up to U+10FFFF; anything else, and any unknown name, stays in the text as it was
// written.
#include "xml/xmlpimpl.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "platform/CodePage.h"

namespace quillon {

namespace {
struct PredefinedEntity {
  std::string_view name;
  char value;
};
constexpr PredefinedEntity kPredefined[] = {
    {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'},
};
} // namespace

// Converts one code unit, or for UTF-8 a code point, into entityValue. UTF-8 is written
// directly; a lone surrogate becomes '?' there, as the platform conversion makes it. Other code
// pages go through the platform.
int xmlpimpl::ConvertCodeUnit(uint32_t unit) {
  XmlScanText& out = work->entityValue;
  if (TargetIsUtf8()) {
    char bytes[4];
    int n;
    if (unit < 0x80) {
      bytes[0] = static_cast<char>(unit);
      n = 1;
    } else if (unit < 0x800) {
      bytes[0] = static_cast<char>(0xC0 | (unit >> 6));
      bytes[1] = static_cast<char>(0x80 | (unit & 0x3F));
      n = 2;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      bytes[0] = '?';
      n = 1;
    } else if (unit > 0xFFFF) {
      bytes[0] = static_cast<char>(0xF0 | (unit >> 18));
      bytes[1] = static_cast<char>(0x80 | ((unit >> 12) & 0x3F));
      bytes[2] = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      bytes[3] = static_cast<char>(0x80 | (unit & 0x3F));
      n = 4;
    } else {
      bytes[0] = static_cast<char>(0xE0 | (unit >> 12));
      bytes[1] = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      bytes[2] = static_cast<char>(0x80 | (unit & 0x3F));
      n = 3;
    }
    return out.Assign(std::string_view(bytes, static_cast<size_t>(n)));
  }
  const WideChar wide[2] = {static_cast<WideChar>(unit), 0};
  BufStr converted;
  if (WideToBytes(converted, wide, codePage == 0 ? DefaultCodePage() : codePage) != errNone)
    return errCodePage;
  // The platform's length counts the terminator.
  return out.Assign(converted.View().substr(0, static_cast<size_t>(converted.Length() - 1)));
}

bool xmlpimpl::TargetIsUtf8() const {
  return (codePage == 0 ? DefaultCodePage() : codePage) == kUtf8CodePage;
}

int xmlpimpl::DecodeEntity(char endByte) {
  if (int rc = FlushAll(); rc != errNone) return rc;
  Work& w = *work;
  XmlScanText& value = w.entityValue;
  value.Clear();
  // A numeric reference whose value is 0 (as in "&#X41;", where an upper-case X is no mark of
  // hexadecimal) is decoded to nothing rather than to a NUL byte.
  bool decodedToNothing = false;
  if (BuildDOM) {
    const std::string_view name = w.entity.View();
    for (const PredefinedEntity& entity : kPredefined) {
      if (name == entity.name) {
        if (value.AppendChar(entity.value) != errNone) return errOutOfMemory;
        break;
      }
    }
    if (name.size() >= 1 && name[0] == '#') {
      const bool hex = name.size() >= 2 && name[1] == 'x';
      const uint32_t number = static_cast<uint32_t>(hex ? ParseHex32(w.entity.Data() + 2)
                                                        : ParseDec32(w.entity.Data() + 1));
      if (number == 0)
        decodedToNothing = true;
      else if ((number >> 16) == 0 || (number <= 0x10FFFF && TargetIsUtf8()))
        if (int rc = ConvertCodeUnit(number); rc != errNone) return rc;
    }
  }
  if (value.IsEmpty() && !decodedToNothing) {
    if (value.AppendChar('&') != errNone || value.Append(w.entity.View()) != errNone ||
        (endByte == ';' && value.AppendChar(';') != errNone))
      return errOutOfMemory;
  }
  if (XmlEventSink* listener = Listener()) {
    const char* given = value.Data();
    const char* result = given;
    if (int rc = listener->OnEvalEntity(w.entity.Data(), &result); rc != errNone) return rc;
    if (result != given && value.Assign(result) != errNone) return errOutOfMemory;
  }
  w.entity.Clear();
  return errNone;
}

} // namespace quillon
