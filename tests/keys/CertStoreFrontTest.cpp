// The choice of the client certificate: the subject rules over a folder store of several
// certificates, the store failures and their texts, SSLCertEncoded linked to its store.
#include "KeyFiles.h"

#include "keys/CertificateFront.h"

namespace quillon {
namespace {

using test::FolderStore;
using test::KeyPath;

TEST_F(FolderStore, SubjectRules) {
  struct Row {
    const char* store;
    const char* subject;
    const char* found; // empty: none found
    bool hasKey;
  };
  const Row rows[] = {
      {"MY", "*", "CN=Quillon Client, O=Quillon Tests", true},
      {"my", "CN=Other Client, O=Quillon Tests", "CN=Other Client, O=Quillon Tests", false},
      {"MY", "Other", "CN=Other Client, O=Quillon Tests", false},
      {"MY", "quillon ec", "CN=Quillon EC Client", false},
      {"MY", "*Other", "", false}, // the star is no wildcard to the substring search
      {"MY", "CN=Nobody", "", false},
      {"TRUST", "*", "", false},
      {"CA", "*", "", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.store) + " " + row.subject);
    ComponentCore core;
    CertificateFront front(core);
    front.SetCertStore(row.store);
    EXPECT_EQ(front.SetCertSubject(row.subject), 0);
    EXPECT_EQ(front.certSubject.View(), row.found);
    EXPECT_EQ(front.clientCertContext != nullptr, *row.found != 0);
    EXPECT_EQ(platform::CertHasPrivateKey(front.clientCertContext), row.hasKey);
    if (!*row.found) {
      EXPECT_TRUE(core.lastError.StartsWith("The certificate could not be found (0x"))
          << core.LastErrorText();
    }
  }
}

TEST_F(FolderStore, StoreFailures) {
  struct Row {
    int type;
    const char* store;
    int code;
    const char* text;
  };
  const Row rows[] = {
      {cstUser, "NoSuchStore", 271, "The certificate store could not be opened (0x2)."},
      {cstJKSFile, "keys.jks", 271, "Unknown or unsupported certificate store type."},
      {cstJKSBlob, "blob", 271, "Unknown or unsupported certificate store type."},
      {cstPEMKeyFile, "/nonexistent/key.pem", 271, "The certificate file could not be opened."},
      {cstPublicKeyFile, "/nonexistent/key.pub", 271, "The public key file could not be opened."},
      {cstXMLFile, "/nonexistent/key.xml", 271, "The xml key file could not be opened."},
      {cstP7BFile, "/nonexistent/b.p7b", 271, "The certificate file could not be opened."},
      {cstPFXFile, "/nonexistent/a.pfx", 271, "The certificate store could not be opened (0x2)."},
      {cstXMLBlob, "<RSAKeyValue></RSAKeyValue>", 271, "Could not read XML certificate."},
      {cstPEMKeyBlob, "no key here", 271, "The certificate could not be decoded (error 0x"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.store);
    ComponentCore core;
    CertificateFront front(core);
    EXPECT_EQ(test::Choose(front, row.type, row.store), row.code);
    EXPECT_TRUE(core.lastError.StartsWith(row.text)) << core.LastErrorText();
    EXPECT_EQ(front.clientCertContext, nullptr);
  }
  ComponentCore core;
  CertificateFront front(core);
  EXPECT_EQ(front.SetCertStoreType(18), 380);
  EXPECT_STREQ(core.LastErrorText(), "Value is out of range.");
}

TEST_F(FolderStore, EncodedCertificateTakesTheStoresCopy) {
  struct Row {
    const char* store; // "" for none
    const char* certificate;
    bool chosen;
    bool hasKey;
  };
  const Row rows[] = {
      {"MY", "rsa.crt", true, true},
      {"TRUST", "rsa.crt", false, false},
      {"", "rsa.crt", true, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.store) + " " + row.certificate);
    ComponentCore core;
    CertificateFront front(core);
    front.certStore.Assign(row.store);
    EXPECT_EQ(front.SetCertEncoded(test::KeyFile(row.certificate)), 0);
    EXPECT_EQ(front.clientCertContext != nullptr, row.chosen) << core.LastErrorText();
    EXPECT_EQ(platform::CertHasPrivateKey(front.clientCertContext), row.hasKey);
    BufStr text;
    front.GetCertEncoded(text);
    EXPECT_EQ(text.IsEmpty(), !row.chosen);
  }
}

void LoadClientPfx(CertificateFront& front) {
  ASSERT_EQ(test::Choose(front, cstPFXFile, KeyPath("rsa-aes.pfx"), "secret"), 0);
}

// Each import replaces the kept store; the chosen certificate outlives the store it came from.
TEST(CertificateFront, KeptStoreDroppedOnNextImport) {
  ComponentCore core;
  CertificateFront front(core);
  LoadClientPfx(front);
  platform::CertStore* first = front.keptStore;
  ASSERT_NE(first, nullptr);
  front.SetCertStorePassword("wrong");
  EXPECT_EQ(front.SetCertSubject("*"), 271);
  EXPECT_EQ(front.keptStore, nullptr);
  EXPECT_EQ(front.clientCertContext, nullptr);
  front.SetCertStorePassword("secret");
  ASSERT_EQ(front.SetCertSubject("Quillon"), 0);
  EXPECT_EQ(front.certSubject.View(), "CN=Quillon Client, O=Quillon Tests");
  front.DropStore(front.keptStore);
  EXPECT_TRUE(platform::CertHasPrivateKey(front.clientCertContext));
}

// A PFX yields its first certificate with a key for "*", even behind a CA certificate.
TEST(CertificateFront, PfxStarTakesFirstWithKey) {
  ComponentCore core;
  CertificateFront front(core);
  LoadClientPfx(front);
  platform::CertStore* bundle = platform::StoreOpenPkcs7(test::KeyFile("bundle.p7b"));
  platform::CertStore* mixed = platform::StoreOpenMemory();
  ASSERT_EQ(platform::StoreCount(bundle), 2);
  platform::StoreAdd(mixed, platform::StoreAt(bundle, 1));
  platform::StoreAdd(mixed, front.clientCertContext);
  BufStr pfx;
  ASSERT_EQ(platform::StoreExportPfx(mixed, "pw", pfx), 0);
  platform::StoreClose(mixed);
  platform::StoreClose(bundle);

  for (int type : {cstPFXBlob, cstP7BBlob}) {
    SCOPED_TRACE(type);
    ComponentCore otherCore;
    CertificateFront second(otherCore);
    const std::string store(type == cstPFXBlob ? pfx.View() : test::KeyFile("bundle.p7b"));
    ASSERT_EQ(test::Choose(second, type, store, "pw"), 0) << otherCore.LastErrorText();
    // The PKCS#7 store is searched without the key rule: its first certificate wins.
    EXPECT_EQ(second.certSubject.View(), "CN=Quillon Client, O=Quillon Tests");
    EXPECT_EQ(platform::CertHasPrivateKey(second.clientCertContext), type == cstPFXBlob);
  }
}

} // namespace
} // namespace quillon
