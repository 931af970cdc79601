// Result codes of the HTTP client.
#pragma once

namespace quillon {

enum HttpError : int {
  errBadGzipHeader = 102,    // "The GZIP header is invalid."
  errHttpStatus = 151,       // a status other than 2xx or 101 that was not retried
  errDigest = 151,           // "Digest authentication error: unknown qop value."
  errDecoder = 151,          // the decompressor cannot start, or the body does not inflate
  errNoServer = 152,         // "No server specified in URL"
  errBadScheme = 153,        // a URL scheme or proxy scheme the client cannot use
  errCookieIndex = 156,      // "Invalid cookie index (out of range)."
  errTooManyRedirects = 310, // "There were too many redirects."
  errProxySslRange = 380,    // "Value is out of range." for a ProxySSL outside its values
  // The connection ended before a status line, or inside the headers or a framed body.
  errResponseCut = 10057,
};

} // namespace quillon
