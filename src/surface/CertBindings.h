// Bindings of the client certificate: the store settings and the two encoded certificates, all
// reaching the certificate front of the connection, whose setters load or link the certificate.
#pragma once

#include "surface/Bindings.h"

namespace quillon {

// A text setting of the front, read as it stands and written through its setter.
template <auto Member> int GetCertText(QuillonCore& core, int, PropertyValue& out) {
  out.text.Point(core.certificates.*Member);
  return errNone;
}
template <int (CertificateFront::*Setter)(std::string_view)>
int SetCertText(QuillonCore& core, int, const PropertyValue& in) {
  return (core.certificates.*Setter)(in.text.View());
}
template <auto Member, int (CertificateFront::*Setter)(std::string_view)>
constexpr Binding CertText{&GetCertText<Member>, &SetCertText<Setter>};

// A certificate of the front, read as the base64 of its encoded bytes.
template <int (CertificateFront::*Getter)(BufStrBase&) const>
int ReadCertEncoded(QuillonCore& core, int, PropertyValue& out) {
  if (int rc = (core.certificates.*Getter)(out.text.Store()); rc != errNone) return rc;
  out.text.Adopt();
  return errNone;
}
template <int (CertificateFront::*Getter)(BufStrBase&) const,
          int (CertificateFront::*Setter)(std::string_view)>
constexpr Binding CertEncoded{&ReadCertEncoded<Getter>, &SetCertText<Setter>};

inline int GetCertStoreType(QuillonCore& core, int, PropertyValue& out) {
  out.number = static_cast<int>(core.certificates.certStoreType);
  return errNone;
}
inline int SetCertStoreType(QuillonCore& core, int, const PropertyValue& in) {
  return core.certificates.SetCertStoreType(static_cast<int>(in.number));
}

} // namespace quillon
