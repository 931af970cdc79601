// The whole public table: every property by name and by its typed member, ids in order, the
// read-only, design-time and enumeration rules with their failure values and help numbers, and the
// client certificate settings reaching their engine. Which property is read-only or design-time
// is the table's own data (QuillonProperties.inc) and is not copied here.
#include "../keys/KeyFiles.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace quillon {
namespace {

const std::string kFeed = std::string(QUILLON_SOURCE_DIR) + "/examples/products-feed.xml";

template <class T> std::string AsText(const T& value) {
  if constexpr (std::is_same_v<T, std::string>)
    return value;
  else if constexpr (std::is_same_v<T, bool>)
    return value ? "-1" : "0";
  else
    return std::to_string(static_cast<long long>(value));
}
template <class T> T FromText(const std::string& text) {
  if constexpr (std::is_same_v<T, std::string_view>)
    return text;
  else if constexpr (std::is_same_v<T, bool>)
    return text == "-1";
  else
    return static_cast<T>(std::stoll(text.empty() ? "0" : text));
}

// Each row of the table as the typed members reach it.
struct TypedRow {
  int id;
  std::string name;
  std::function<std::string(Quillon&, int)> read;
  std::function<int(Quillon&, int, const std::string&)> write; // empty when read-only
};
#define ARG_None
#define ARG_Cookie index
#define ARG_ParsedHeader index
#define ARG_EntryLinks index
#define ARG_EntryProperties index
#define ARG_SchemaKeys index
#define ARG_Attr index
#define ARG_XChild index
#define FIRST_None
#define FIRST_Cookie index,
#define FIRST_ParsedHeader index,
#define FIRST_EntryLinks index,
#define FIRST_EntryProperties index,
#define FIRST_SchemaKeys index,
#define FIRST_Attr index,
#define FIRST_XChild index,
#define WRITE_ro(Name, Type, Index) nullptr
#define WRITE_rw(Name, Type, Index)                                                                \
  [](Quillon& q, [[maybe_unused]] int index, const std::string& text) {                            \
    return q.Set##Name(FIRST_##Index FromText<QUILLON_PARAM_##Type>(text));                        \
  }
const std::vector<TypedRow>& TypedRows() {
  static const std::vector<TypedRow> rows = {
#define QUILLON_PROPERTY(id, Name, Type, Index, Access, DesignTime, ...)                           \
  {id, #Name, [](Quillon& q, [[maybe_unused]] int index) { return AsText(q.Name(ARG_##Index)); },  \
   WRITE_##Access(Name, Type, Index)},
#include "quillon/QuillonProperties.inc"
#undef QUILLON_PROPERTY
  };
  return rows;
}

TEST(SurfaceTable, EveryPropertyReadsAlikeByNameAndByTypedMember) {
  Quillon q;
  ASSERT_EQ(q.Config("ReadFile=" + kFeed), 0);
  const auto info = Quillon::Properties();
  const auto& typed = TypedRows();
  ASSERT_EQ(info.size(), 159u);
  ASSERT_EQ(typed.size(), 159u);
  for (size_t i = 0; i < typed.size(); ++i) {
    const TypedRow& row = typed[i];
    const int index = info[i].indexName.empty() ? -1 : 0;
    EXPECT_EQ(info[i].id, static_cast<int>(i) + 1) << row.name;
    EXPECT_EQ(info[i].name, row.name);
    EXPECT_EQ(info[i].readOnly, !row.write) << row.name;
    std::string lower = row.name, byName;
    for (char& c : lower)
      c = static_cast<char>(std::tolower(c));
    const int rc = q.GetProperty(lower, index, byName);
    const std::string value = row.read(q, index);
    EXPECT_EQ(q.LastResult(), rc) << row.name;
    if (rc == 0) {
      EXPECT_EQ(value, byName) << row.name;
    }
    // A write of the value just read gives the same result both ways.
    if (row.write && rc == 0) {
      const int typedRc = row.write(q, index, value);
      EXPECT_EQ(q.SetProperty(row.name, index, value), typedRc) << row.name;
    }
  }
  std::string value;
  EXPECT_EQ(q.GetProperty("NoSuchProperty", value), 438);
}

// Names ignore the case of their letters and nothing else: every other byte, the length and
// each of the eight-byte words that a lookup compares must match.
TEST(SurfaceTable, NamesMatchInAnyCaseOfTheirLettersOnly) {
  using namespace std::string_literals;
  const std::pair<std::string, bool> rows[] = {
      {"EntryCount", true},
      {"ENTRYCOUNT", true},
      {"idle", true},
      {"Idl", false},
      {"Idlee", false},
      {"Idle\0"s, false},
      {"XPath", true},
      {"XPat\x08", false}, // 'h' less its 0x60 bits
      {"SCHEMAASSOCIATIONFROMROLEMULTIPLICITY", true},
      {"SchemaAssociationFromRoleMultiplicityX", false},
      {"SchemaAssociationFromRoleMultiplicitz", false}, // the last, overlapping word
      {"SchemaAssociationFromRoleMultiplIcity", true},
      {"SchemaAssociatioNFromRoleMultiplicity", true},
      {"SchemaAssociatio.FromRoleMultiplicity", false}, // a middle word
      {"EntryPropertiesAttribute\x13", false},
      {"EntryPropertiesAttributes ", false},
      {"", false},
  };
  Quillon q;
  for (const auto& [name, found] : rows) {
    std::string value;
    EXPECT_EQ(q.GetProperty(name, 0, value) != 438, found) << '"' << name << '"';
  }
}

TEST(SurfaceTable, ReadOnlyPropertiesRefuseWritesWithTheirHelpNumber) {
  Quillon q;
  for (const PropertyInfo& row : Quillon::Properties()) {
    if (!row.readOnly) continue;
    EXPECT_EQ(q.SetProperty(row.name, 0, "1"), 383) << row.name;
    const Failure& failure = q.LastFailure();
    EXPECT_EQ(failure.value, 0x800A017Fu) << row.name;
    EXPECT_EQ(failure.helpNumber, row.helpNumber) << row.name;
    EXPECT_EQ(failure.description, "Property is read-only.") << row.name;
  }
}

TEST(SurfaceTable, DesignModeReadsOnlyTheDesignTimeProperties) {
  Quillon q;
  q.SetDesignMode(true);
  for (const PropertyInfo& row : Quillon::Properties()) {
    std::string value;
    const int rc = q.GetProperty(row.name, 0, value);
    if (row.designTime) {
      EXPECT_NE(rc, 394) << row.name;
      continue;
    }
    EXPECT_EQ(rc, 394) << row.name;
    EXPECT_EQ(q.LastFailure().value, 0x800A018Au) << row.name;
    EXPECT_EQ(q.LastFailure().helpNumber, row.helpNumber) << row.name;
    EXPECT_EQ(q.ErrorDescription(), "Property is runtime only (no supported in design time).");
  }
  // The bytes of a running event refuse a write as a read; other read-only ones as read-only.
  EXPECT_EQ(q.SetProperty("TransferTextB", "x"), 394);
  EXPECT_EQ(q.SetProperty("TransferredDataB", "x"), 383);
  q.SetDesignMode(false);
  EXPECT_EQ(q.EntryCount(), 0);
  EXPECT_EQ(q.LastResult(), 0);
}

TEST(SurfaceTable, EnumerationsRefuseValuesOutsideTheirRange) {
  struct Row {
    const char* name;
    const char* value;
    int result; // 380 outside
  };
  const Row rows[] = {
      {"AuthScheme", "200", 0},
      {"AuthScheme", "256", 380},
      {"AuthScheme", "-1", 380},
      {"ProxyAuthScheme", "0xff", 0},
      {"ChannelTitleTextType", "2", 0},
      {"ChannelTitleTextType", "3", 380},
      {"ChannelRightsTextType", "-1", 380},
      {"FirewallType", "4", 380},
      {"FirewallType", "3", 0},
      {"ProxySSL", "4", 380},
      {"ProxySSL", "3", 0},
      {"SSLCertStoreType", "18", 380},
      {"SSLCertStoreType", "17", 0},
  };
  Quillon q;
  for (const Row& row : rows) {
    EXPECT_EQ(q.SetProperty(row.name, row.value), row.result) << row.name << "=" << row.value;
    if (row.result == 380) {
      EXPECT_EQ(q.LastFailure().value, 0x800A017Cu) << row.name << "=" << row.value;
    }
  }
  EXPECT_EQ(static_cast<int>(q.AuthScheme()), 200);
  EXPECT_EQ(q.SetChannelTitleTextType(static_cast<AtomTextTypes>(5)), 380);
  EXPECT_EQ(q.ChannelTitleTextType(), AtomTextTypes::ttXHTML);
}

// The certificate settings reach the front: store and subject load, type and password wait for
// them, and the certificate found reads as base64 that the accepted certificate takes back.
TEST(SurfaceTable, CertificateSettingsLoadThroughTheFront) {
  const std::string pfx = test::KeyPath("rsa-aes.pfx"),
                    client = "CN=Quillon Client, O=Quillon Tests";
  const std::array<std::string, 5> rows[] = {
      // set, value, result, get, expected
      {"SSLCertStoreType", "2", "0", "SSLCertStore", "MY"},
      {"SSLCertStorePassword", "secret", "0", "SSLCertSubject", ""},
      {"SSLCertStore", pfx, "0", "SSLCertSubject", ""}, // no subject yet: nothing loads
      {"SSLCertSubject", "*", "0", "SSLCertSubject", client},
      {"SSLCertStorePassword", "wrong", "0", "SSLCertSubject", client},
      {"SSLCertStore", pfx, "271", "SSLCertEncoded", ""},
      {"SSLCertStoreType", "3", "0", "SSLAcceptServerCertEncoded", ""},
      {"SSLCertStorePassword", "secret", "0", "SSLCertSubject", client},
      {"SSLCertStoreB", test::KeyFile("rsa-aes.pfx"), "0", "SSLCertSubject", client},
      {"SSLAcceptServerCertEncoded", "@@", "280", "SSLAcceptServerCertEncodedB", ""},
  };
  Quillon q;
  for (const auto& [set, value, result, get, expected] : rows) {
    std::string read;
    EXPECT_EQ(q.SetProperty(set, value), std::stoi(result)) << set << "=" << value;
    EXPECT_EQ(q.GetProperty(get, read), 0) << get;
    EXPECT_EQ(read, expected) << set << "=" << value;
  }
  std::string cert, accepted;
  EXPECT_EQ(q.GetProperty("SSLCertEncodedB", cert), 0);
  EXPECT_EQ(q.SetProperty("SSLAcceptServerCertEncoded", cert), 0);
  EXPECT_EQ(q.GetProperty("SSLAcceptServerCertEncodedB", accepted), 0);
  EXPECT_GT(cert.size(), 64u);
  EXPECT_EQ(accepted, cert);
}

// A write of Authorization moves AuthScheme to authProprietary, unless it holds that or OAuth.
TEST(SurfaceTable, AuthorizationMovesTheScheme) {
  const std::pair<AuthSchemes, AuthSchemes> rows[] = {
      {AuthSchemes::authBasic, AuthSchemes::authProprietary},
      {AuthSchemes::authNtlm, AuthSchemes::authProprietary},
      {AuthSchemes::authOAuth, AuthSchemes::authOAuth},
  };
  for (auto [before, after] : rows) {
    Quillon q;
    ASSERT_EQ(q.SetAuthScheme(before), 0);
    ASSERT_EQ(q.SetAuthorization("Bearer abc"), 0);
    EXPECT_EQ(q.AuthScheme(), after) << static_cast<int>(before);
  }
}

TEST(SurfaceTable, FailuresCarryTextValueAndHelpNumber) {
  Quillon q;
  std::string answer = "stale";
  EXPECT_EQ(q.Config("NoSuchKey", &answer), -1);
  EXPECT_EQ(answer, "");
  EXPECT_EQ(q.ErrorDescription(), "Unknown config setting.");
  EXPECT_EQ(q.LastFailure().value, 0x800A4E20u);
  EXPECT_EQ(q.LastFailure().helpNumber, 48101);
  EXPECT_EQ(q.SetSchemaEntity("Nothing"), 432);
  EXPECT_EQ(q.LastFailure().helpNumber, 48111);
  EXPECT_FALSE(q.HasXPath("/feed/nothing")); // never a failure
  EXPECT_EQ(q.LastResult(), 0);

  const std::pair<int, uint32_t> rows[] = {{0, 0},
                                           {-1, 0x800A4E20},
                                           {143, 0x800A4EB0},
                                           {200, 0x800A0007},
                                           {432, 0x800A4FD1},
                                           {902, 0x800A51A7},
                                           {10061, 0x800A61E6},
                                           {383, 0x800A017F},
                                           {394, 0x800A018A}};
  for (const auto& [code, value] : rows)
    EXPECT_EQ(Quillon::FailureValue(code), value) << code;
}

} // namespace
} // namespace quillon
