// NTLM: the published vectors of the protocol with a fixed client nonce and time, the layout of
// the three messages, and the challenge reader on truncated and lying messages.
#include "http/NtlmContext.h"

#include "crypto/HexText.h"
#include "frame/Errors.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace quillon {
namespace {

using test::FromHex;
using test::ToHex;

uint32_t U32(std::string_view bytes, size_t at) {
  const auto byte = [&](int i) { return uint32_t{static_cast<uint8_t>(bytes[at + i])} << 8 * i; };
  return byte(0) | byte(1) | byte(2) | byte(3);
}
std::string Le(uint32_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i)
    out += static_cast<char>(value >> (8 * i) & 0xFF);
  return out;
}
// The item a security buffer at `at` points to.
std::string Item(std::string_view message, size_t at) {
  return std::string(message.substr(U32(message, at + 4), U32(message, at) & 0xFFFF));
}
std::string Utf16(std::string_view ascii) {
  std::string out;
  for (char c : ascii)
    out += std::string{c, '\0'};
  return out;
}

// A Type 2 message: header of 48 bytes and the version, then target name, then target info.
std::string Challenge(uint32_t flags, std::string_view name = "", std::string_view info = "") {
  std::string m = std::string("NTLMSSP\0", 8) + Le(2, 4);
  m += Le(name.size(), 2) + Le(name.size(), 2) + Le(56, 4) + Le(flags, 4);
  m += FromHex("0123456789abcdef") + std::string(8, '\0');
  m += Le(info.size(), 2) + Le(info.size(), 2) + Le(56 + name.size(), 4) + std::string(8, '\0');
  return m + std::string(name) + std::string(info);
}
std::string Pair(int id, std::string_view value) {
  return Le(id, 2) + Le(value.size(), 2) + std::string(value);
}

// The credentials and the fixed client nonce of the examples of the protocol's documentation.
void LoadExample(NtlmContext& ntlm) {
  ASSERT_EQ(ntlm.LoadCredentials("NTLM", "Domain\\User", "Password"), errNone);
  ntlm.fixedClientNonce.Assign(FromHex("aaaaaaaaaaaaaaaa"));
  ntlm.useFixedTime = true;
}

std::string Step(NtlmContext& ntlm, std::string_view token) {
  BufStr out;
  EXPECT_EQ(ntlm.NtlmStep(out, ntlm.package.View(), "host", token), errNone)
      << ntlm.errorText.Data();
  return std::string(out.View());
}

TEST(NtlmContextTest, PublishedVectors) {
  BufStr hash;
  ASSERT_EQ(NtlmNtHash(hash, "Password"), errNone);
  EXPECT_EQ(ToHex(hash.View()), "a4f49c406510bdcab6824ee7c30fd852") << "NTOWFv1";
  ASSERT_EQ(NtlmLmHash(hash, "Password"), errNone);
  EXPECT_EQ(ToHex(hash.View()), "e52cac67419a9a224a3b108f3fa6cb6d") << "LMOWFv1";

  const std::string pairs = Pair(2, Utf16("Domain")) + Pair(1, Utf16("Server")) + Le(0, 4);
  // clearFlags are taken out of the context's flags before the Type 3 message; nt is the whole NT
  // response, or its first 16 bytes (NTProofStr) for NTLMv2.
  // clang-format off
  struct Row {
    const char* name;
    uint32_t useV2, serverFlags, clearFlags;
    std::string info, lm, nt;
  } rows[] = {
      {"NTLMv1 with extended security", 0, 0x80201, 0, "", "aaaaaaaaaaaaaaaa" + std::string(32, '0'), "7537f803ae367128ca458204bde7caf81e97ed2683267232"},
      {"NTLMv1", 0, 0x201, ntlmExtendedSecurity, "", "98def7b87f88aa5dafe2df779688a172def11c7d5ccdef13", "67c43011f30298a2ad35ece64f16331c44bdbed927841f94"},
      {"NTLMv1, LM copies NT", 0, 0x201, ntlmExtendedSecurity, "", "67c43011f30298a2ad35ece64f16331c44bdbed927841f94", "67c43011f30298a2ad35ece64f16331c44bdbed927841f94"},
      {"NTLMv2 with target info", 1, 0x800205, 0, pairs, "", "68cd0ab851e51c96aabc927bebef6a1c"},
      {"LMv2 without target info", 1, 0x201, 0, "", "86c35097ac9cec102554764a57cccc19aaaaaaaaaaaaaaaa", ""},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    NtlmContext ntlm;
    LoadExample(ntlm);
    ntlm.useNtlmV2 = row.useV2;
    Step(ntlm, "");
    ntlm.flags &= ~row.clearFlags;
    if (std::string(row.name).find("copies") != std::string::npos) ntlm.flags |= ntlmLmCopiesNt;
    const std::string type3 = Step(ntlm, Challenge(row.serverFlags, "", row.info));
    ASSERT_GE(type3.size(), 72u);
    EXPECT_EQ(ToHex(Item(type3, 12)), row.lm);
    const std::string nt = Item(type3, 20);
    EXPECT_EQ(ToHex(nt.substr(0, row.nt.size() / 2)), row.nt);
    if (row.useV2 && !row.info.empty()) {
      // The blob behind NTProofStr: header, time 0, nonce, zero, the server's pairs, zeros.
      EXPECT_EQ(nt.substr(16), FromHex("0101000000000000 0000000000000000 aaaaaaaaaaaaaaaa "
                                       "00000000") +
                                   pairs + Le(0, 4));
    }
  }
}

