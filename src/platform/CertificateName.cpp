// Names of a certificate as text: each RDN in the order the certificate holds them, its
// attributes by short key ("OID." and the dotted number for one without a key), values in UTF-8
// and quoted when they hold a separator, a quote, a line end, or blanks at either end.
#include "platform/CertificateCheck.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <cstring>

namespace quillon::platform {

namespace {

struct KeyRow {
  int nid;
  const char* key;
};
constexpr KeyRow kKeys[] = {
    {NID_commonName, "CN"},
    {NID_localityName, "L"},
    {NID_organizationName, "O"},
    {NID_organizationalUnitName, "OU"},
    {NID_pkcs9_emailAddress, "E"},
    {NID_countryName, "C"},
    {NID_stateOrProvinceName, "S"},
    {NID_streetAddress, "STREET"},
    {NID_title, "T"},
    {NID_givenName, "G"},
    {NID_initials, "I"},
    {NID_surname, "SN"},
    {NID_domainComponent, "DC"},
    {NID_serialNumber, "SERIALNUMBER"},
    {NID_postalCode, "PostalCode"},
    {NID_description, "Description"},
    {NID_postOfficeBox, "POBox"},
    {NID_telephoneNumber, "Phone"},
    {NID_x121Address, "X21Address"},
    {NID_dnQualifier, "dnQualifier"},
    {NID_userId, "UID"},
};

// A bounded writer that always leaves a NUL.
struct Writer {
  char* out;
  int room;
  int length = 0;
  void Put(const char* bytes, int count) {
    for (int i = 0; i < count && length + 1 < room; ++i)
      out[length++] = bytes[i];
    out[length] = 0;
  }
  void Put(const char* text) { Put(text, static_cast<int>(std::strlen(text))); }
};

bool NeedsQuotes(const unsigned char* value, int length) {
  if (length == 0) return false;
  if (value[0] == ' ' || value[length - 1] == ' ') return true;
  for (int i = 0; i < length; ++i)
    if (std::strchr(",+=\"\r\n<>#;", value[i]) && value[i] != 0) return true;
  return false;
}

void PutKey(Writer& w, const ASN1_OBJECT* object) {
  const int nid = OBJ_obj2nid(object);
  for (const KeyRow& row : kKeys)
    if (row.nid == nid) {
      w.Put(row.key);
      return;
    }
  char dotted[128];
  OBJ_obj2txt(dotted, sizeof dotted, object, 1);
  w.Put("OID.");
  w.Put(dotted);
}

void PutValue(Writer& w, const ASN1_STRING* data) {
  unsigned char* utf8 = nullptr;
  const int n = ASN1_STRING_to_UTF8(&utf8, data);
  if (n < 0) return;
  if (!NeedsQuotes(utf8, n)) {
    w.Put(reinterpret_cast<const char*>(utf8), n);
  } else {
    w.Put("\"");
    for (int i = 0; i < n; ++i)
      w.Put(utf8[i] == '"' ? "\"\"" : reinterpret_cast<const char*>(utf8 + i),
            utf8[i] == '"' ? 2 : 1);
    w.Put("\"");
  }
  OPENSSL_free(utf8);
}

} // namespace

int CertificateNameText(const unsigned char* der, int length, bool issuer, char* out, int room) {
  if (room < 1) return -1;
  out[0] = 0;
  const unsigned char* p = der;
  X509* cert = d2i_X509(nullptr, &p, length);
  if (!cert) return -1;
  const X509_NAME* name = issuer ? X509_get_issuer_name(cert) : X509_get_subject_name(cert);
  Writer w{out, room};
  int previousSet = -1;
  for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
    const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
    const int set = X509_NAME_ENTRY_set(entry);
    if (i > 0) w.Put(set == previousSet ? " " : ", ");
    previousSet = set;
    PutKey(w, X509_NAME_ENTRY_get_object(entry));
    w.Put("=");
    PutValue(w, X509_NAME_ENTRY_get_data(entry));
  }
  X509_free(cert);
  return w.length;
}

} // namespace quillon::platform
