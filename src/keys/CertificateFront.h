// The client certificate of the connection: the five settings (store, store type, password,
// subject, encoded certificate) turned into one chosen certificate context with its private key,
// whatever the source: a system store, a PFX, PKCS#7 or key file, or a memory blob. Key files
// are read by KeyReader and carried through an in-memory PFX into a store like any other. Also
// holds the certificate that the server's is compared with.
#pragma once

#include "frame/ComponentCore.h"
#include "keys/KeyReader.h"
#include "platform/CertStore.h"
#include "quillon/QuillonTypes.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// The store types are the public enumeration's, named unscoped inside.
using enum CertStoreTypes;

class CertificateFront {
public:
  explicit CertificateFront(ComponentCore& errorOwner) : owner(errorOwner), reader(errorOwner) {}
  ~CertificateFront();
  CertificateFront(const CertificateFront&) = delete;
  CertificateFront& operator=(const CertificateFront&) = delete;

  // Settings. Only store, subject and the encoded certificate load anything, so type and
  // password go first.
  int SetCertStore(std::string_view bytes); // then LoadClientCert(1)
  int SetCertSubject(std::string_view subject);
  int SetCertStorePassword(std::string_view password) { return certStorePassword.Assign(password); }
  int SetCertStoreType(int value); // 380 "Value is out of range." from 18 up
  int SetCertStoreType(CertStoreTypes type) { return SetCertStoreType(static_cast<int>(type)); }
  // PEM, bare base64 or DER; then LinkCertToStore(1).
  int SetCertEncoded(std::string_view text);
  int SetAcceptServerCertEncoded(std::string_view text);
  // Base64 of the encoded certificate in lines of 64, or empty.
  int GetCertEncoded(BufStrBase& out) const { return EncodedText(clientCertContext, out); }
  int GetAcceptServerCertEncoded(BufStrBase& out) const {
    return EncodedText(acceptServerCert, out);
  }

  // For the TLS channel: the chosen certificate with its private key as PKCS#12 DER under an
  // empty password; `pfxOut` empty when no certificate is chosen. 0, or 271 when it can't be
  // written.
  int ExportChosenCertificate(BufStrBase& pfxOut);

  // Operations
  int LoadClientCert(int readOnly);  // 0 or 271
  int LinkCertToStore(int readOnly); // 0 or 271
  platform::CertStore* OpenCertStore(std::string_view name, CertStoreTypes type,
                                     const char* password);
  int FindCertBySubject(platform::CertStore* store, std::string_view subject, bool isPfx);
  void SetCurrentCert(platform::CertContext* context, bool freeOld);
  // 0, 280, 1424, or a code of the armor reader.
  int ReadCertPem(platform::CertContext*& slot, std::string_view text, bool required);
  platform::CertStore* ImportPfxBlob(std::string_view data, const char* password);
  platform::CertStore* ImportP7bBlob(std::string_view data);
  platform::CertStore* ImportKeyText(std::string_view text, std::string_view password);
  platform::CertStore* ImportPublicKey(std::string_view text, bool isSsh);
  platform::CertStore* ImportXmlKey(std::string_view text);
  void KeepStore(platform::CertStore* store, bool closeOld);
  void DropStore(platform::CertStore*& store) { platform::StoreClose(store); }

  // Fields
  BufStr20 certStore{"MY"};   // store name, file path or blob bytes; the length counts
  BufStr20 certStorePassword; // of a PFX store or an encrypted key
  BufStr20 certSubject;       // looked for; after a find, the subject of the certificate found
  CertStoreTypes certStoreType = cstUser;
  platform::CertContext* clientCertContext = nullptr; // owned
  platform::CertContext* acceptServerCert = nullptr;  // owned
  platform::CertStore* keptStore = nullptr; // the latest import; its keys live as long as it does

private:
  static int EncodedText(const platform::CertContext* context, BufStrBase& out);
  // Reads the file at `path`; false with `failText` (if any) in lastError.
  bool ReadFile(std::string_view path, BufStrBase& out, const char* failText);
  // Steps 9 to 12 of a key import: `clientCertContext` through a PFX into the kept store.
  platform::CertStore* StoreOfCurrent();
  // Exports `store` (closed here) to a PFX under a fixed password and imports that into the
  // kept store, so that every import ends in the form a PFX has.
  platform::CertStore* CarryThroughPfx(platform::CertStore* store);
  void CloseUnlessKept(platform::CertStore* store);

  ComponentCore& owner; // lastError and pendingError
  KeyReader reader;
};

} // namespace quillon
