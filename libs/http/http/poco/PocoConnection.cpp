// The native backend: POCO Net for plain HTTP, NetSSL for HTTPS.
#include <Poco/Exception.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/Net.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/RejectCertificateHandler.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SSLManager.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/X509Certificate.h>
#include <Poco/Timespan.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <istream>
#include <mutex>
#include <ostream>

#include "http/CertificatePin.h"
#include "http/Deadline.h"
#include "http/Exchange.h"
#include "http/ExchangeWatchdog.h"
#include "http/Transport.h"
#include "http/TransportError.h"

namespace vantor::http {

namespace {

using detail::fail;

// Opens the connection before the request is written, so a failure to connect is told apart
// from a failure of the exchange (POCO would otherwise connect inside sendRequest).
template <class Base>
class OpenableSession : public Base {
 public:
  using Base::Base;
  void open() { this->reconnect(); }
};
using PlainSession = OpenableSession<Poco::Net::HTTPClientSession>;
using SecureSession = OpenableSession<Poco::Net::HTTPSClientSession>;

// Runs once when the process loads: POCO's network initialiser (Winsock start-up on Windows,
// nothing elsewhere) and OpenSSL. A certificate that fails verification with a verifying
// context is rejected rather than handed to an interactive handler.
struct NetworkInitializer {
  NetworkInitializer() {
    Poco::Net::initializeNetwork();
    Poco::Net::initializeSSL();
    Poco::Net::SSLManager::instance().initializeClient(
        nullptr, Poco::Net::SSLManager::InvalidCertificateHandlerPtr(new Poco::Net::RejectCertificateHandler(false)),
        nullptr);
  }
};
const NetworkInitializer gNetworkInitializer;

// A pinned certificate replaces the chain of trust, so OpenSSL's own verification is off for
// it and the pin is checked once the handshake is done (checkPin), before any byte of a request.
bool verifiesAgainstTrustStore(const TlsOptions& tls) {
  return tls.pinnedSha256.empty() && !tls.acceptUntrustedCertificate;
}

Poco::Net::Context::Ptr makeContext(bool trustStore) {
  Poco::Net::Context::Params params;
  params.verificationMode = trustStore ? Poco::Net::Context::VERIFY_RELAXED : Poco::Net::Context::VERIFY_NONE;
  params.loadDefaultCAs = trustStore;
  params.cipherList = "HIGH:!aNULL:!eNULL:!MD5:!RC4";
  Poco::Net::Context::Ptr context = new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, params);
  context->requireMinimumProtocol(Poco::Net::Context::PROTO_TLSV1_2);
  return context;
}

Poco::Timespan toTimespan(std::chrono::milliseconds value) {
  return Poco::Timespan(static_cast<Poco::Timespan::TimeDiff>(value.count()) * 1000);
}

std::string describe(const Poco::Exception& e) {
  return e.displayText();
}

struct PeerCertificate {
  std::string sha256;
  std::chrono::system_clock::time_point notBefore;
  std::chrono::system_clock::time_point notAfter;
};

std::chrono::system_clock::time_point toTimePoint(const Poco::DateTime& when) {
  return std::chrono::system_clock::from_time_t(when.timestamp().epochTime());
}

// What the server presented in the handshake that has just completed on `socket`.
PeerCertificate peerCertificate(Poco::Net::SecureStreamSocket& socket) {
  const Poco::Net::X509Certificate certificate = socket.peerCertificate();  // throws without one
  const X509* x509 = certificate.certificate();
  unsigned char* der = nullptr;
  const int size = i2d_X509(x509, &der);
  if (size <= 0 || der == nullptr) throw Poco::Net::SSLException("the certificate cannot be encoded");
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owned(der, [](unsigned char* p) { OPENSSL_free(p); });
  return {sha256Hex(der, static_cast<std::size_t>(size)), toTimePoint(certificate.validFrom()),
          toTimePoint(certificate.expiresOn())};
}

void applyTimeouts(Poco::Net::HTTPClientSession& session, const Timeouts& timeouts) {
  const Poco::Timespan receive = toTimespan(timeouts.receive);
  session.setTimeout(toTimespan(timeouts.connect), receive, receive);
}

class PocoConnection final : public Connection {
 public:
  PocoConnection(const Timeouts& timeouts, const TlsOptions& tls) : mTimeouts(timeouts), mTls(tls) {}

