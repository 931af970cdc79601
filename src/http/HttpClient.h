// Sixth link of the engine's chain: the HTTP client. Its fields carry the settings and the state
// of one exchange; the OData client above calls SetURL and RunAction. The events of the transfer
// (Header, SetCookie, Status, StartTransfer, Transfer, EndTransfer) leave through Fire... here.
#pragma once

#include "frame/BufStr.h"
#include "frame/FileHandle.h"
#include "frame/StrList.h"
#include "http/BodyDecoder.h"
#include "http/DigestAuth.h"
#include "http/SspiContext.h"
#include "net/TransferPort.h"

#include <quillon/QuillonTypes.h>

#include <cstdint>
#include <string_view>

namespace quillon {

enum HttpAction : int {
  actInterrupt = 0,
  actGet = 1,
  actPost = 2,
  actHead = 3,
  actReset = 4,
  actPut = 5,
  actDelete = 6,
};

// The seven strings of one cookie in Cookies, in this order.
enum CookieField : int {
  ckDomain = 0,
  ckExpires = 1, // the server's text, not parsed
  ckName = 2,
  ckPath = 3,
  ckSecure = 4, // "1" or "0"
  ckValue = 5,
  ckKeep = 6, // a decimal flag; records with 0 go on a change of host
  ckFieldCount = 7,
};

// The schemes of AuthScheme and ProxyAuthScheme, and the ProxySSL modes, are the public ones.
using enum AuthSchemes;
using enum ProxySSLTypes;

// The states of the response reader.
enum ResponseStateCode : uint8_t {
  rsReadingStatus = 0,
  rsSkippingInterim = 1,
  rsReadingHeaders = 2,
  rsReadingBody = 3,
  rsReadingChunkSize = 4,
  rsReadingChunkData = 5,
  rsReadingTrailer = 6,
  rsChunkPendingCR = 7,
};

// A file named by the host, in the form it was given: narrow bytes or wide characters.
struct FileNameRecord {
  BufStr narrow;
  BufStr wide;        // WideChar units, NUL-terminated
  int32_t isWide = 0; // 1 when `wide` is in force
  bool IsEmpty() const { return isWide ? wide.IsEmpty() : narrow.IsEmpty(); }
  void Clear() {
    narrow.Clear();
    wide.Clear();
    isWide = 0;
  }
};

class HttpClient : public TransferPort {
public:
  HttpClient();
  ~HttpClient() override = default;

  // Config
  int Config(ConfigRequest& request, const char** result) override;

  // Operations
  // Transfer driver (TransferDriver.cpp, ResponseEvaluation.cpp)
  // Sets the target of the next action; an empty `url` clears it.
  int SetURL(const char* url, int isRedirect);
  // Runs one action (HttpAction) to its end; 0, 143, 301 or the code of the request.
  virtual int RunAction(int action);
  // Pumps the wait loop until the response is over: 0, 301 or an error code.
  int WaitForResponse();
  // Judges the state after a wait (or after a piece of an upload, with `result` 0): the result,
  // one more authentication leg, or a redirect.
  int EvaluateResponse(int result);
  // Action 4: empties the target, the request, the credentials, the cookies and the captures.
  void ResetHttpState();
  void OnConnected(int status) override;

  // Request composer (UrlSplit.cpp, RequestComposer.cpp, RequestBody.cpp)
  // Splits `url`, absolute or relative to the values passed in, into its parts; the path comes
  // back percent-encoded when EncodeURL (EncodeRedirectLocation for a redirect) is on. May set
  // DefaultPort and useIPv6. 0 or 200.
  int SplitURL(const char* url, BufStrBase& scheme, BufStrBase& host, BufStrBase& path,
               int32_t& port, BufStrBase& user, BufStrBase& password, int isRedirect);
  // Arms the response reader, picks and opens the connection and sends the request head; with
  // `finish` the blank line that ends it too. 0 or an error code.
  int ComposeRequest(const char* method, int finish);
  // Readies the response reader for the answer to a request of `method`: status state, line
  // mode, captures emptied. 0 or 200.
  int ArmResponseReader(const char* method);
  int SendBodilessRequest(const char* method);
  int SendRequestWithBody(const char* method, int flags);
  // 0 to 3; anything else is 380 "Value is out of range.".
  int SetProxySSL(int value);
  int BeforeSend(const char* bytes, int length, int flags) override;
  int AfterSend(const char* bytes, int length) override;
  int OnSendProgress(int64_t bytes) override;

