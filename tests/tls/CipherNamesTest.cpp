// The words of the channel: suite and version names, hello messages read at their offsets, the
// enabled protocols, algorithm lists, policy status texts, and the certificate found in
// handshake bytes with its name strings.
#include "TlsPeer.h"

#include "support/Corpus.h"

#include "platform/CertificateCheck.h"
#include "tls/CipherNames.h"
#include "tls/CipherSuiteTable.h"
#include "tls/ServerCertificate.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

namespace quillon::test {
namespace {

// The texts of codes: suite names (looked up in a table that must stay sorted), versions, the
// enabled protocols and the policy statuses.
TEST(CipherNamesTest, TextsOfCodes) {
  using Namer = void (*)(uint32_t, BufStrBase&);
  const Namer suite = CipherSuiteName, status = PolicyStatusText;
  const Namer version = [](uint32_t c, BufStrBase& t) { VersionName(static_cast<int>(c), t); };
  const Namer enabled = [](uint32_t mask, BufStrBase& t) { DescribeEnabledProtocols(mask, t); };
  // clang-format off
  const std::tuple<Namer, uint32_t, const char*> rows[] = {
      {suite, 0x002F, "TLS_RSA_WITH_AES_128_CBC_SHA (0x002f)"},
      {suite, 0xC02F, "TLS_ECDHE_RSA_WITH_AES_128_GCM_SHA256 (0xc02f)"},
      {suite, 0xCC13, "TLS_ECDHE_RSA_WITH_CHACHA20_POLY1305_SHA256 (0xcc13)"},
      {suite, 0xFFE1, "SSL_RSA_FIPS_WITH_DES_CBC_SHA (0xffe1)"},
      {suite, 0x0700C0, "SSL2_DES_192_EDE3_CBC_WITH_MD5 (0x0700c0)"},
      {suite, 4865, "Unknown (4865)"},
      {suite, 0, ""},
      {version, 768, "SSL3.0"},
      {version, 771, "TLS1.2"},
      {version, 772, "TLS1.3"},
      {version, 5, "Unknown (5)"},
      {enabled, 0xC00, "Enabling TLS versions: TLS1.2 "},
      {enabled, 4032, "Enabling TLS versions: TLS1.2 TLS1.1 TLS1.0 "},
      {enabled, 0x3FC0, "Enabling TLS versions: TLS1.3 TLS1.2 TLS1.1 TLS1.0 "},
      {enabled, 0x3C, "Enabling TLS versions: SSL3.0 SSL2.0 "},
      {enabled, 0xC0000003, "Enabling TLS versions: UNI PCT1 "},
      {enabled, 0, "Enabling TLS versions: "},
      {status, 0, "OK"},
      {status, 0x800B0101, "[0x800b0101] A required certificate is not within its validity period."},
      {status, 0x800B0109, "[0x800b0109] A certification chain processed correctly but terminated in a root certificate not trusted by the trust provider."},
      {status, 0x800B010A, "[0x800b010a] A chain of certificates was not correctly created."},
      {status, 0x800B010F, "[0x800b010f] The certificate's CN name does not match the passed value."},
      {status, 0x80096004, "[0x80096004] The signature of the certificate cannot be verified."},
      {status, 0x12345, "[0x12345] (unknown status code)"},
  };
  // clang-format on
  for (const auto& [namer, code, expected] : rows) {
    BufStr text;
    namer(code, text);
    EXPECT_EQ(text.View(), expected) << "code " << code;
  }
  for (int i = 1; i < kCipherSuiteCount; ++i)
    EXPECT_LT(kCipherSuites[i - 1].code, kCipherSuites[i].code) << kCipherSuites[i].text;
}

TEST(CipherNamesTest, AlgorithmListsAndTheirCipherLists) {
  // clang-format off
  // The list, the ids read from it, and the cipher list they make.
  const std::tuple<const char*, std::vector<uint32_t>, const char*> rows[] = {
      {"CALG_AES_256; calg_rsa_keyx ;;foreign", {0x6610, 0xA400}, "kRSA+AES256"},
      {"CALG_AES_128;CALG_AES_256;CALG_ECDH_EPHEM", {0x660E, 0x6610, 0xAE06}, "kECDHE+AES128:kECDHE+AES256"},
      {"CALG_SHA;CALG_SHA1", {0x8004, 0x8004}, "SHA1"},
      {"CALG_MD2;CALG_OID_INFO_CNG_ONLY", {0x8001, 0xFFFFFFFF}, ""},
      {"", {}, ""},
  };
  // clang-format on
  for (const auto& [list, expectedIds, expectedCiphers] : rows) {
    uint32_t ids[kMaxAlgorithms];
    const int count = ParseAlgorithmList(list, ids, kMaxAlgorithms);
    EXPECT_EQ(std::vector<uint32_t>(ids, ids + count), expectedIds) << list;
    BufStr ciphers;
    AlgorithmCipherList(ids, count, ciphers);
    EXPECT_EQ(ciphers.View(), expectedCiphers) << list;
  }
  std::string many;
  for (int i = 0; i < 40; ++i)
    many += "CALG_RC4;";
  uint32_t ids[kMaxAlgorithms];
  EXPECT_EQ(ParseAlgorithmList(many.c_str(), ids, kMaxAlgorithms), kMaxAlgorithms);
}

// `body` behind `head` and its length in two bytes.
std::string Framed(const char* head, size_t headLength, const std::string& body) {
  return std::string(head, headLength) + static_cast<char>(body.size() >> 8) +
         static_cast<char>(body.size() & 0xFF) + body;
}

// A handshake record of TLS 1.2.
std::string Record(const std::string& body) {
  return Framed("\x16\x03\x03", 3, body);
}

// A server hello record: version 3.3, a session id of `sessionLength`, suite 0xC02F, and the
// supported_versions extension when `version13`.
std::string ServerHello(int sessionLength, bool version13) {
  std::string body = "\x03\x03" + std::string(32, 'r') + static_cast<char>(sessionLength) +
                     std::string(static_cast<size_t>(sessionLength), 's') + "\xC0\x2F" +
                     std::string(1, '\0');
  if (version13) body += std::string("\x00\x06\x00\x2B\x00\x02\x03\x04", 8);
  return Record(Framed("\x02\x00", 2, body));
}

TEST(CipherNamesTest, HelloMessagesAreReadAtTheirOffsets) {
  // The row, the record, the result and the version it names.
  const std::tuple<const char*, std::string, int, const char*> rows[] = {
      {"plain", ServerHello(0, false), 0, "TLS1.2"},
      {"resumed session id shifts the suite", ServerHello(32, false), 0, "TLS1.2"},
      {"TLS 1.3 names itself in an extension", ServerHello(0, true), 0, "TLS1.3"},
      {"more records behind", ServerHello(0, false) + "\x14\x03\x03\x00\x01\x01", 1, ""},
      {"too short", ServerHello(0, false).substr(0, 45), -1, ""},
  };
  for (const auto& [name, bytes, result, expected] : rows) {
    SCOPED_TRACE(name);
    BufStr version, suite;
    const int size = static_cast<int>(bytes.size());
    EXPECT_EQ(DescribeServerHello(bytes.data(), size, version, suite), result);
    if (result != 0) continue;
    EXPECT_EQ(version.View(), std::string("Selected TLS Version: ") + expected);
    EXPECT_EQ(suite.View(),
              "Selected Cipher Suite: TLS_ECDHE_RSA_WITH_AES_128_GCM_SHA256 (0xc02f)");
  }
  // A client hello with two suites behind an empty session id.
  std::string hello = std::string(43, 'h') + '\0' + std::string("\x00\x04\x00\x2F\x13\x01", 6);
  BufStr text;
  ASSERT_EQ(DescribeClientHello(hello.data(), static_cast<int>(hello.size()), text), 0);
  EXPECT_EQ(text.View(),
            "Cipher Suites:\r\n    TLS_RSA_WITH_AES_128_CBC_SHA (0x002f);\r\n    Unknown (4865)");
  EXPECT_EQ(DescribeClientHello(hello.data(), 48, text), -1);
}

std::string Be24(size_t n) {
  return {static_cast<char>(n >> 16), static_cast<char>(n >> 8), static_cast<char>(n)};
}

TEST(CipherNamesTest, CertificateInHandshakeBytesAndItsNames) {
  const std::string der = FileText(CertFile("CA_DER"));
  ASSERT_FALSE(der.empty());
  const std::string list = Be24(der.size()) + der;
  const std::string message = "\x0B" + Be24(list.size() + 3) + Be24(list.size()) + list;
  const std::string hello = std::string("\x02\x00\x00\x00", 4);
  // clang-format off
  const std::tuple<const char*, std::string, int> rows[] = {
      {"behind a hello in the same record", Record(hello + message), 0},
      {"in a record of its own", Record(hello) + Record(message), 0},
      {"after an alert record", std::string("\x15\x03\x03\x00\x02\x01\x00", 7) + Record(message), 0},
      {"split over two records", Record(message.substr(0, 100)) + Record(message.substr(100)), 281},
      {"record longer than the token", Record(message).substr(0, 50), 281},
      {"no certificate", Record(hello), 281},
      {"empty", "", 281},
  };
  // clang-format on
  for (const auto& [name, token, result] : rows) {
    SCOPED_TRACE(name);
    platform::DerBytes cert;
    const int size = static_cast<int>(token.size());
    EXPECT_EQ(ParseHandshakeCertificate(token.data(), size, cert), result);
    if (result == 0) {
      EXPECT_EQ(std::string(reinterpret_cast<const char*>(cert.bytes), cert.length), der);
    }
  }
  // Names in certificate order, special values quoted, the parts of a multi-valued RDN (in
  // their DER order) joined by a blank.
  const std::string odd = WorkDir() + "/odd-names.der";
  const std::string command =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout " + odd +
      ".key -multivalue-rdn -subj '/C=DE/O=A\\, B \"C\"/OU=x+CN=y/emailAddress=e@x' -outform DER "
      "-out " +
      odd + " 2>/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string oddDer = FileText(odd);
  char text[2000];
  platform::CertificateNameText(reinterpret_cast<const unsigned char*>(oddDer.data()),
                                static_cast<int>(oddDer.size()), false, text, sizeof text);
  EXPECT_STREQ(text, "C=DE, O=\"A, B \"\"C\"\"\", CN=y OU=x, E=e@x");
  platform::CertificateNameText(reinterpret_cast<const unsigned char*>(der.data()),
                                static_cast<int>(der.size()), true, text, sizeof text);
  EXPECT_STREQ(text, "O=Quillon Tests, CN=Quillon Test CA");
  EXPECT_EQ(platform::CertificateNameText(reinterpret_cast<const unsigned char*>(der.data()), 10,
                                          true, text, sizeof text),
            -1);
}

} // namespace
} // namespace quillon::test