  Response send(const Request& request) override {
    detail::validateRequest(request);
    const Deadline deadline = Deadline::after(mTimeouts.receive, request.deadline);
    if (deadline.passed()) timedOut(request, deadline);
    if (mSession && !sameEndpoint(request)) close();
    if (mSession && closedByPeer()) close();
    if (!mSession) open(request, deadline);
    try {
      return exchange(request, deadline);
    } catch (...) {
      // Whatever went wrong, the connection is in an unknown state: the next request starts
      // afresh rather than reading the remains of this one.
      close();
      throw;
    }
  }

  void setTimeouts(const Timeouts& timeouts) override {
    mTimeouts = timeouts;
    if (mSession) {
      const Poco::Timespan receive = toTimespan(timeouts.receive);
      mSession->setTimeout(toTimespan(timeouts.connect), receive, receive);
    }
  }
  Timeouts getTimeouts() const override { return mTimeouts; }

  void setTlsOptions(const TlsOptions& options) override {
    if (options.acceptUntrustedCertificate != mTls.acceptUntrustedCertificate ||
        options.pinnedSha256 != mTls.pinnedSha256) {
      // The kept connection was accepted under the old policy.
      close();
      mContext.reset();
    }
    mTls = options;
  }

  void close() override {
    if (mSession) {
      try {
        mSession->reset();
      } catch (const Poco::Exception&) {
        // Closing a broken socket may fail; the session is dropped either way.
      }
      mSession.reset();
    }
  }

  ~PocoConnection() override { close(); }

 private:
  bool sameEndpoint(const Request& request) const {
    return request.host == mHost && request.port == mPort && request.tls == mSecure;
  }

  // An idle keep-alive connection has nothing to read. If it is readable, the server closed
  // it (or sent a TLS alert) since the last answer, and it must not carry the next request.
  bool closedByPeer() {
    try {
      return mSession->socket().poll(Poco::Timespan(0), Poco::Net::Socket::SELECT_READ | Poco::Net::Socket::SELECT_ERROR);
    } catch (const Poco::Exception&) {
      return true;
    }
  }

  [[noreturn]] static void timedOut(const Request& request, const Deadline& deadline) {
    fail(TransportErrorKind::Timeout, request,
         "no complete answer within " + std::to_string(deadline.budget().count()) + " ms");
  }

  void open(const Request& request, const Deadline& deadline) {
    // The handshake's reads wait at most for the connect timeout each.
    const std::chrono::milliseconds connect = deadline.cap(mTimeouts.connect);
    const Poco::Timespan receive = toTimespan(deadline.cap(mTimeouts.receive));
    std::unique_ptr<Poco::Net::HTTPClientSession> session;
    try {
      if (request.tls) {
        if (!mContext) mContext = makeContext(verifiesAgainstTrustStore(mTls));
        auto secure = std::make_unique<SecureSession>(request.host, request.port, mContext);
        secure->setTimeout(toTimespan(connect), receive, receive);
        secure->setKeepAlive(true);
        secure->setKeepAliveTimeout(Poco::Timespan(24 * 3600, 0));
        secure->open();
        if (!mTls.pinnedSha256.empty()) checkPin(request, *secure);
        session = std::move(secure);
      } else {
        auto plain = std::make_unique<PlainSession>(request.host, request.port);
        plain->setTimeout(toTimespan(connect), receive, receive);
        plain->setKeepAlive(true);
        plain->setKeepAliveTimeout(Poco::Timespan(24 * 3600, 0));
        plain->open();
        session = std::move(plain);
      }
    } catch (const TransportError&) {
      throw;
    } catch (const Poco::Net::DNSException& e) {
      fail(TransportErrorKind::Resolve, request, describe(e));
    } catch (const Poco::Net::ConnectionRefusedException&) {
      fail(TransportErrorKind::Connect, request, "connection refused");
    } catch (const Poco::TimeoutException&) {
      fail(TransportErrorKind::Connect, request, "no connection within " + std::to_string(connect.count()) + " ms");
    } catch (const Poco::Net::SSLException& e) {
      fail(TransportErrorKind::Tls, request, describe(e));
    } catch (const Poco::Exception& e) {
      fail(TransportErrorKind::Connect, request, describe(e));
    }
    mSession = std::move(session);
    mHost = request.host;
    mPort = request.port;
    mSecure = request.tls;
  }

