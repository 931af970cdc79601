// The armor is found loosely: the label anywhere in the text starts the block at the end of its
// line, and the first "---" behind that ends it when the label stands somewhere behind the
// "---" too, so in a file of several blocks the next block's armor serves as well as the end
// line. Headers are "Name: value" lines at the start of the body, a backslash folding a value
// onto the next line; only "DEK-Info" means anything.
#include "keys/PemReader.h"

#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyDerivation.h"
#include "keys/KeyErrors.h"

namespace quillon {

namespace {
// The position of the end of the line that `from` stands in: an LF, or a CR that no LF follows.
size_t LineEnd(std::string_view text, size_t from) {
  for (size_t i = from; i < text.size(); ++i) {
    if (text[i] == '\n') return i;
    if (text[i] == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n')) return i;
  }
  return text.size();
}

// Steps 2 to 5: the body between the armor lines as a view into `text`.
int FindArmorBody(std::string_view label, std::string_view text, std::string_view& body) {
  const size_t at = text.find(label);
  if (at == std::string_view::npos) return errNotThisFormat;
  const size_t start = LineEnd(text, at + label.size());
  const std::string_view rest = text.substr(start);
  const size_t dashes = rest.find("---");
  if (dashes == std::string_view::npos || rest.find(label, dashes) == std::string_view::npos)
    return errNotThisFormat;
  body = rest.substr(0, dashes);
  return errNone;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view StripBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back()))
    text.remove_suffix(1);
  return text;
}

struct DekInfo {
  BufStr30 cipherName;
  BufStr20 iv;
};

// Reads the header lines at the start of `body`; returns where the base64 begins (0 when none).
size_t ReadHeaders(std::string_view body, DekInfo& dek) {
  size_t at = 0;
  bool any = false;
  for (;;) {
    const size_t colon = body.find(':', at);
    if (colon == std::string_view::npos) break;
    const std::string_view name = StripBlanks(body.substr(at, colon - at));
    size_t i = colon;
    while (i < body.size() && (body[i] == ':' || IsBlank(body[i])))
      ++i;
    BufStr value;
    while (i < body.size() && body[i] != '\r' && body[i] != '\n') {
      if (body[i] == '\\') {
        // A folded value: the rest of this line is dropped and the value goes on below.
        const size_t lf = body.find('\n', i);
        i = lf == std::string_view::npos ? body.size() : lf + 1;
        continue;
      }
      value.AppendChar(body[i++]);
    }
    const size_t lf = body.find('\n', i);
    at = lf == std::string_view::npos ? body.size() : lf + 1;
    any = true;
    if (name == "DEK-Info") {
      const std::string_view text = StripBlanks(value.View());
      const size_t comma = text.find(',');
      dek.cipherName.Clear();
      dek.iv.Clear();
      if (comma != std::string_view::npos) {
        dek.cipherName.Assign(text.substr(0, comma));
        HexDecode(dek.iv, text.substr(comma + 1));
      }
    }
  }
  return any ? at : 0;
}
} // namespace

int ReadArmorBody(BufStrBase& out, std::string_view label, std::string_view text) {
  for (char c : text)
    if (static_cast<unsigned char>(c) > 0x7F) return errNotThisFormat;
  std::string_view body;
  int rc = FindArmorBody(label, text, body);
  return rc != errNone ? rc : out.Assign(body);
}

int ReadPemBlock(BufStrBase& out, std::string_view label, std::string_view text,
                 std::string_view password, bool required) {
  for (char c : text)
    if (static_cast<unsigned char>(c) > 0x7F) return out.Assign(text);
  std::string_view body = text;
  if (text.find(label) != std::string_view::npos) {
    if (int rc = FindArmorBody(label, text, body); rc != errNone) return rc;
  } else if (required) {
    return errNotThisFormat;
  }
  DekInfo dek;
  body.remove_prefix(ReadHeaders(body, dek));
  if (int rc = out.Assign(body); rc != errNone) return rc;
  Base64Decode(out, false);

  const std::string_view cipher = dek.cipherName.View();
  if (cipher == "DES-EDE3-CBC" || cipher == "3des-cbc" || cipher == "DES-EDE3-CFB" ||
      cipher == "AES-128-CBC") {
    KeyBodyCipher decrypt;
    decrypt.cipherName = cipher;
    decrypt.password = password;
    decrypt.salt = dek.iv.View();
    return DecryptKeyBody(decrypt, out);
  }
  // Another cipher leaves the body encrypted; the DER reader after this refuses it.
  return errNone;
}

} // namespace quillon
