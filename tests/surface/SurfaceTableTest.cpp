// The whole public table: every property by name and by its typed member, ids in order, the
// read-only, design-time and enumeration rules with their failure values and help numbers, and the
// client certificate settings reaching their engine, and the settings that move with a write. Which
// property is read-only or design-time is the table's own data (QuillonProperties.inc) and is not
// copied here.
#include "../keys/KeyFiles.h"
#include "SurfaceSupport.h"
#include "support/LiveHost.h"

#include <quillon/Quillon.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace quillon {
namespace {

using test::FailureText;
using test::kProductsFeed;

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
  std::string name;
  std::function<std::string(Quillon&, int)> read;
  std::function<int(Quillon&, int, const std::string&)> write; // empty when read-only
};
// q.Member(index, ...) when the member takes an index, else q.Member(...).
#define CALL(Member, ...)                                                                          \
  [&] {                                                                                            \
    if constexpr (requires { q.Member(index __VA_OPT__(, ) __VA_ARGS__); })                        \
      return q.Member(index __VA_OPT__(, ) __VA_ARGS__);                                           \
    else                                                                                           \
      return q.Member(__VA_ARGS__);                                                                \
  }()
#define WRITE_ro(Name, Type) nullptr
#define WRITE_rw(Name, Type)                                                                       \
  [](auto& q, int index, const std::string& text) {                                                \
    return CALL(Set##Name, FromText<QUILLON_PARAM_##Type>(text));                                  \
  }
const std::vector<TypedRow>& TypedRows() {
  static const std::vector<TypedRow> rows = {
#define QUILLON_PROPERTY(id, Name, Type, Index, Access, DesignTime, ...)                           \
  {#Name, [](auto& q, int index) { return AsText(CALL(Name)); }, WRITE_##Access(Name, Type)},
#include "quillon/QuillonProperties.inc"
#undef QUILLON_PROPERTY
  };
  return rows;
}

TEST(SurfaceTable, EveryPropertyReadsAlikeByNameAndByTypedMember) {
  Quillon q;
  ASSERT_EQ(q.Config("ReadFile=" + kProductsFeed), 0);
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

// A write of a read-only property, and in design mode a read of a run-time one, fail with the
// property's help number.
TEST(SurfaceTable, ReadOnlyAndRunTimeRulesFailWithTheHelpNumber) {
  Quillon q, design;
  design.SetDesignMode(true);
  for (const PropertyInfo& row : Quillon::Properties()) {
    SCOPED_TRACE(row.name);
    const std::string help = " " + std::to_string(row.helpNumber) + " ";
    if (row.readOnly) {
      EXPECT_EQ(FailureText(q.SetProperty(row.name, 0, "1"), q.LastFailure()),
                "383 0x800A017F" + help + "Property is read-only.");
    }
    std::string value;
    const int rc = design.GetProperty(row.name, 0, value);
    if (row.designTime) {
      EXPECT_NE(rc, 394);
    } else {
      EXPECT_EQ(FailureText(rc, design.LastFailure()),
                "394 0x800A018A" + help +
                    "Property is runtime only (no supported in design time).");
    }
  }
  // The bytes of a running event refuse a write as a read; other read-only ones as read-only.
  EXPECT_EQ(design.SetProperty("TransferTextB", "x"), 394);
  EXPECT_EQ(design.SetProperty("TransferredDataB", "x"), 383);
  design.SetDesignMode(false);
  EXPECT_EQ(design.EntryCount(), 0);
  EXPECT_EQ(design.LastResult(), 0);
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

// A write moves the settings that go with it: a firewall type brings its port, ProxySSL moves the
// firewall, the host keeps only its address, the credentials are cut, the two automatic settings
// read the environment's proxy variables, and Authorization moves AuthScheme to authProprietary
// unless it holds that or authOAuth.
TEST(SurfaceTable, WritesMoveTheSettingsThatGoWithThem) {
  struct Row {
    std::string set; // Name=value;...
    std::string get; // Name=the value read back then
  };
  const Row rows[] = {
      {"FirewallType=2", "FirewallPort=1080"},
      {"FirewallPort=9050", "FirewallType=2"},
      {"FirewallType=3", "FirewallPort=1080"},
      {"FirewallType=1", "FirewallPort=80"},
      {"FirewallType=0", "FirewallPort=0"},
      {"ProxySSL=3", "FirewallType=1"},
      {"ProxySSL=3", "FirewallPort=80"},
      {"ProxySSL=0", "FirewallType=0"},
      {"FirewallHost=localhost", "FirewallHost=127.0.0.1"},
      {"FirewallHost=", "FirewallHost="},
      {"FirewallUser=" + std::string(300, 'u'), "FirewallUser=" + std::string(255, 'u')},
      {"FirewallPassword=" + std::string(256, 'p'), "FirewallPassword=" + std::string(255, 'p')},
      // all_proxy gives the SOCKS server; https_proxy the proxy of the default scheme.
      {"FirewallAutoDetect=True", "FirewallType=2"},
      {"FirewallAutoDetect=True", "FirewallHost=10.1.2.3"},
      {"FirewallAutoDetect=True", "FirewallPort=1081"},
      {"ProxyAutoDetect=True", "ProxyServer=10.0.0.5"},
      {"ProxyAutoDetect=False", "ProxyServer="},
      {"FirewallAutoDetect=False", "FirewallHost="},
      {"AuthScheme=0;Authorization=Bearer a", "AuthScheme=2"},
      {"AuthScheme=4;Authorization=Bearer b", "AuthScheme=2"},
      {"AuthScheme=6;Authorization=Bearer c", "AuthScheme=6"},
  };
  setenv("all_proxy", "socks4://10.1.2.3:1081", 1);
  setenv("https_proxy", "http://10.0.0.5:3128", 1);
  test::LiveHost host;
  for (const Row& row : rows) {
    const std::string name = row.get.substr(0, row.get.find('='));
    std::string value;
    EXPECT_TRUE(host.Set(row.set));
    EXPECT_EQ(host.q.GetProperty(name, value), 0) << name;
    EXPECT_EQ(name + "=" + value, row.get) << row.set.substr(0, 40);
  }
  unsetenv("all_proxy");
  unsetenv("https_proxy");
}

TEST(SurfaceTable, FailuresCarryTextValueAndHelpNumber) {
  Quillon q;
  std::string answer = "stale";
  EXPECT_EQ(FailureText(q.Config("NoSuchKey", &answer), q.LastFailure()),
            "-1 0x800A4E20 48101 Unknown config setting.");
  EXPECT_EQ(answer, "");
  EXPECT_EQ(FailureText(q.SetSchemaEntity("Nothing"), q.LastFailure()),
            "432 0x800A4FD1 48111 Could not find schema entity: Nothing.");
  EXPECT_FALSE(q.HasXPath("/feed/nothing")); // never a failure
  EXPECT_EQ(q.LastResult(), 0);

  std::string values;
  for (int code : {0, -1, 143, 200, 432, 902, 10061, 383, 394})
    values += std::to_string(code) + "=" + test::Hex32(Quillon::FailureValue(code)) + " ";
  EXPECT_EQ(values, "0=0x00000000 -1=0x800A4E20 143=0x800A4EB0 200=0x800A0007 432=0x800A4FD1 "
                    "902=0x800A51A7 10061=0x800A61E6 383=0x800A017F 394=0x800A018A ");
}

} // namespace
} // namespace quillon