  // Every TCP connection of this object is checked here before it carries a request, so a
  // reconnect after the server closed the kept connection is checked too.
  void checkPin(const Request& request, SecureSession& session) {
    Poco::Net::SecureStreamSocket socket(session.socket());
    const PeerCertificate presented = peerCertificate(socket);
    const std::string refusal = pinRefusal(presented.sha256, mTls.pinnedSha256, presented.notBefore, presented.notAfter);
    if (refusal.empty()) return;
    try {
      session.reset();
    } catch (const Poco::Exception&) {
      // The connection is dropped either way.
    }
    fail(TransportErrorKind::Tls, request, "certificate refused: " + refusal);
  }

  Response exchange(const Request& request, const Deadline& deadline) {
    if (deadline.passed()) timedOut(request, deadline);
    // POCO reads the headers one socket read after another, each with the socket's own
    // timeout; only shutting the socket down stops a server that trickles them.
    Poco::Net::StreamSocket& socket = mSession->socket();
    const poco_socket_t fd = socket.impl()->sockfd();
    socket.setSendTimeout(toTimespan(deadline.cap(mTimeouts.receive)));
    socket.setReceiveTimeout(toTimespan(deadline.cap(mTimeouts.receive)));
    Response response;
    bool keepAlive = false;
    {
      ExchangeWatchdog watchdog(deadline, [fd] { ::shutdown(fd, SHUT_RDWR); });
      try {
        keepAlive = exchangeSteps(request, response);
      } catch (const TransportError&) {
        watchdog.stop();
        if (watchdog.fired()) timedOut(request, deadline);
        throw;
      }
      watchdog.stop();
      // Cut just after the last byte, or a body without a length that the cut ended early.
      if (watchdog.fired()) timedOut(request, deadline);
    }
    if (!keepAlive) close();
    return response;
  }

  // Writes the request and reads the answer; false when the server will not keep the
  // connection.
  bool exchangeSteps(const Request& request, Response& response) {
    Poco::Net::HTTPRequest pocoRequest(request.method, request.path, Poco::Net::HTTPMessage::HTTP_1_1);
    for (const Header& header : request.headers) pocoRequest.add(header.name, header.value);
    if (!request.body.empty() || request.method == "POST" || request.method == "PUT")
      pocoRequest.setContentLength64(static_cast<Poco::Int64>(request.body.size()));
    pocoRequest.setKeepAlive(true);

    Poco::Net::HTTPResponse pocoResponse;
    try {
      // POCO puts the head into the request's stream; out it goes, then the body on its own.
      std::ostream& out = mSession->sendRequest(pocoRequest);
      out.flush();
      if (!out) throwStored(request, "the request could not be written");
      sendBody(request);
      std::istream& in = mSession->receiveResponse(pocoResponse);
      response.status = static_cast<int>(pocoResponse.getStatus());
      for (const auto& [name, value] : pocoResponse) response.headers.push_back(Header{name, value});
      readBody(request, pocoResponse, in, response.body);
    } catch (const TransportError&) {
      throw;
    } catch (const Poco::TimeoutException&) {
      fail(TransportErrorKind::Timeout, request, "no answer within " + std::to_string(mTimeouts.receive.count()) + " ms");
    } catch (const Poco::Net::NoMessageException&) {
      fail(TransportErrorKind::Dropped, request, "the server closed the connection without answering");
    } catch (const Poco::Net::SSLConnectionUnexpectedlyClosedException&) {
      fail(TransportErrorKind::Dropped, request, "the server closed the TLS connection without answering");
    } catch (const Poco::Net::SSLException& e) {
      fail(TransportErrorKind::Tls, request, describe(e));
    } catch (const Poco::Net::MessageException& e) {
      fail(TransportErrorKind::Protocol, request, "the answer is not HTTP: " + describe(e));
    } catch (const Poco::Net::ConnectionResetException&) {
      fail(TransportErrorKind::Dropped, request, "the server reset the connection");
    } catch (const Poco::Net::ConnectionAbortedException&) {
      fail(TransportErrorKind::Dropped, request, "the connection was aborted");
    } catch (const Poco::Exception& e) {
      fail(TransportErrorKind::Dropped, request, describe(e));
    }
    return pocoResponse.getKeepAlive();
  }