  // Response reader (ResponseReader.cpp, ResponseBody.cpp)
  int OnDataEvent(char* data, int length, bool isLine) override;
  // The line length of the head, also while a body is read through the larger buffer.
  uint32_t GetMaxLineLength() override;
  int SetMaxLineLength(uint32_t size) override;
  // Finishes the response: closes LocalFile, drops the connection unless it is kept, fires
  // EndTransfer once.
  void EndResponse();
  void OnDisconnected(int status) override;

  // Virtual operations of the link
  virtual int OnUploadProgress(int bytes, int status);
  virtual int DoAction(int action) { return RunAction(action); }
  virtual int OnBeforeSendHeaders(BufStrBase&) { return 0; }
  virtual void NotifyStartTransfer(int direction) { FireStartTransfer(direction); }
  virtual void NotifyEndTransfer(int direction) { FireEndTransfer(direction); }
  // Completes the percent of an upload and fires Transfer.
  virtual void ReportTransfer(int direction, int64_t bytes, int percent, const char* text,
                              int length);
  virtual void FireRedirect(const char*, bool&) {}
  // Whether the system's proxy settings exempt this target (SystemProxy.h).
  virtual bool BypassesProxy(const char* host, int port, const char* scheme);
  // Sets the firewall layer up to tunnel through ProxyServer to the URL's host: its type from
  // ProxyAuthScheme (153 for one that can't tunnel), host, port and credentials from the proxy's.
  virtual int UseProxyTunnel();

  // Response headers (HttpHeaders.cpp)
  // Splits one header line as it came: a line whose first byte is a blank or a control (or a
  // byte from 0x80 up) continues the previous header, with `field` empty and `value` after that
  // byte; otherwise `field` runs to the first colon outside double quotes and `value` starts
  // after the colon and its blanks. A line without such a colon is all field.
  static void SplitHeaderLine(std::string_view line, std::string_view& field,
                              std::string_view& value);
  // Records a header in ParsedHeaders. An empty `field` continues the last value, joined with a
  // tab; with no header before it, or an empty `value`, it is dropped. 0 or 200.
  int AddParsedHeader(std::string_view field, std::string_view value);
  int ParsedHeaderCount() const { return ParsedHeaders.Count() / 2; }
  // The value of the first header named `field` (ignoring case) that has one; empty otherwise.
  std::string_view ParsedHeaderValue(std::string_view field) const;

  // Cookies (HttpCookies.cpp)
  // Reads the value of a Set-Cookie header, fires SetCookie and merges the cookie into Cookies.
  int ParseSetCookie(std::string_view header);
  // Replaces expires, value and secure of the record with the same name, domain and path (any
  // case), or appends a new record. 0 or 200; a failed append leaves no partial record.
  static int AddCookie(StrList& list, std::string_view name, std::string_view value,
                       std::string_view expires, std::string_view domain, std::string_view path,
                       bool secure, int keep);
  // For a move to another host or port: empties the jar but for records with a keep flag, unless
  // DontClearCookiesOnUrlChange is on.
  int ClearCookiesOnUrlChange();
  // Empties lastError; 0 for an index of a cookie, else 156 with its text.
  int ValidateCookieIndex(int index);
  int CookieCount() const { return Cookies.Count() / ckFieldCount; }

  // Authentication (HttpAuthBasicDigest.cpp)
  // Forms Authorization from AuthScheme and the credentials, and ProxyAuthorization from
  // ProxyAuthScheme and the proxy credentials. 0, 151 with the Digest error text, or 200.
  int FormAuthorization();
  int FormProxyAuthorization();
  // The setters of the credentials and schemes, with their effects on the formed values.
  int SetUser(std::string_view text);
  int SetPassword(std::string_view text);
  int SetProxyUser(std::string_view text);
  int SetProxyPassword(std::string_view text);
  int SetAuthScheme(int value);      // the low 8 bits are stored
  int SetProxyAuthScheme(int value); // the low 8 bits are stored
  int SetAuthScheme(AuthSchemes value) { return SetAuthScheme(static_cast<int>(value)); }
  int SetProxyAuthScheme(AuthSchemes value) { return SetProxyAuthScheme(static_cast<int>(value)); }
  // The caller's own Authorization; AuthScheme becomes authProprietary unless it is that or
  // authOAuth.
  int SetAuthorization(std::string_view text);

