// Texts and parsing of the server certificate's judgement, shared by the channel, its tests
// and its fuzz target.
#pragma once

#include "frame/BufStr.h"
#include "platform/CertificateCheck.h"

#include <cstdint>

namespace quillon {

// "OK" for 0, else "[0x...] " and the status's text, "(unknown status code)" for one without.
void PolicyStatusText(uint32_t status, BufStrBase& text);
// Appends the certificate as PEM: markers, base64 in lines of 64, CRLF line ends.
void PemText(const platform::DerBytes& cert, BufStrBase& out);
// Finds the first certificate of a Certificate message in TLS records; `cert` points into
// `token`. 0, or 281 when there is none or the framing is broken.
int ParseHandshakeCertificate(const char* token, int length, platform::DerBytes& cert);

} // namespace quillon
