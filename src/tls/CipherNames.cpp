// Hello messages are read at fixed offsets: the record header (5 bytes), the handshake header
// (4), the version (2) and the random (32) put the session id's length at 43. A TLS 1.3 server
// hello keeps 0x0303 in its version fields and names its real version in the
// supported_versions extension, which is looked for behind the suite.
#include "tls/CipherNames.h"

#include "frame/Text.h"
#include "tls/CipherSuiteTable.h"

#include <cstdio>

namespace quillon {

namespace {

struct AlgorithmRow {
  const char* name;
  uint32_t id;
};
constexpr AlgorithmRow kAlgorithms[] = {
    {"CALG_3DES", 0x6603},
    {"CALG_3DES_112", 0x6609},
    {"CALG_AES", 0x6611},
    {"CALG_AES_128", 0x660E},
    {"CALG_AES_192", 0x660F},
    {"CALG_AES_256", 0x6610},
    {"CALG_AGREEDKEY_ANY", 0xAA03},
    {"CALG_CYLINK_MEK", 0x660C},
    {"CALG_DES", 0x6601},
    {"CALG_DESX", 0x6604},
    {"CALG_DH_EPHEM", 0xAA02},
    {"CALG_DH_SF", 0xAA01},
    {"CALG_DSS_SIGN", 0x2200},
    {"CALG_ECDH", 0xAA05},
    {"CALG_ECDH_EPHEM", 0xAE06},
    {"CALG_ECDSA", 0x2203},
    {"CALG_ECMQV", 0xA001},
    {"CALG_HASH_REPLACE_OWF", 0x800B},
    {"CALG_HUGHES_MD5", 0xA003},
    {"CALG_HMAC", 0x8009},
    {"CALG_KEA_KEYX", 0xAA04},
    {"CALG_MAC", 0x8005},
    {"CALG_MD2", 0x8001},
    {"CALG_MD4", 0x8002},
    {"CALG_MD5", 0x8003},
    {"CALG_NO_SIGN", 0x2000},
    {"CALG_OID_INFO_CNG_ONLY", 0xFFFFFFFF},
    {"CALG_OID_INFO_PARAMETERS", 0xFFFFFFFE},
    {"CALG_PCT1_MASTER", 0x4C04},
    {"CALG_RC2", 0x6602},
    {"CALG_RC4", 0x6801},
    {"CALG_RC5", 0x660D},
    {"CALG_RSA_KEYX", 0xA400},
    {"CALG_RSA_SIGN", 0x2400},
    {"CALG_SCHANNEL_ENC_KEY", 0x4C07},
    {"CALG_SCHANNEL_MAC_KEY", 0x4C03},
    {"CALG_SCHANNEL_MASTER_HASH", 0x4C02},
    {"CALG_SEAL", 0x6802},
    {"CALG_SHA", 0x8004},
    {"CALG_SHA1", 0x8004},
    {"CALG_SHA_256", 0x800C},
    {"CALG_SHA_384", 0x800D},
    {"CALG_SHA_512", 0x800E},
    {"CALG_SKIPJACK", 0x660A},
    {"CALG_SSL2_MASTER", 0x4C05},
    {"CALG_SSL3_MASTER", 0x4C01},
    {"CALG_SSL3_SHAMD5", 0x8008},
    {"CALG_TEK", 0x660B},
    {"CALG_TLS1_MASTER", 0x4C06},
    {"CALG_TLS1PRF", 0x800A},
};

// What each identifier admits in an OpenSSL cipher string, by kind: 0 key exchange,
// 1 authentication, 2 bulk cipher, 3 MAC.
struct CipherWordRow {
  uint32_t id;
  int kind;
  const char* word;
};
constexpr CipherWordRow kCipherWords[] = {
    {0xA400, 0, "kRSA"},   {0xAA02, 0, "kDHE"},   {0xAE06, 0, "kECDHE"}, {0xAA05, 0, "kECDHE"},
    {0x2400, 1, "aRSA"},   {0x2203, 1, "aECDSA"}, {0x2200, 1, "aDSS"},   {0x6611, 2, "AES"},
    {0x660E, 2, "AES128"}, {0x6610, 2, "AES256"}, {0x6603, 2, "3DES"},   {0x6601, 2, "DES"},
    {0x6801, 2, "RC4"},    {0x6602, 2, "RC2"},    {0x8004, 3, "SHA1"},   {0x800C, 3, "SHA256"},
    {0x800D, 3, "SHA384"}, {0x8003, 3, "MD5"},
};

int Be16(const unsigned char* p) {
  return (p[0] << 8) | p[1];
}

void AppendHexCode(BufStrBase& text, const char* label, uint32_t value) {
  char piece[48];
  std::snprintf(piece, sizeof piece, "%s0x%x ", label, value);
  text.AppendText(piece);
}

// The version that a TLS 1.3 server hello names in supported_versions (43), or 0.
int SupportedVersion(const unsigned char* p, int length, int at) {
  if (at + 2 > length) return 0;
  const int end = at + 2 + Be16(p + at);
  at += 2;
  while (at + 4 <= end && end <= length) {
    const int type = Be16(p + at);
    const int size = Be16(p + at + 2);
    if (type == 43 && size == 2 && at + 6 <= length) return Be16(p + at + 4);
    at += 4 + size;
  }
  return 0;
}

} // namespace

void VersionName(int code, BufStrBase& text) {
  switch (code) {
  case 768:
    text.AppendText("SSL3.0");
    return;
  case 769:
    text.AppendText("TLS1.0");
    return;
  case 770:
    text.AppendText("TLS1.1");
    return;
  case 771:
    text.AppendText("TLS1.2");
    return;
  case 772:
    text.AppendText("TLS1.3");
    return;
  default:
    text.AppendText("Unknown (");
    text.AppendDecimal(code);
    text.AppendText(")");
  }
}

void CipherSuiteName(uint32_t code, BufStrBase& text) {
  text.Clear();
  if (code == 0) return; // the table's empty rows answer code 0
  for (int i = 0; i < kCipherSuiteCount; ++i)
    if (kCipherSuites[i].code == code) {
      text.AppendText(kCipherSuites[i].text);
      return;
    }
  text.AppendText("Unknown (");
  text.AppendDecimal(code);
  text.AppendText(")");
}

int DescribeServerHello(const char* bytes, int length, BufStrBase& version, BufStrBase& suite) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  if (length < 46) return -1;
  if (Be16(p + 3) + 5 != length) return 1;
  const int sessionLength = p[43];
  if (length < 46 + sessionLength) return -1;
  int code = Be16(p + 1);
  // Behind the suite: one compression byte, then the extensions.
  if (const int named = SupportedVersion(p, length, 47 + sessionLength); named != 0) code = named;
  version.Assign("Selected TLS Version: ");
  VersionName(code, version);
  BufStr name;
  CipherSuiteName(static_cast<uint32_t>(Be16(p + 44 + sessionLength)), name);
  suite.Assign("Selected Cipher Suite: ");
  suite.Append(name);
  return 0;
}