  // NTLM and Negotiate (HttpAuthToken.cpp)
  // Forms `header` ("NTLM ..." or "Negotiate ...") from one step of `signOn`: the first step,
  // which loads the credentials, when `serverToken` is empty. A failure leaves `header` empty
  // and the text in lastError.
  int FormTokenAuthorization(SspiContext& signOn, AuthSchemes scheme, std::string_view host,
                             const BufStrBase& serverToken, const BufStrBase& user,
                             const BufStrBase& password, BufStrBase& header);
  // A token made elsewhere: it goes out as "Negotiate " and the text, with no exchange.
  int SetKerberosToken(std::string_view text);
  // The NTLM and Negotiate tunnels sign on to the firewall with the proxy's exchange.
  int LoadTunnelCredentials(const char* scheme, const char* user, const char* password) override;
  int MakeTunnelToken(BufStrBase& out, const char* scheme, const char* target,
                      const char* challenge) override;
  // The Config keys of the sign-on: UseSystemSSPI, ExtendedProtection, KerberosSPN, UseNTLMv2.
  // errUnknownConfig for any other key.
  int ConfigSignOn(ConfigRequest& request, const char** result);

  // System proxy (HttpProxyAutoDetect.cpp): with `on`, the proxy for URLScheme and a SOCKS
  // firewall from the environment's settings. Always 0.
  int SetProxyAutoDetect(bool on);

  // Body decoding (HttpBodyDecoding.cpp); failures leave their text in lastError.
  void ResetDecoder();
  // For a content-encoding header while AllowHTTPCompression is on. 0 or 151.
  int StartDecoder(std::string_view contentEncoding);
  // Decodes one piece of body when a coding is active; `piece` then views the decoded bytes, valid
  // until the next call. With `needMore` set the piece was kept and nothing is to be delivered.
  // 0, 102, 151 or 200.
  int DecodePiece(const char* bytes, int length, std::string_view& piece, bool& needMore);

  // Events to the host
  virtual void FireHeader(const char* field, const char* value);
  virtual void FireSetCookie(const char* name, const char* value, const char* expires,
                             const char* domain, const char* path, bool secure);
  virtual void FireStatus(const char* httpVersion, int statusCode, const char* description);
  virtual void FireStartTransfer(int direction);
  virtual void FireTransfer(int direction, int64_t bytesTransferred, int percentDone,
                            const char* text, int textLength);
  virtual void FireEndTransfer(int direction);

  // Response headers and cookies
  StrList ParsedHeaders;  // field, value, field, value ...
  BufStr20 parsedScratch; // scratch beside ParsedHeaders
  StrList Cookies;        // seven strings a cookie
  BufStr HttpCookies;     // the Cookie header text composed for the request
  int32_t DebugTrace = 0;

  // The running exchange
  uint8_t CurrentAction = 0;          // the running action; 0 while idle
  AuthSchemes AuthScheme = authBasic; // any of the low 8 bits that a host writes
  AuthSchemes ProxyAuthScheme = authBasic;
  uint8_t ResponseState = 0;
  int64_t BytesTransferred = 0;
  BufStr TransferredHeaders; // the response head of the latest exchange
  BufStr TransferredData;    // the response body of the latest exchange
  BufStr ResponseContentType;
  int64_t MaxTransferredData = 0;
  BufStr HeaderScratch;
  int64_t ResponseContentLength = -1; // -1 while a request is under way
  uint8_t KeepAlive = 0;
  uint8_t ResponseChunked = 0;
  uint8_t ResponseDone = 0;
  uint8_t ProxyAutoDetect = 0;
  int32_t ChunkRemaining = 0;

  // Target
  int32_t DefaultPort = 80;
  BufStr20 DefaultScheme;
  BufStr20 SchemeHttp;
  BufStr20 SchemeHttps;
  ProxySSLTypes ProxySSL = psAutomatic;
  uint8_t FollowRedirects = 0; // 0 never, 1 always, 2 within the same scheme
  BufStr50 Location;
  BufStr URL;
  BufStr URLPath;
  BufStr20 URLScheme;
  BufStr20 URLServer;
  int32_t URLPort = 80;
  BufStr20 ProxyServer;
  int32_t ProxyPort = 80;

  // Credentials
  BufStr20 User;
  BufStr20 Password;
  BufStr20 Authorization;
  BufStr20 ProxyUser;
  BufStr20 ProxyPassword;
  BufStr20 ProxyAuthorization;

  // Request header fields
  BufStr20 Accept;
  BufStr20 AcceptEncoding;
  BufStr20 From;
  BufStr20 UserAgent;
  BufStr20 IfModifiedSince;
  BufStr20 Referer;
  BufStr20 Pragma;
  BufStr20 Range;

  // Status of the response
  BufStr30 StatusLine;
  BufStr20 StatusDescription;
  BufStr20 ResponseVersion;
  int32_t StatusCode = 0;

  // Method and version
  BufStr20 HTTPMethod;    // forces the request's method when not empty
  BufStr20 RequestMethod; // the method of the request on the wire
  BufStr20 HTTPVersion;

  // Authentication state
  BufStr20 ServerToken;
  BufStr20 ProxyServerToken;
  int32_t AuthAttempts = 0;
  int32_t ProxyAuthAttempts = 0;