TEST(NtlmContextTest, MessageLayout) {
  // domainWide: the domain as it goes in Type 3, hex.
  struct Row {
    const char *user, *domainWide;
    uint32_t type1Flags;
    size_t type1Length, userWideBytes;
  } rows[] = {
      {"user", "", 0xA2088207, 40, 8},
      {"EXAMPLE\\user", "4500580041004d0050004c004500", 0xA2089207, 47, 8},
      {"user@EXAMPLE", "4500580041004d0050004c004500", 0xA2089207, 47, 8},
      {"a@b\\c", "62005c006300", 0xA2089207, 43, 2}, // the first of the two separators decides
      {"b\\a@c", "6200", 0xA2089207, 41, 6},
      {"Zoë\\Jürgen", "5a006f00eb00", 0xA2089207, 44, 12}, // UTF-16 by its real length
  };
  for (const Row& row : rows) {
    NtlmContext ntlm;
    ASSERT_EQ(ntlm.LoadCredentials("NTLM", row.user, "secret"), errNone);
    SCOPED_TRACE(row.user);
    const std::string type1 = Step(ntlm, "");
    EXPECT_EQ(type1.substr(0, 12), std::string("NTLMSSP\0\1\0\0\0", 12));
    EXPECT_EQ(std::make_tuple(U32(type1, 12), type1.size(), Item(type1, 16), ntlm.flags, type1[39]),
              std::make_tuple(row.type1Flags, row.type1Length, std::string(ntlm.domain.View()),
                              kNtlmNegotiateFlags, '\x0f'));
    // The domain comes first in the payload, right behind the fixed part.
    const std::string type3 = Step(ntlm, Challenge(0x80205, "SERVER"));
    EXPECT_EQ(std::make_tuple(U32(type3, 8), ToHex(Item(type3, 28)), U32(type3, 32),
                              Item(type3, 36).size(), U32(type3, 60), Item(type3, 52)),
              std::make_tuple(3u, std::string(row.domainWide), *row.domainWide ? 72u : 0u,
                              row.userWideBytes, (kNtlmNegotiateFlags & ~ntlmOem) | ntlmTargetInfo,
                              std::string()));
  }
  // OEM only keeps both charset bits, and the names still go as UTF-16LE.
  NtlmContext ntlm;
  ntlm.LoadCredentials("NTLM", "D\\u", "p");
  Step(ntlm, "");
  const std::string type3 = Step(ntlm, Challenge(0x80002));
  EXPECT_EQ(U32(type3, 60), kNtlmNegotiateFlags);
  EXPECT_EQ(Item(type3, 36), Utf16("u"));
}

TEST(NtlmContextTest, BadChallenges) {
  const std::string prefix = "Could not process server's NTLM authentication token: ";
  const std::string good = Challenge(0x880205, "TARGET", Pair(1, "ab") + Le(0, 4));
  const char* outside = "target info outside the message.";
  // clang-format off
  struct Row {
    const char *name, *text;
    std::string message;
  } rows[] = {
      {"not NTLMSSP", "invalid signature.", "NTLMSSX" + good.substr(7)},
      {"type 3", "invalid message type.", good.substr(0, 8) + Le(3, 4) + good.substr(12)},
      {"no charset", "no charset negotiated.", Challenge(0x80200)},
      {"no NTLM", "no NTLM version negotiated.", Challenge(0x1)},
      {"target name past the end", "target name outside the message.", Challenge(0x80205, "T").substr(0, 56)},
      {"target info past the end", outside, good.substr(0, good.size() - 1)},
      {"target info never ends", "target info does not end.", Challenge(0x880201, "", Pair(1, "ab"))},
      {"pair longer than the info", outside, Challenge(0x880201, "", Le(1, 2) + Le(400, 2) + "ab")},
      {"offset beyond 4 GB", outside, good.substr(0, 44) + Le(0xFFFFFFF0, 4) + good.substr(48)},
  };
  // clang-format on
  for (const Row& row : rows) {
    NtlmContext ntlm;
    NtlmChallenge challenge;
    EXPECT_EQ(ntlm.ReadChallenge(row.message, challenge), -1) << row.name;
    EXPECT_EQ(ntlm.errorText.View(), prefix + row.text) << row.name;
  }
  // Cut at every length: a clear failure each time, never a read beyond the cut.
  for (size_t length = 0; length < good.size(); ++length) {
    NtlmContext ntlm;
    NtlmChallenge challenge;
    std::string cut = good.substr(0, length); // its own buffer, so ASan sees any overread
    EXPECT_EQ(ntlm.ReadChallenge(cut, challenge), -1) << "length " << length;
    EXPECT_TRUE(ntlm.errorText.StartsWith(prefix)) << "length " << length;
  }
}

TEST(NtlmContextTest, ChannelBindingOfPemAndDerAgree) {
  const std::string der = FromHex("308201020304");
  BufStr fromDer, fromPem;
  ASSERT_EQ(NtlmChannelBinding(fromDer, der), errNone);
  ASSERT_EQ(NtlmChannelBinding(fromPem, "-----BEGIN CERTIFICATE-----\nMIIBAgME\n"
                                        "-----END CERTIFICATE-----\n"),
            errNone);
  EXPECT_EQ(fromDer.Length(), 16);
  EXPECT_EQ(ToHex(fromDer.View()), ToHex(fromPem.View()));
  // With a certificate, NTLMv2 adds the binding pair behind the server's pairs.
  NtlmContext ntlm;
  LoadExample(ntlm);
  ntlm.useNtlmV2 = 1;
  ntlm.serverCertificate.Assign(der);
  Step(ntlm, "");
  const std::string nt = Item(Step(ntlm, Challenge(0x800201, "", Le(0, 4))), 20);
  EXPECT_EQ(nt.substr(44), Pair(10, fromDer.View()) + std::string(8, '\0'));
}

} // namespace
} // namespace quillon
