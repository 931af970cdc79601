// The flat DER reader and writer and the four big-number operations.
#include "HexText.h"

#include "crypto/BigNumber.h"
#include "crypto/Der.h"

#include <gtest/gtest.h>

#include <tuple>

namespace quillon {
namespace {

using test::FromHex;
using test::ToHex;

TEST(Der, ReadsElementsByIndex) {
  // The list, the index, the code, the content (hex, or the number in hex, or the OID; empty on
  // failure) and the reader (c child, i GetInt, u GetUnsigned, o GetOid).
  const std::tuple<const char*, int, int, const char*, char> rows[] = {
      {"02 05 00 00 00 00 01", 0, 0, "1", 'i'},
      {"02 05 00 ff ff ff ff", 0, 0, "ffffffff", 'u'},
      {"02 05 01 00 00 00 00", 0, 446, "", 'u'},
      {"02 01 80", 0, 0, "ffffff80", 'i'},
      {"02 06 00 00 01 00 00 00", 0, 0, "1000000", 'i'},
      {"02 06 01 00 00 00 00 00", 0, 446, "", 'i'},
      {"02 01 05 04 02 aa bb", 1, 0, "aabb", 'c'},
      {"02 01 05 04 02 aa bb", 2, 447, "", 'c'},
      {"02 01 05 04 03 aa bb", 1, 446, "", 'c'},
      {"04 81 02 aa bb", 0, 0, "aabb", 'c'},
      {"04 80 aa bb", 0, 446, "", 'c'},
      {"04 85 00 00 00 00 02 aa bb", 0, 446, "", 'c'},
      {"04 84 ff ff ff ff aa", 0, 446, "", 'c'},
      {"04 84 7f ff ff ff aa", 0, 446, "", 'c'},
      {"1f 01 00", 0, 446, "", 'c'},
      {"04", 0, 446, "", 'c'},
      {"03 03 00 aa bb", 0, 0, "00aabb", 'c'},
      {"06 09 2a 86 48 86 f7 0d 01 01 01", 0, 0, "1.2.840.113549.1.1.1", 'o'},
      {"06 03 2b 65 70", 0, 0, "1.3.101.112", 'o'},
      {"06 03 55 04 03", 0, 0, "2.5.4.3", 'o'},
      {"06 01 50", 0, 0, "2.0", 'o'},
      {"06 02 2a 86", 0, 446, "", 'o'},
  };
  for (const auto& [hex, index, code, content, kind] : rows) {
    SCOPED_TRACE(hex);
    BufStr list(FromHex(hex)), out;
    int32_t value = 0;
    uint32_t unsignedValue = 0;
    const int rc = kind == 'i'   ? GetInt(list, index, value, nullptr)
                   : kind == 'u' ? GetUnsigned(list, index, unsignedValue, nullptr)
                   : kind == 'o' ? GetOid(list, index, out, nullptr)
                                 : GetChild(list, index, out, nullptr);
    EXPECT_EQ(rc, code);
    char number[16];
    std::snprintf(number, sizeof number, "%x",
                  kind == 'i' ? static_cast<uint32_t>(value) : unsignedValue);
    const std::string got = kind == 'c'   ? ToHex(out.View())
                            : kind == 'o' ? std::string(out.View())
                                          : std::string(number);
    EXPECT_EQ(rc == 0 ? got : "", content);
  }
}

// Two EnterSequence calls on a public key leave algorithm, parameters and key as one list.
TEST(Der, EnterSequenceKeepsWhatFollows) {
  BufStr key(FromHex("30 0d 30 05 06 03 2b 65 70 03 04 00 aa bb cc"));
  int tag = 0;
  ASSERT_EQ(EnterSequence(key, &tag), 0);
  EXPECT_EQ(tag, 0x30);
  ASSERT_EQ(EnterSequence(key, nullptr), 0);
  BufStr oid, bits;
  EXPECT_EQ(GetOid(key, 0, oid, nullptr), 0);
  EXPECT_EQ(oid.View(), "1.3.101.112");
  EXPECT_EQ(GetChild(key, 1, bits, &tag), 0);
  EXPECT_EQ(tag, 3);
  EXPECT_EQ(ToHex(bits.View()), "00aabbcc");
  BufStr cut(FromHex("30 84 00 00 01 00 02"));
  EXPECT_EQ(EnterSequence(cut, nullptr), 446);
}

TEST(Der, WritesHeaders) {
  // The content length, whether it is wrapped in a SEQUENCE (else an OCTET STRING), the header.
  const std::tuple<int, bool, const char*> rows[] = {
      {0, false, "0400"},      {127, false, "047f"},     {128, false, "048180"},
      {255, false, "0481ff"},  {256, false, "04820100"}, {127, true, "307f"},
      {128, true, "30820080"}, {300, true, "3082012c"}};
  for (const auto& [length, wrap, header] : rows) {
    SCOPED_TRACE(length);
    const std::string content(static_cast<size_t>(length), 'x');
    BufStr out;
    if (wrap) {
      out.Assign(content);
      ASSERT_EQ(WrapElement(out, 0x30), 0);
    } else {
      ASSERT_EQ(AppendTlv(out, content.data(), length, 0x04), 0);
    }
    const size_t headerBytes = std::string_view(header).size() / 2;
    EXPECT_EQ(ToHex(out.View().substr(0, headerBytes)), header);
    EXPECT_EQ(out.View().substr(headerBytes), content);
  }
  BufStr oid;
  ASSERT_EQ(OidBytes("1.2.840.10045.3.1.7", oid), 0);
  EXPECT_EQ(ToHex(oid.View()), "2a8648ce3d030107");
  EXPECT_EQ(OidBytes("1", oid), 446);
  EXPECT_EQ(OidBytes("1..2", oid), 446);
}

TEST(BigNumber, SubtractModAndBytes) {
  // a and its sign, b subtracted from it, the modulus the result is taken by, code and bytes.
  const std::tuple<const char*, int, const char*, const char*, int, const char*> rows[] = {
      {"0a", 1, "03", "05", 0, "02"},         {"03", 1, "0a", "05", 0, "03"}, // -7 mod 5
      {"00 00 ff", 1, "", "0100", 0, "00ff"}, {"05", -1, "", "03", 0, "01"},  // -5 mod 3
      {"80", 1, "", "0101", 0, "0080"}, // a leading zero byte when the top bit is set
      {"05", 1, "", "00", 2003, ""},          {"05", 1, "", "", 2003, ""},
  };
  for (const auto& [hexA, signA, hexB, hexModulus, code, bytes] : rows) {
    SCOPED_TRACE(hexA);
    const std::string a = FromHex(hexA), b = FromHex(hexB), m = FromHex(hexModulus);
    BigNumber bigA, bigB, modulus, difference, result;
    ASSERT_EQ(BigFromBytes(bigA, a.data(), static_cast<int>(a.size()), signA), 0);
    ASSERT_EQ(BigFromBytes(bigB, b.data(), static_cast<int>(b.size()), 1), 0);
    ASSERT_EQ(BigFromBytes(modulus, m.data(), static_cast<int>(m.size()), 1), 0);
    ASSERT_EQ(BigSubtract(bigA, bigB, difference), 0);
    EXPECT_EQ(BigMod(difference, modulus, result), code);
    if (code == 0) {
      BufStr out;
      ASSERT_EQ(BigToBytes(result, out), 0);
      EXPECT_EQ(ToHex(out.View()), bytes);
    }
  }
}

} // namespace
} // namespace quillon