int DescribeClientHello(const char* bytes, int length, BufStrBase& text) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes);
  if (length < 46) return -1;
  const int sessionLength = p[43];
  if (length < 46 + sessionLength) return -1;
  const int count = Be16(p + 44 + sessionLength) / 2;
  if (length < 46 + sessionLength + 2 * count) return -1;
  text.Assign("Cipher Suites:\r\n    ");
  BufStr name;
  for (int i = 0; i < count; ++i) {
    CipherSuiteName(static_cast<uint32_t>(Be16(p + 46 + sessionLength + 2 * i)), name);
    if (i > 0) text.AppendText(";\r\n    ");
    text.Append(name);
  }
  return 0;
}

int DescribeEnabledProtocols(uint32_t mask, BufStrBase& text) {
  struct Row {
    uint32_t bits;
    const char* name;
  };
  static constexpr Row rows[] = {{0x3000, "TLS1.3 "},  {0xC00, "TLS1.2 "}, {0x300, "TLS1.1 "},
                                 {0xC0, "TLS1.0 "},    {0x30, "SSL3.0 "},  {0xC, "SSL2.0 "},
                                 {0xC0000000, "UNI "}, {3, "PCT1 "}};
  text.Assign("Enabling TLS versions: ");
  for (const Row& row : rows)
    if (mask & row.bits) text.AppendText(row.name);
  return 0;
}

