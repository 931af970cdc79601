// The choice of the client certificate: the subject rules over a folder store of several
// certificates, the store failures and their texts, SSLCertEncoded linked to its store, and the
// chosen certificate presented in a real handshake.
#include "KeyFiles.h"

#include "http/HttpClient.h"
#include "keys/CertificateFront.h"
#include "support/Peers.h"

#include <cstdlib>
#include <tuple>

namespace quillon {
namespace {

using test::FolderStore;
using test::KeyPath;

TEST_F(FolderStore, SubjectRules) {
  // The store, the subject asked for, the one found (empty: none) and whether it has its key.
  const std::tuple<const char*, const char*, const char*, bool> rows[] = {
      {"MY", "*", "CN=Quillon Client, O=Quillon Tests", true},
      {"my", "CN=Other Client, O=Quillon Tests", "CN=Other Client, O=Quillon Tests", false},
      {"MY", "Other", "CN=Other Client, O=Quillon Tests", false},
      {"MY", "quillon ec", "CN=Quillon EC Client", false},
      {"MY", "*Other", "", false}, // the star is no wildcard to the substring search
      {"MY", "CN=Nobody", "", false},
      {"TRUST", "*", "", false},
      {"CA", "*", "", false},
  };
  for (const auto& [store, subject, found, hasKey] : rows) {
    SCOPED_TRACE(std::string(store) + " " + subject);
    test::OwnFront front;
    EXPECT_EQ(test::Choose(front, cstUser, store, "", subject), 0);
    EXPECT_EQ(front.certSubject.View(), found);
    EXPECT_EQ(front.clientCertContext != nullptr, *found != 0);
    EXPECT_EQ(platform::CertHasPrivateKey(front.clientCertContext), hasKey);
    if (!*found) {
      EXPECT_TRUE(front.core.lastError.StartsWith("The certificate could not be found (0x"))
          << front.core.LastErrorText();
    }
  }
}

TEST_F(FolderStore, StoreFailures) {
  // The type, the store, and the start of the error text; the code is always 271.
  const std::tuple<CertStoreTypes, const char*, const char*> rows[] = {
      {cstUser, "NoSuchStore", "The certificate store could not be opened (0x2)."},
      {cstJKSFile, "keys.jks", "Unknown or unsupported certificate store type."},
      {cstJKSBlob, "blob", "Unknown or unsupported certificate store type."},
      {cstPEMKeyFile, "/nonexistent/key.pem", "The certificate file could not be opened."},
      {cstPublicKeyFile, "/nonexistent/key.pub", "The public key file could not be opened."},
      {cstXMLFile, "/nonexistent/key.xml", "The xml key file could not be opened."},
      {cstP7BFile, "/nonexistent/b.p7b", "The certificate file could not be opened."},
      {cstPFXFile, "/nonexistent/a.pfx", "The certificate store could not be opened (0x2)."},
      {cstXMLBlob, "<RSAKeyValue></RSAKeyValue>", "Could not read XML certificate."},
      {cstPEMKeyBlob, "no key here", "The certificate could not be decoded (error 0x"},
  };
  for (const auto& [type, store, text] : rows) {
    SCOPED_TRACE(store);
    test::OwnFront front;
    EXPECT_EQ(test::Choose(front, type, store), 271);
    EXPECT_TRUE(front.core.lastError.StartsWith(text)) << front.core.LastErrorText();
    EXPECT_EQ(front.clientCertContext, nullptr);
  }
  test::OwnFront front;
  EXPECT_EQ(front.SetCertStoreType(18), 380);
  EXPECT_STREQ(front.core.LastErrorText(), "Value is out of range.");
}

TEST_F(FolderStore, EncodedCertificateTakesTheStoresCopy) {
  // The store of rsa.crt ("" for none), whether it is chosen and whether it has its key.
  const std::tuple<const char*, bool, bool> rows[] = {
      {"MY", true, true}, {"TRUST", false, false}, {"", true, false}};
  for (const auto& [store, chosen, hasKey] : rows) {
    SCOPED_TRACE(store);
    test::OwnFront front;
    front.certStore.Assign(store);
    EXPECT_EQ(front.SetCertEncoded(test::KeyFile("rsa.crt")), 0);
    EXPECT_EQ(front.clientCertContext != nullptr, chosen) << front.core.LastErrorText();
    EXPECT_EQ(platform::CertHasPrivateKey(front.clientCertContext), hasKey);
    BufStr text;
    front.GetCertEncoded(text);
    EXPECT_EQ(text.IsEmpty(), !chosen);
  }
}

// Each import replaces the kept store; the chosen certificate outlives the store it came from.
TEST(CertificateFront, KeptStoreDroppedOnNextImport) {
  test::OwnFront front;
  ASSERT_EQ(test::Choose(front, cstPFXFile, KeyPath("rsa-aes.pfx"), "secret"), 0);
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
  test::OwnFront front;
  ASSERT_EQ(test::Choose(front, cstPFXFile, KeyPath("rsa-aes.pfx"), "secret"), 0);
  platform::CertStore* bundle = platform::StoreOpenPkcs7(test::KeyFile("bundle.p7b"));
  platform::CertStore* mixed = platform::StoreOpenMemory();
  ASSERT_EQ(platform::StoreCount(bundle), 2);
  platform::StoreAdd(mixed, platform::StoreAt(bundle, 1));
  platform::StoreAdd(mixed, front.clientCertContext);
  BufStr pfx;
  ASSERT_EQ(platform::StoreExportPfx(mixed, "pw", pfx), 0);
  platform::StoreClose(mixed);
  platform::StoreClose(bundle);

  for (CertStoreTypes type : {cstPFXBlob, cstP7BBlob}) {
    SCOPED_TRACE(static_cast<int>(type));
    test::OwnFront second;
    const std::string store(type == cstPFXBlob ? pfx.View() : test::KeyFile("bundle.p7b"));
    ASSERT_EQ(test::Choose(second, type, store, "pw"), 0) << second.core.LastErrorText();
    // The PKCS#7 store is searched without the key rule: its first certificate wins.
    EXPECT_EQ(second.certSubject.View(), "CN=Quillon Client, O=Quillon Tests");
    EXPECT_EQ(platform::CertHasPrivateKey(second.clientCertContext), type == cstPFXBlob);
  }
}

// The chosen certificate in a real handshake of our own channel: `openssl s_server -Verify 1 -www`
// demands a client certificate, the HTTP link presents the PKCS#12 that the front exports, and
// the server's status page shows the subject it was given. The user's store "MY" holds the
// client certificate with its key beside it.
class ClientCertHandshake : public FolderStore {};

TEST_F(ClientCertHandshake, ServerSeesTheChosenCertificate) {
  // The row's name, the store type, its file, the password and the subject the server sees.
  const std::tuple<const char*, CertStoreTypes, const char*, const char*, const char*> rows[] = {
      {"PFX", cstPFXFile, "rsa-aes.pfx", "secret", "CN=Quillon Client, O=Quillon Tests"},
      {"PEM key and certificate", cstPEMKeyFile, "rsa-with-cert.pem", "", "CN=Quillon Client"},
      {"PKCS#8 key alone", cstPEMKeyFile, "rsa-aes.p8", "secret", "CN=pem_cert"},
      {"PPK 3", cstPPKFile, "rsa-v3-secret.ppk", "secret", "CN=pem_cert"},
      {"EC PFX", cstPFXFile, "ec.pfx", "secret", "CN=Quillon EC Client"},
      {"OpenSSH Ed25519", cstPEMKeyFile, "openssh-ed25519", "", "CN=pem_cert"},
      {"OpenSSH ECDSA", cstPEMKeyFile, "openssh-ecdsa", "", "CN=pem_cert"},
      {"user store", cstUser, "MY", "", "CN=Quillon Client"},
  };
  ::setenv("SSL_CERT_FILE", test::PeerValue("sslserver_client_cert", "CA_FILE").c_str(), 1);
  const std::string url = test::PeerValue("sslserver_client_cert", "URL") + "/";
  for (const auto& [name, type, file, password, subject] : rows) {
    SCOPED_TRACE(name);
    HttpClient client;
    client.DefaultScheme.Assign("https");
    const std::string store = type == cstUser ? file : KeyPath(file);
    ASSERT_EQ(test::Choose(client.certificates, type, store, password), 0)
        << client.LastErrorText();
    ASSERT_EQ(client.SetURL(url.c_str(), 0), 0);
    EXPECT_EQ(client.RunAction(actGet), 0) << client.LastErrorText();
    const std::string page(client.TransferredData.View());
    EXPECT_NE(page.find("Subject: " + std::string(subject)), std::string::npos)
        << page.substr(0, 400);
  }
}

} // namespace
} // namespace quillon
