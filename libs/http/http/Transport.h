#pragma once
// The one HTTP transport of the project: a request/response exchange over plain HTTP or
// HTTPS. Natively it is POCO Net/NetSSL, in the Windows build WinHTTP. A Connection keeps its
// TCP/TLS connection open between requests and opens a new one when the server closed the
// kept one in between (or when a request goes to another endpoint).
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::http {

// Answers larger than this are refused while they are read: no management answer comes near
// it, and an endless body from a broken peer must not exhaust memory. The text of the refusal
// names the limit.
inline constexpr std::size_t kMaxResponseBodyBytes = 32u * 1024u * 1024u;
// Room kept after a body whose length was announced, so that a reader can pad the text (the
// JSON parser reads a few bytes past its end) without moving it.
inline constexpr std::size_t kResponseBodySpareBytes = 32;

// Sees the body of an answer piece by piece as it arrives, before anything is built from it;
// it throws (any std::exception) to refuse the answer, and the exchange then fails with
// TransportErrorKind::Protocol and the exception's text.
using BodyInspector = std::function<void(std::string_view piece)>;

struct Header {
  std::string name;
  std::string value;
};

struct Request {
  std::string method = "GET";
  std::string host;  // name or IPv4 text
  std::uint16_t port = 0;
  std::string path = "/";  // absolute path with query, e.g. "/v1/volumes/search"
  std::vector<Header> headers;
  std::string body;
  bool tls = false;
  // A moment by which the exchange must be over whatever its timeouts allow (a caller's own
  // window, e.g. while the host holds its writes); none: the timeouts alone bound it.
  std::optional<std::chrono::steady_clock::time_point> deadline;
  // The largest body this exchange accepts (at most kMaxResponseBodyBytes counts).
  std::size_t maxBodyBytes = kMaxResponseBodyBytes;
  BodyInspector inspectBody;
};

struct Response {
  int status = 0;
  std::vector<Header> headers;
  std::string body;

  // First header of that name (case-insensitive), or null.
  const std::string* findHeader(std::string_view name) const;
};

struct Timeouts {
  // Bounds the connect and the TLS handshake.
  std::chrono::milliseconds connect{10000};
  // Bounds the whole exchange, from the connect to the last byte of the answer: an answer
  // that trickles in slowly fails like one that never comes.
  std::chrono::milliseconds receive{60000};
};

struct TlsOptions {
  // Lower-case hex SHA-256 of the DER certificate the server must present (see
  // CertificatePin.h). When set, only that certificate is accepted, whatever its issuer or name,
  // and within its validity dates; a server that presents another one gets no request. Empty:
  // the certificate is verified against the system's trust store, name included.
  std::string pinnedSha256;
  // Accept any certificate. Only for tests and for reading what a server presents before it is
  // pinned; never for a connection that carries a secret.
  bool acceptUntrustedCertificate = false;
};

class Connection {
 public:
  virtual ~Connection() = default;
  // Throws TransportError when no answer came back; any HTTP status is an answer. An exchange
  // that runs past its deadline fails with TransportErrorKind::Timeout (Connect while it was
  // still connecting).
  virtual Response send(const Request& request) = 0;
  virtual void setTimeouts(const Timeouts& timeouts) = 0;
  virtual Timeouts getTimeouts() const = 0;
  virtual void setTlsOptions(const TlsOptions& options) = 0;
  // Closes the kept connection (the next request opens a new one).
  virtual void close() = 0;
};

// A connection through the platform's transport (POCO natively, WinHTTP on Windows).
std::unique_ptr<Connection> createConnection(const Timeouts& timeouts = {}, const TlsOptions& tls = {});

// The lower-case hex SHA-256 of the certificate that the TLS server at host:port presents.
// Sends no request: the handshake alone. Throws TransportError.
std::string presentedCertificateSha256(const std::string& host, std::uint16_t port, const Timeouts& timeouts = {});

// One request on a connection of its own (closed afterwards).
Response sendOnce(const Request& request, const Timeouts& timeouts = {}, const TlsOptions& tls = {});

// Starts the platform's network layer; runs once when the process loads and is idempotent.
void initializeNetwork();

}  // namespace vantor::http