int DescribeConnection(const platform::TlsContext* context, BufStrBase& text) {
  text.Assign("Negotiated SSL parameters: ");
  platform::TlsConnectionInfo info;
  if (!context || context->ConnectionInfo(info) != platform::tlsOk) {
    text.AppendText("Connection info not available.");
    return 1;
  }
  const uint32_t protocol = info.protocol;
  if (protocol & 3)
    text.AppendText("Protocol: PCT1 ");
  else if (protocol & 0xC)
    text.AppendText("Protocol: SSL2 ");
  else if (protocol & 0x30)
    text.AppendText("Protocol: SSL3 ");
  else if (protocol & 0xC0)
    text.AppendText("Protocol: TLS1 ");
  else if (protocol & 0x300)
    text.AppendText("Protocol: TLS1.1 ");
  else if (protocol & 0xC00)
    text.AppendText("Protocol: TLS1.2 ");
  else if (protocol & 0x3000)
    text.AppendText("Protocol: TLS1.3 ");
  else
    AppendHexCode(text, "Protocol: ", protocol);
  switch (info.cipher) {
  case 0x6601:
  case 0x660C:
    text.AppendText("Cipher: DES ");
    break;
  case 0x6602:
    text.AppendText("Cipher: RC2 ");
    break;
  case 0x6603:
    text.AppendText("Cipher: Triple DES ");
    break;
  case 0x660A:
    text.AppendText("Cipher: Skipjack ");
    break;
  case 0x660E:
  case 0x660F:
  case 0x6610:
  case 0x6611:
    text.AppendText("Cipher: AES ");
    break;
  case 0x6801:
    text.AppendText("Cipher: RC4 ");
    break;
  default:
    AppendHexCode(text, "Cipher: ", info.cipher);
  }
  char piece[64];
  std::snprintf(piece, sizeof piece, "Cipher strength: %d ", info.cipherStrength);
  text.AppendText(piece);
  switch (info.hash) {
  case 0x8003:
    text.AppendText("Hash: MD5 ");
    break;
  case 0x8004:
    text.AppendText("Hash: SHA ");
    break;
  case 0x800C:
    text.AppendText("Hash: SHA256 ");
    break;
  case 0x800D:
    text.AppendText("Hash: SHA384 ");
    break;
  case 0x800E:
    text.AppendText("Hash: SHA512 ");
    break;
  default:
    AppendHexCode(text, "Cipher: ", info.hash);
  }
  std::snprintf(piece, sizeof piece, "Hash strength: %d ", info.hashStrength);
  text.AppendText(piece);
  switch (info.exchange) {
  case 0x2400:
  case 0xA400:
    text.AppendText("Key exchange: RSA ");
    break;
  case 0xAA02:
    text.AppendText("Key exchange: DH Ephemeral ");
    break;
  case 0xAA04:
    text.AppendText("Key exchange: KEA ");
    break;
  case 0xAE06:
    text.AppendText("Key exchange: ECDH Ephemeral RSA ");
    break;
  default:
    AppendHexCode(text, "Cipher: ", info.exchange);
  }
  std::snprintf(piece, sizeof piece, "Key exchange strength: %d ", info.exchangeStrength);
  text.AppendText(piece);
  return 0;
}

int ParseAlgorithmList(const char* list, uint32_t* identifiers, int room) {
  int count = 0;
  if (!list) return 0;
  std::string_view rest(list);
  while (!rest.empty()) {
    const std::string_view piece = NextTrimmedPiece(rest, ';');
    for (const AlgorithmRow& row : kAlgorithms)
      if (SameNoCase(piece, row.name) && !piece.empty()) {
        if (count < room) identifiers[count++] = row.id;
        break;
      }
  }
  return count;
}

std::string_view NextTrimmedPiece(std::string_view& rest, char separator) {
  const size_t end = rest.find(separator);
  std::string_view piece = rest.substr(0, end);
  rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
  while (!piece.empty() && static_cast<unsigned char>(piece.front()) <= ' ')
    piece.remove_prefix(1);
  while (!piece.empty() && static_cast<unsigned char>(piece.back()) <= ' ')
    piece.remove_suffix(1);
  return piece;
}

int AlgorithmCipherList(const uint32_t* identifiers, int count, BufStrBase& out) {
  // Words per kind; a kind without any word is not restricted. The list is every combination of
  // one word of each restricted kind, joined by "+".
  const char* words[4][8] = {};
  int wordCount[4] = {};
  for (int i = 0; i < count; ++i)
    for (const CipherWordRow& row : kCipherWords)
      if (row.id == identifiers[i] && wordCount[row.kind] < 8) {
        bool seen = false;
        for (int k = 0; k < wordCount[row.kind]; ++k)
          seen = seen || words[row.kind][k] == row.word;
        if (!seen) words[row.kind][wordCount[row.kind]++] = row.word;
      }
  out.Clear();
  int total = 1;
  for (int kind = 0; kind < 4; ++kind)
    if (wordCount[kind] > 0) total *= wordCount[kind];
  if (wordCount[0] + wordCount[1] + wordCount[2] + wordCount[3] == 0) return 0;
  for (int combination = 0; combination < total; ++combination) {
    if (!out.IsEmpty()) out.AppendChar(':');
    int rest = combination;
    bool first = true;
    for (int kind = 0; kind < 4; ++kind) {
      if (wordCount[kind] == 0) continue;
      if (!first) out.AppendChar('+');
      first = false;
      out.AppendText(words[kind][rest % wordCount[kind]]);
      rest /= wordCount[kind];
    }
  }
  return 0;
}

} // namespace quillon