  // The body goes to the socket itself, after the head: POCO's request
  // stream would copy it into a pooled buffer that is used again without being wiped, and the
  // body may be a login.
  void sendBody(const Request& request) {
    Poco::Net::StreamSocket& socket = mSession->socket();
    std::size_t sent = 0;
    while (sent < request.body.size()) {
      const std::size_t piece = std::min<std::size_t>(request.body.size() - sent, 1u << 20);
      const int n = socket.sendBytes(request.body.data() + sent, static_cast<int>(piece));
      if (n <= 0) throwStored(request, "the request could not be written");
      sent += static_cast<std::size_t>(n);
    }
  }

  void readBody(const Request& request, const Poco::Net::HTTPResponse& pocoResponse, std::istream& in,
                std::string& body) {
    const bool hasLength = pocoResponse.hasContentLength();
    const Poco::Int64 length = hasLength ? pocoResponse.getContentLength64() : -1;
    if (hasLength)
      detail::reserveAnnouncedBody(request, body, static_cast<std::uint64_t>(std::max<Poco::Int64>(length, 0)));
    std::array<char, 16384> buffer;
    while (in) {
      in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
      const std::streamsize got = in.gcount();
      if (got <= 0) break;
      detail::appendBodyPiece(request, body, std::string_view(buffer.data(), static_cast<std::size_t>(got)));
    }
    if (in.bad()) throwStored(request, "the answer could not be read");
    if (hasLength && static_cast<Poco::Int64>(body.size()) != length)
      fail(TransportErrorKind::Dropped, request,
           "the connection ended after " + std::to_string(body.size()) + " of " + std::to_string(length) + " bytes");
  }

  // POCO streams swallow the socket's exception and keep it in the session; raise it.
  [[noreturn]] void throwStored(const Request& request, const std::string& fallback) {
    if (const Poco::Exception* stored = mSession->networkException()) stored->rethrow();
    fail(TransportErrorKind::Dropped, request, fallback);
  }

  Timeouts mTimeouts;
  TlsOptions mTls;
  Poco::Net::Context::Ptr mContext;
  std::unique_ptr<Poco::Net::HTTPClientSession> mSession;
  std::string mHost;
  std::uint16_t mPort = 0;
  bool mSecure = false;
};

}  // namespace

std::unique_ptr<Connection> createConnection(const Timeouts& timeouts, const TlsOptions& tls) {
  return std::make_unique<PocoConnection>(timeouts, tls);
}

std::string sha256Hex(const unsigned char* data, std::size_t size) {
  unsigned char digest[EVP_MAX_MD_SIZE] = {};
  unsigned int length = 0;
  if (EVP_Digest(data, size, digest, &length, EVP_sha256(), nullptr) != 1 || length != 32)
    throw std::runtime_error("SHA-256 is not available");
  static const char* const kHex = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < length; ++i) {
    text += kHex[digest[i] >> 4];
    text += kHex[digest[i] & 0x0f];
  }
  return text;
}

std::string presentedCertificateSha256(const std::string& host, std::uint16_t port, const Timeouts& timeouts) {
  Request request;
  request.method = "HANDSHAKE";
  request.host = host;
  request.port = port;
  request.tls = true;
  detail::validateRequest(request);
  try {
    SecureSession session(host, port, makeContext(/*trustStore=*/false));
    applyTimeouts(session, timeouts);
    session.open();
    Poco::Net::SecureStreamSocket socket(session.socket());
    const std::string sha256 = peerCertificate(socket).sha256;
    session.reset();
    return sha256;
  } catch (const Poco::Net::DNSException& e) {
    fail(TransportErrorKind::Resolve, request, describe(e));
  } catch (const Poco::Net::ConnectionRefusedException&) {
    fail(TransportErrorKind::Connect, request, "connection refused");
  } catch (const Poco::TimeoutException&) {
    fail(TransportErrorKind::Connect, request, "no handshake within " + std::to_string(timeouts.connect.count()) + " ms");
  } catch (const Poco::Net::SSLException& e) {
    fail(TransportErrorKind::Tls, request, describe(e));
  } catch (const Poco::Exception& e) {
    fail(TransportErrorKind::Connect, request, describe(e));
  }
}

void initializeNetwork() {
  // The static initialiser above has run by the time anyone can call this; kept so that both
  // backends offer the same entry point.
  static_cast<void>(gNetworkInitializer);
}

}  // namespace vantor::http
