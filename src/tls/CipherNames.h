// The words of the secure channel: names of protocol versions and cipher suites, read from the
// settings, from the hello messages that pass by, and from the negotiated connection; and the
// algorithm names of SSLAlgorithmList, turned into identifiers and an OpenSSL cipher list.
#pragma once

#include "frame/BufStr.h"
#include "platform/TlsProvider.h"

#include <cstdint>
#include <string_view>

namespace quillon {

// The most identifiers that an algorithm list yields; further names are dropped.
constexpr int kMaxAlgorithms = 32;

// Appends "SSL3.0", "TLS1.0" ... "TLS1.3", or "Unknown (code)".
void VersionName(int code, BufStrBase& text);
// The suite's row text, "" for code 0, or "Unknown (code)".
void CipherSuiteName(uint32_t code, BufStrBase& text);
// From a token that starts with a server hello record: "Selected TLS Version: ..." and
// "Selected Cipher Suite: ...". -1 when too short, 1 when the record is not the whole token.
int DescribeServerHello(const char* bytes, int length, BufStrBase& version, BufStrBase& suite);
// "Cipher Suites:\r\n    " and the offered suites of a client hello; -1 when too short.
int DescribeClientHello(const char* bytes, int length, BufStrBase& text);
// "Enabling TLS versions: " and the names of the bits of `mask`.
int DescribeEnabledProtocols(uint32_t mask, BufStrBase& text);
// "Negotiated SSL parameters: " and the connection's algorithms; 1 without a context.
int DescribeConnection(const platform::TlsContext* context, BufStrBase& text);
// The identifiers of the names in a ";" list, unknown names skipped; returns how many.
int ParseAlgorithmList(const char* list, uint32_t* identifiers, int room);
// The piece of `rest` up to `separator`, without blanks and controls at its ends; `rest` moves
// behind the separator.
std::string_view NextTrimmedPiece(std::string_view& rest, char separator);
// An OpenSSL cipher list that admits the suites made of the given algorithms only; empty when
// the identifiers restrict nothing.
int AlgorithmCipherList(const uint32_t* identifiers, int count, BufStrBase& out);

} // namespace quillon
