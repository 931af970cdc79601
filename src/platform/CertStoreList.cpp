// Stores as lists of contexts: memory stores, the searches, and the system stores, which are
// folders. A folder's files are read in name order; each certificate found (PEM, several to a
// file, or DER) takes the private key of a file with the same base name, when one matches it.
#include "platform/CertLibrary.h"

#include "frame/Errors.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

namespace quillon::platform {

namespace {
// Names a store may have without its folder existing yet.
constexpr const char* kWellKnownStores[] = {
    "MY",
    "CA",
    "ROOT",
    "TRUST",
    "AUTHROOT",
    "ADDRESSBOOK",
    "REQUEST",
    "TRUSTEDPEOPLE",
    "TRUSTEDPUBLISHER",
    "DISALLOWED",
};

std::string StoreRoot(bool machine) {
  if (machine) return "/etc/quillon/certstores";
  if (const char* own = std::getenv("QUILLON_CERTSTORE_USER"); own && *own) return own;
  if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data)
    return std::string(data) + "/quillon/certstores";
  const char* home = std::getenv("HOME");
  return std::string(home ? home : "") + "/.local/share/quillon/certstores";
}

std::vector<std::string> FolderEntries(const std::string& folder) {
  std::vector<std::string> names;
  if (DIR* dir = opendir(folder.c_str())) {
    while (const dirent* entry = readdir(dir))
      if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool ReadWholeFile(const std::string& path, std::string& out) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return false;
  out.resize(static_cast<size_t>(info.st_size));
  const size_t got = std::fread(out.data(), 1, out.size(), file);
  std::fclose(file);
  out.resize(got);
  return true;
}

// Never asks for a password: an encrypted key beside a certificate is left out.
int NoPassword(char*, int, int, void*) {
  return 0;
}

void ReadCertificates(const std::string& bytes, std::vector<X509*>& out) {
  BIO* bio = BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()));
  if (!bio) return;
  if (bytes.find("-----BEGIN") != std::string::npos) {
    while (X509* x509 = PEM_read_bio_X509(bio, nullptr, NoPassword, nullptr))
      out.push_back(x509);
  } else if (X509* x509 = d2i_X509_bio(bio, nullptr)) {
    out.push_back(x509);
  }
  BIO_free(bio);
  ERR_clear_error();
}

EVP_PKEY* ReadKey(const std::string& bytes) {
  BIO* bio = BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()));
  EVP_PKEY* key = nullptr;
  if (bio && bytes.find("-----BEGIN") != std::string::npos)
    key = PEM_read_bio_PrivateKey_ex(bio, nullptr, NoPassword, nullptr, KeyLibrary(), nullptr);
  else if (bio)
    key = d2i_PrivateKey_ex_bio(bio, nullptr, KeyLibrary(), nullptr);
  BIO_free(bio);
  ERR_clear_error();
  return key;
}

std::string BaseName(const std::string& file) {
  const size_t dot = file.rfind('.');
  return dot == std::string::npos ? file : file.substr(0, dot);
}

void AddFolder(CertStore* store, const std::string& folder) {
  const std::vector<std::string> names = FolderEntries(folder);
  std::vector<std::string> contents(names.size());
  for (size_t i = 0; i < names.size(); ++i)
    ReadWholeFile(folder + "/" + names[i], contents[i]);
  for (size_t i = 0; i < names.size(); ++i) {
    std::vector<X509*> found;
    ReadCertificates(contents[i], found);
    for (X509* x509 : found) {
      CertContext* context = ContextOf(x509);
      if (!context) continue;
      for (size_t k = 0; k < names.size() && !context->key; ++k) {
        if (BaseName(names[k]) != BaseName(names[i])) continue;
        EVP_PKEY* key = ReadKey(contents[k]);
        if (key && X509_check_private_key(context->x509, key) == 1) TieKey(context, key);
        EVP_PKEY_free(key);
        ERR_clear_error();
      }
      store->items.push_back(context);
    }
  }
}

void AddBundle(CertStore* store, const char* path) {
  std::string bytes;
  std::vector<X509*> found;
  if (ReadWholeFile(path, bytes)) ReadCertificates(bytes, found);
  for (X509* x509 : found)
    if (CertContext* context = ContextOf(x509)) store->items.push_back(context);
}
} // namespace

CertStore* StoreOpenMemory() {
  auto* store = new (std::nothrow) CertStore;
  if (!store) errno = ENOMEM;
  return store;
}

CertStore* StoreOpenSystem(std::string_view name, bool machine) {
  const std::string root = StoreRoot(machine);
  std::string folder;
  for (const std::string& entry : FolderEntries(root))
    if (entry.size() == name.size() && strncasecmp(entry.data(), name.data(), name.size()) == 0)
      folder = root + "/" + entry;
  bool wellKnown = false;
  for (const char* known : kWellKnownStores)
    if (std::strlen(known) == name.size() && strncasecmp(known, name.data(), name.size()) == 0)
      wellKnown = true;
  if (folder.empty() && !wellKnown) {
    errno = ENOENT;
    return nullptr;
  }
  CertStore* store = StoreOpenMemory();
  if (!store) return nullptr;
  if (!folder.empty()) AddFolder(store, folder);
  if (name.size() == 4 && strncasecmp(name.data(), "ROOT", 4) == 0)
    AddBundle(store, X509_get_default_cert_file());
  return store;
}

int StoreAdd(CertStore* store, CertContext* context) {
  if (!store || !context) return errOutOfMemory;
  store->items.push_back(CertDuplicate(context));
  return errNone;
}

int StoreCount(const CertStore* store) {
  return store ? static_cast<int>(store->items.size()) : 0;
}

CertContext* StoreAt(const CertStore* store, int index) {
  if (!store || index < 0 || index >= StoreCount(store)) return nullptr;
  return store->items[static_cast<size_t>(index)];
}

CertContext* StoreFindName(const CertStore* store, std::string_view subject) {
  X509_NAME* wanted = ParseSubjectText(subject);
  CertContext* hit = nullptr;
  for (int i = 0; wanted && !hit && i < StoreCount(store); ++i)
    if (X509_NAME_cmp(X509_get_subject_name(store->items[static_cast<size_t>(i)]->x509), wanted) ==
        0)
      hit = CertDuplicate(store->items[static_cast<size_t>(i)]);
  X509_NAME_free(wanted);
  ERR_clear_error();
  if (!hit) errno = ENOENT;
  return hit;
}

CertContext* StoreFindText(const CertStore* store, std::string_view text) {
  BufStr subject;
  for (int i = 0; i < StoreCount(store); ++i) {
    CertContext* context = store->items[static_cast<size_t>(i)];
    if (CertSubjectText(context, subject) != errNone) continue;
    const std::string_view haystack = subject.View();
    const auto found =
        std::search(haystack.begin(), haystack.end(), text.begin(), text.end(), [](char a, char b) {
          return (a >= 'A' && a <= 'Z' ? a + 32 : a) == (b >= 'A' && b <= 'Z' ? b + 32 : b);
        });
    if (!text.empty() && found != haystack.end()) return CertDuplicate(context);
  }
  errno = ENOENT;
  return nullptr;
}

void StoreClose(CertStore*& store) {
  if (store)
    for (CertContext* context : store->items)
      CertFree(context);
  delete store;
  store = nullptr;
}

} // namespace quillon::platform
