// Choosing the client certificate. LoadClientCert: open the store the type names, then find by
// subject: an exact name first, then a walk ("*" takes the first certificate, or in a PFX the
// first with a private key; otherwise the subject text must match exactly), then a substring.
// A certificate not found is no failure of the setting: lastError says why and the subject
// reads empty. Stores of imports stay open in keptStore until the next import.
#include "keys/CertificateFront.h"

#include "frame/Errors.h"
#include "frame/FileHandle.h"
#include "frame/Text.h"
#include "keys/KeyErrors.h"
#include "keys/PemReader.h"
#include "platform/SystemError.h"

namespace quillon {

namespace {
// What a PFX blob given as base64 text may hold besides the alphabet.
bool IsBase64Text(std::string_view data) {
  for (char c : data) {
    const bool alphabet = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                          (c >= '0' && c <= '9') || c == '+' || c == '/';
    if (!alphabet && c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != '=') return false;
  }
  return true;
}

// The fixed password of the PFX that carries an import into the kept store; the bytes never
// leave memory.
constexpr const char* kCarrierPassword = "x";
} // namespace

CertificateFront::~CertificateFront() {
  platform::CertFree(acceptServerCert);
  DropStore(keptStore);
  platform::CertFree(clientCertContext);
  certSubject.Clear();
}

int CertificateFront::SetCertStore(std::string_view bytes) {
  if (int rc = certStore.Assign(bytes); rc != errNone) return rc;
  return LoadClientCert(1);
}

int CertificateFront::SetCertSubject(std::string_view subject) {
  if (int rc = certSubject.Assign(subject); rc != errNone) return rc;
  return LoadClientCert(1);
}

int CertificateFront::SetCertStoreType(int value) {
  if (value >= 18) return owner.Fail(errStoreTypeRange, "Value is out of range.");
  certStoreType = static_cast<CertStoreTypes>(value);
  return errNone;
}

int CertificateFront::SetCertEncoded(std::string_view text) {
  const int rc = ReadCertPem(clientCertContext, text, false);
  return rc != errNone ? rc : LinkCertToStore(1);
}

int CertificateFront::SetAcceptServerCertEncoded(std::string_view text) {
  return ReadCertPem(acceptServerCert, text, false);
}

int CertificateFront::EncodedText(const platform::CertContext* context, BufStrBase& out) {
  out.Clear();
  const std::string_view der = platform::CertEncoded(context);
  return Base64Encode(out, der.data(), static_cast<int>(der.size()), true, 64, false);
}

int CertificateFront::ExportChosenCertificate(BufStrBase& pfxOut) {
  pfxOut.Clear();
  if (!clientCertContext) return errNone;
  if (platform::CertExportPfx(clientCertContext, "", pfxOut) != errNone) {
    owner.SetErrorSystem("Can't export certificate");
    return errCertStore;
  }
  return errNone;
}

int CertificateFront::LoadClientCert(int readOnly) {
  (void)readOnly; // every store of this layer opens for reading
  platform::CertFree(clientCertContext);
  if (certStore.IsEmpty() || certSubject.IsEmpty()) return errNone;
  owner.ClearLastError();
  platform::CertStore* store =
      OpenCertStore(certStore.View(), certStoreType, certStorePassword.c_str());
  if (store) {
    BufStr subject;
    subject.Assign(certSubject);
    return FindCertBySubject(store, subject.View(),
                             certStoreType == cstPFXFile || certStoreType == cstPFXBlob);
  }
  if (owner.lastError.IsEmpty())
    owner.SetErrorHex("The certificate store could not be opened (",
                      static_cast<uint32_t>(platform::LastSystemError()), ").");
  return errCertStore;
}

int CertificateFront::LinkCertToStore(int readOnly) {
  (void)readOnly;
  if (certStore.IsEmpty()) return errNone;
  certSubject.Clear();
  if (!clientCertContext) return errNone;
  owner.ClearLastError();
  platform::CertStore* store =
      OpenCertStore(certStore.View(), certStoreType, certStorePassword.c_str());
  if (!store) {
    owner.SetErrorHex("The certificate store could not be opened (",
                      static_cast<uint32_t>(platform::LastSystemError()), ").");
    return errCertStore;
  }
  const std::string_view wanted = platform::CertEncoded(clientCertContext);
  platform::CertContext* hit = nullptr;
  for (int i = 0; !hit && i < platform::StoreCount(store); ++i)
    if (platform::CertEncoded(platform::StoreAt(store, i)) == wanted)
      hit = platform::StoreAt(store, i);
  // The store's own certificate replaces the decoded one: only it carries the private key.
  SetCurrentCert(hit, true);
  if (!hit) {
    owner.SetErrorHex("The certificate could not be found (",
                      static_cast<uint32_t>(platform::LastSystemError()), ").");
    certSubject.Clear();
  }
  CloseUnlessKept(store);
  return errNone;
}

platform::CertStore* CertificateFront::OpenCertStore(std::string_view name, CertStoreTypes type,
                                                     const char* password) {
  if (name.empty()) return nullptr;
  BufStr bytes;
  switch (type) {
  case cstUser:
  case cstMachine:
    return platform::StoreOpenSystem(name, type == cstMachine);
  case cstPFXFile:
    return ReadFile(name, bytes, nullptr) ? ImportPfxBlob(bytes.View(), password) : nullptr;
  case cstPFXBlob:
    return ImportPfxBlob(name, password);
  case cstPEMKeyFile:
  case cstPPKFile:
    if (!ReadFile(name, bytes, "The certificate file could not be opened.")) return nullptr;
    return ImportKeyText(bytes.View(), password ? password : "");
  case cstPEMKeyBlob:
  case cstPPKBlob:
    return ImportKeyText(name, password ? password : "");
  case cstPublicKeyFile:
  case cstSSHPublicKeyFile:
    if (!ReadFile(name, bytes, "The public key file could not be opened.")) return nullptr;
    return ImportPublicKey(bytes.View(), type == cstSSHPublicKeyFile);
  case cstPublicKeyBlob:
  case cstSSHPublicKeyBlob:
    return ImportPublicKey(name, type == cstSSHPublicKeyBlob);
  case cstP7BFile:
    if (!ReadFile(name, bytes, "The certificate file could not be opened.")) return nullptr;
    return ImportP7bBlob(bytes.View());
  case cstP7BBlob:
    return ImportP7bBlob(name);
  case cstXMLFile:
    if (!ReadFile(name, bytes, "The xml key file could not be opened.")) return nullptr;
    return ImportXmlKey(bytes.View());
  case cstXMLBlob:
    return ImportXmlKey(name);
  default:
    owner.pendingError = -1;
    owner.SetLastErrorText("Unknown or unsupported certificate store type.");
    return nullptr;
  }
}

bool CertificateFront::ReadFile(std::string_view path, BufStrBase& out, const char* failText) {
  BufStr fileName;
  FileHandle file;
  if (fileName.Assign(path) == errNone && file.OpenRead(fileName.c_str()) == errNone &&
      file.ReadAll(out) == errNone)
    return true;
  if (failText) owner.SetLastErrorText(failText);
  return false;
}

int CertificateFront::FindCertBySubject(platform::CertStore* store, std::string_view subject,
                                        bool isPfx) {
  if (subject.empty()) return errNone;
  platform::CertFree(clientCertContext);
  owner.lastError.Clear();
  platform::CertContext* hit = nullptr;
  if (subject.front() != '*') hit = platform::StoreFindName(store, subject);
  BufStr text;
  for (int i = 0; !hit && i < platform::StoreCount(store); ++i) {
    platform::CertContext* context = platform::StoreAt(store, i);
    if (subject == "*") {
      if (!isPfx || platform::CertHasPrivateKey(context)) hit = platform::CertDuplicate(context);
    } else if (platform::CertSubjectText(context, text) == errNone &&
               text.View().substr(0, 999) == subject) {
      hit = platform::CertDuplicate(context);
    }
  }
  if (!hit) hit = platform::StoreFindText(store, subject);
  SetCurrentCert(hit, true);
  if (hit) {
    platform::CertFree(hit);
  } else {
    if (owner.lastError.IsEmpty())
      owner.SetErrorHex("The certificate could not be found (",
                        static_cast<uint32_t>(platform::LastSystemError()), ").");
    certSubject.Clear();
  }
  CloseUnlessKept(store);
  return errNone;
}

void CertificateFront::SetCurrentCert(platform::CertContext* context, bool freeOld) {
  certSubject.Clear();
  if (freeOld) platform::CertFree(clientCertContext);
  clientCertContext = nullptr;
  if (!context) return;
  clientCertContext = platform::CertDuplicate(context);
  platform::CertSubjectText(clientCertContext, certSubject);
}

int CertificateFront::ReadCertPem(platform::CertContext*& slot, std::string_view text,
                                  bool required) {
  platform::CertFree(slot);
  if (text.empty()) return errNone;
  BufStr der;
  const int rc = ReadPemBlock(der, "CERTIFICATE", text, "", required);
  if (rc == errNotThisFormat) return owner.Fail(rc, "Failed to decode PEM file.");
  if (rc != errNone) return rc;
  slot = platform::CertFromDer(der.View());
  if (slot) return errNone;
  owner.SetErrorSystem("The certificate could not be decoded");
  return errCertDecode;
}

platform::CertStore* CertificateFront::ImportPfxBlob(std::string_view data, const char* password) {
  BufStr decoded;
  if (IsBase64Text(data)) {
    decoded.Assign(data);
    Base64Decode(decoded, false);
    data = decoded.View();
  }
  platform::CertStore* store = platform::StoreImportPfx(data, password ? password : "");
  if (!store && (!password || !*password)) store = platform::StoreImportPfx(data, nullptr);
  KeepStore(store, true);
  return store;
}

platform::CertStore* CertificateFront::ImportP7bBlob(std::string_view data) {
  if (data.empty()) return nullptr;
  platform::CertStore* bundle = platform::StoreOpenPkcs7(data);
  if (!bundle) {
    owner.SetErrorSystem("The certificate could not be decoded");
    return nullptr;
  }
  return CarryThroughPfx(bundle);
}

platform::CertStore* CertificateFront::CarryThroughPfx(platform::CertStore* store) {
  BufStr pfx;
  const int rc = platform::StoreExportPfx(store, kCarrierPassword, pfx);
  platform::StoreClose(store);
  if (rc != errNone) {
    owner.SetErrorSystem("Can't export certificate");
    return nullptr;
  }
  return ImportPfxBlob(pfx.View(), kCarrierPassword);
}

void CertificateFront::KeepStore(platform::CertStore* store, bool closeOld) {
  if (closeOld && keptStore != store) DropStore(keptStore);
  keptStore = store;
}

void CertificateFront::CloseUnlessKept(platform::CertStore* store) {
  if (store != keptStore) platform::StoreClose(store);
}

platform::CertStore* CertificateFront::StoreOfCurrent() {
  certSubject.Assign("*");
  platform::CertStore* memory = platform::StoreOpenMemory();
  if (!memory || platform::StoreAdd(memory, clientCertContext) != errNone) {
    owner.SetErrorSystem("Can't add certificate to store");
    platform::StoreClose(memory);
    return nullptr;
  }
  return CarryThroughPfx(memory);
}

} // namespace quillon