  // Behaviour settings
  int32_t GetOn302Redirect = 0;
  uint8_t TransferredRequestOn = 0;
  BufStr TransferredRequest;
  BufStr SentHeaders;
  int32_t DontClearCookiesOnUrlChange = 0;
  int32_t AbsoluteURI = 0;
  int32_t EncodeQueryString = 1;
  int32_t UseChunkedEncoding = 0;
  int32_t ChunkSize = 16384;
  int32_t MaxRedirectAttempts = 20;
  int32_t RedirectsLeft = 20;
  int32_t CreateLocalFileAttributes = 0;
  DigestState serverDigest; // the challenge of the server and the request it answers
  DigestState proxyDigest;  // the same for the proxy
  SspiContext serverSignOn; // the NTLM or Negotiate exchange with the server
  SspiContext proxySignOn;  // the same with the proxy
  BufStr20 KerberosSPN;     // the Negotiate target; "HTTP/" and the server's name when empty
  int32_t AllowHTTPCompression = 0;
  BodyDecoder decoder; // gzip and deflate bodies; active only while a coding was named
  int32_t EncodeURL = 0;
  int32_t UsePlatformHTTPClient = 0;
  int32_t EncodeRedirectLocation = 0;
  int32_t FireProxyTransfer = 1;
  int32_t Append = 0;
  int32_t PostDataAfterNegotiate = 1;
  int32_t AllowIdenticalRedirectURL = 0;
  int32_t KerberosFirstToken = 0;

  // The request body and extra header lines
  FileHandle LocalFileHandle;
  int64_t RequestLength = 0;
  BufStr ContentType;  // Content-Type of the request body
  BufStr PostData;     // the request body
  BufStr OtherHeaders; // extra header lines of the one request being sent, each ending in CRLF
  FileNameRecord AttachedFile; // request body from a file, sent after PostData
  FileNameRecord LocalFile;    // the body of a 2xx response goes here when set
  bool responseCut = false;    // the connection ended inside the headers or a framed body
  int32_t responseError = 0;   // a failure of the response reader that ends the wait
  bool endingResponse = false; // EndResponse is dropping the connection itself
  bool asyncSending = false;   // OnConnected sends the request of an asynchronous action
  bool headerLinePart = false; // the last header line came as a part of a longer one
  uint32_t headLineLength = 0; // MaxLineLength while a raw body uses the larger buffer; 0 else

private:
  // Before a TLS connection (SecureTarget.cpp): the name the certificate is checked against and
  // the client certificate of the SSLCert settings. 0 or an error code.
  int PrepareSecureChannel();
  // Hands a newly chosen client certificate to the channel, dropping a connection that went up
  // with the previous one. 0, 271 or 200.
  int TakeChosenCertificate();
  // Closes the kept connection of an earlier exchange while this one is under way: its close
  // ends nothing of the response now awaited.
  void DropEarlierConnection();
  BufStr presentedCertificate;  // DER of the certificate handed to the channel; empty none
  bool droppingEarlier = false; // a connection of an earlier exchange is going

  // The connection of ComposeRequest: direct, plain proxy or tunnel; `absolute` tells whether
  // the request line carries the scheme and the host. 0 or an error code.
  int SelectConnection(bool& absolute);
  // Makes `host` and `port` the remote end, keeping a connection that already goes there.
  int SetTarget(const BufStrBase& host, int port);
  // Sends one piece of the request; `more` says that another piece follows at once.
  int SendPiece(const char* bytes, int length, bool more);
  // Sends an attached file in pieces of 16384 bytes; 0, 302 or the send's code.
  int SendAttachedFile(int64_t& sent);
  int OpenAttachedFile(FileHandle& file);
  // The states of the response reader.
  int ReadStatusLine(char* data, int length, bool isLine);
  int ReadHeaderLine(char* data, int length, bool isLine);
  int EndOfHeaders();
  int ReadChunkData(char* data, int length, bool isLine);
  int DeliverBody(const char* data, int length);
  // Ends the exchange with a failure of the response reader: the wait stops with `code`.
  int FailResponse(int code, const char* text);
  int WriteLocalFile(std::string_view piece);
  // A raw body is read in large pieces: the port's buffer grows for it and shrinks back to the
  // line length for the next head, keeping what it holds.
  void UseBodyBuffer(bool large);
  bool IsRedirectResponse() const;
  // The one-exchange part of RunAction: the action's method and sender.
  int DispatchAction(int action);

  // Forms a Digest value of `state` for the current request into `out`.
  int FormDigest(DigestState& state, const BufStrBase& user, const BufStrBase& password,
                 BufStrBase& out, bool withAlgorithm);
};

} // namespace quillon
