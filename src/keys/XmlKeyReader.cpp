// The XML key value, found by a plain scan for element names rather than by the XML parser: a
// certificate becomes PEM text, a public key the SSH2 public armor, a private key an unencrypted
// SSH2 private key file. The importers of the certificate front read those texts.
#include "frame/Errors.h"
#include "frame/Text.h"
#include "keys/KeyErrors.h"
#include "keys/KeyReader.h"
#include "keys/SshBuffer.h"

namespace quillon {

namespace {
constexpr uint32_t kSsh2Magic = 0x3F6FF9EB;

// The element's content base64-decoded, without leading zero bytes unless `keepZeros`.
void NumberOf(std::string_view name, std::string_view xml, BufStrBase& out, bool keepZeros) {
  out.Clear();
  FindXmlElement(name, xml, out);
  Base64Decode(out, false);
  if (!keepZeros) {
    const std::string_view stripped = StripLeadingZeros(out.View());
    out.DropFront(out.Length() - static_cast<int>(stripped.size()));
  }
}

int Armor(std::string_view label, std::string_view bytes, BufStrBase& out) {
  out.Clear();
  int rc = out.AppendText("---- BEGIN ");
  if (rc == errNone) rc = out.Append(label);
  if (rc == errNone) rc = out.AppendText(" ----\r\n");
  if (rc == errNone)
    rc = Base64Encode(out, bytes.data(), static_cast<int>(bytes.size()), true, 64, false);
  if (rc == errNone) rc = out.AppendText("\r\n---- END ");
  if (rc == errNone) rc = out.Append(label);
  if (rc == errNone) rc = out.AppendText(" ----");
  return rc;
}

int CertificatePem(std::string_view base64, BufStrBase& out) {
  out.Clear();
  int rc = out.AppendText("-----BEGIN CERTIFICATE-----\r\n");
  for (size_t at = 0; rc == errNone && at < base64.size(); at += 60) {
    if (at > 0) rc = out.AppendText("\r\n");
    if (rc == errNone) rc = out.Append(base64.substr(at, 60));
  }
  if (rc == errNone) rc = out.AppendText("\r\n-----END CERTIFICATE-----");
  return rc;
}

// The SSH2 private key file around an inner form, unencrypted.
int PrivateFile(std::string_view keyType, std::string_view inner, BufStrBase& out) {
  BufStr file;
  int rc = SshBuffer::WriteU32(file, kSsh2Magic);
  if (rc == errNone) rc = SshBuffer::WriteU32(file, static_cast<uint32_t>(inner.size()));
  if (rc == errNone) rc = SshBuffer::WriteString(file, keyType);
  if (rc == errNone) rc = SshBuffer::WriteString(file, "none");
  if (rc == errNone) rc = SshBuffer::WriteString(file, inner);
  return rc != errNone ? rc : Armor("SSH2 ENCRYPTED PRIVATE KEY", file.View(), out);
}

int RsaKeyText(std::string_view xml, BufStrBase& out, int& form) {
  BufStr e, n, d, p, q, inverseQ, blob;
  NumberOf("Exponent", xml, e, true);
  NumberOf("Modulus", xml, n, false);
  NumberOf("D", xml, d, false);
  NumberOf("P", xml, p, false);
  NumberOf("Q", xml, q, false);
  NumberOf("InverseQ", xml, inverseQ, false);
  int rc = errNone;
  if (d.IsEmpty() && (p.IsEmpty() || q.IsEmpty() || inverseQ.IsEmpty())) {
    form = xmlPublicKey;
    rc = SshBuffer::WriteString(blob, "ssh-rsa");
    if (rc == errNone) rc = SshBuffer::WriteString(blob, e.View());
    if (rc == errNone) rc = SshBuffer::WriteString(blob, n.View());
    return rc != errNone ? rc : Armor("SSH2 PUBLIC KEY", blob.View(), out);
  }
  form = xmlPrivateKey;
  rc = SshBuffer::WriteU32(blob, 0);
  for (const BufStr* number : {&e, &d, &n, &inverseQ, &q, &p})
    if (rc == errNone) rc = SshBuffer::WriteMpint(blob, number->View());
  return rc != errNone ? rc : PrivateFile("if-modn{sign{rsa", blob.View(), out);
}

int DsaKeyText(std::string_view xml, BufStrBase& out, int& form) {
  BufStr p, q, g, y, x, blob;
  NumberOf("P", xml, p, false);
  NumberOf("Q", xml, q, false);
  NumberOf("G", xml, g, false);
  NumberOf("Y", xml, y, false);
  NumberOf("X", xml, x, false);
  int rc = errNone;
  if (x.IsEmpty()) {
    form = xmlPublicKey;
    rc = SshBuffer::WriteString(blob, "ssh-dss");
    for (const BufStr* number : {&p, &q, &g, &y})
      if (rc == errNone) rc = SshBuffer::WriteString(blob, number->View());
    return rc != errNone ? rc : Armor("SSH2 PUBLIC KEY", blob.View(), out);
  }
  form = xmlPrivateKey;
  rc = SshBuffer::WriteU32(blob, 0);
  if (rc == errNone) rc = SshBuffer::WriteU32(blob, 0);
  for (const BufStr* number : {&p, &g, &q, &y, &x})
    if (rc == errNone) rc = SshBuffer::WriteMpint(blob, number->View());
  return rc != errNone ? rc : PrivateFile("dl-modp{sign{dsa", blob.View(), out);
}
} // namespace

void FindXmlElement(std::string_view name, std::string_view xml, BufStrBase& out) {
  if (name.empty()) return;
  size_t at = 0;
  for (;; ++at) {
    at = xml.find(name, at);
    if (at == std::string_view::npos) return;
    const size_t behind = at + name.size();
    if (at > 0 && (xml[at - 1] == '<' || xml[at - 1] == ':') && behind < xml.size() &&
        (xml[behind] == ' ' || xml[behind] == '\t' || xml[behind] == '\r' || xml[behind] == '\n' ||
         xml[behind] == '>'))
      break;
  }
  size_t open = at;
  while (open > 0 && xml[open - 1] != '<')
    --open;
  if (open == 0) return;
  const std::string_view openingName = xml.substr(open, at + name.size() - open);
  const size_t gt = xml.find('>', at + name.size());
  if (gt == std::string_view::npos) return;
  const size_t content = gt + 1;
  for (size_t close = content;; ++close) {
    close = xml.find(openingName, close);
    if (close == std::string_view::npos) return;
    if (close >= content + 2 && xml[close - 2] == '<' && xml[close - 1] == '/') {
      out.Append(xml.substr(content, close - 2 - content));
      return;
    }
  }
}

int KeyReader::XmlKeyToText(std::string_view text, BufStrBase& out, int& formOut) {
  BufStr xml, part;
  if (xml.Assign(text) != errNone) return errOutOfMemory;
  xml.Trim();
  int rc = errCertDecode;
  if (xml.Find("DSAKeyValue") >= 0 || xml.Find("RSAKeyValue") >= 0 || xml.Find("X509Data") >= 0) {
    FindXmlElement("X509Data", xml.View(), part);
    if (!part.IsEmpty()) {
      BufStr certificate;
      FindXmlElement("X509Certificate", part.View(), certificate);
      certificate.Trim();
      formOut = xmlCertificate;
      rc = CertificatePem(certificate.View(), out);
    } else if (FindXmlElement("RSAKeyValue", xml.View(), part); !part.IsEmpty()) {
      rc = RsaKeyText(part.View(), out, formOut);
    } else if (FindXmlElement("DSAKeyValue", xml.View(), part); !part.IsEmpty()) {
      rc = DsaKeyText(part.View(), out, formOut);
    }
  }
  return rc == errNone ? errNone : Fail(errCertDecode, "Could not read XML certificate.");
}

} // namespace quillon
