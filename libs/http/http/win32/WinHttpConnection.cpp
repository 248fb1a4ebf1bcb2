// The Windows backend: WinHTTP. WinHTTP keeps its own pool of connections per session handle,
// so one Connection holds one session handle (and one connect handle per endpoint) for its
// whole life; the pool checks a kept connection before it reuses it.
#include <winsock2.h>
#include <windows.h>
#include <winhttp.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "http/CertificatePin.h"
#include "http/Deadline.h"
#include "http/Exchange.h"
#include "http/Transport.h"
#include "http/TransportError.h"
#include "http/win32/WinCertificate.h"
#include "wincompat/WideString.h"

namespace vantor::http {

namespace {

using detail::fail;

// Wine reports some failures with other numbers than Windows; both mean the same to us.
constexpr DWORD kWineSecureChannelError = ERROR_WINHTTP_SECURE_CHANNEL_ERROR;  // 12157 (Windows: 12175)
constexpr DWORD kWsaTimedOut = 10060;                                          // WSAETIMEDOUT (Windows: 12002)

// Winsock is started once when the process loads, the same job that POCO's network
// initialiser does on Windows; the gSOAP client of the same process relies on it too.
struct NetworkInitializer {
  NetworkInitializer() {
    WSADATA data{};
    started = WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }
  ~NetworkInitializer() {
    if (started) WSACleanup();
  }
  NetworkInitializer(const NetworkInitializer&) = delete;
  NetworkInitializer& operator=(const NetworkInitializer&) = delete;
  bool started = false;
};
const NetworkInitializer gNetworkInitializer;

class InternetHandle {
 public:
  InternetHandle() = default;
  explicit InternetHandle(HINTERNET handle) : mHandle(handle) {}
  ~InternetHandle() { reset(); }
  InternetHandle(InternetHandle&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}
  InternetHandle& operator=(InternetHandle&& other) noexcept {
    if (this != &other) {
      reset();
      mHandle = std::exchange(other.mHandle, nullptr);
    }
    return *this;
  }
  InternetHandle(const InternetHandle&) = delete;
  InternetHandle& operator=(const InternetHandle&) = delete;

  HINTERNET get() const { return mHandle; }
  HINTERNET release() { return std::exchange(mHandle, nullptr); }
  explicit operator bool() const { return mHandle != nullptr; }
  void reset() {
    if (mHandle) WinHttpCloseHandle(mHandle);
    mHandle = nullptr;
  }

 private:
  HINTERNET mHandle = nullptr;
};

enum class Phase { Connect, Send, Receive };

[[noreturn]] void failWith(DWORD error, Phase phase, const Request& request, const Timeouts& timeouts) {
  const std::string code = " (WinHTTP error " + std::to_string(error) + ")";
  switch (error) {
    case ERROR_WINHTTP_NAME_NOT_RESOLVED:
      fail(TransportErrorKind::Resolve, request, "the host name does not resolve" + code);
    case ERROR_WINHTTP_CANNOT_CONNECT:
      fail(TransportErrorKind::Connect, request, "connection refused or unreachable" + code);
    case ERROR_WINHTTP_TIMEOUT:
    case kWsaTimedOut:
      if (phase == Phase::Receive)
        fail(TransportErrorKind::Timeout, request,
             "no answer within " + std::to_string(timeouts.receive.count()) + " ms" + code);
      // WinHTTP connects inside WinHttpSendRequest; on a fresh connection a timeout there is
      // the connect timeout.
      fail(TransportErrorKind::Connect, request,
           "no connection within " + std::to_string(timeouts.connect.count()) + " ms" + code);
    case ERROR_WINHTTP_SECURE_FAILURE:
    case kWineSecureChannelError:
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
    case ERROR_WINHTTP_SECURE_INVALID_CA:
    case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
    case ERROR_WINHTTP_SECURE_INVALID_CERT:
    case ERROR_WINHTTP_SECURE_CERT_REVOKED:
    case ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE:
    case ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED:
      fail(TransportErrorKind::Tls, request, "the TLS handshake failed or the certificate was rejected" + code);
    case ERROR_WINHTTP_CONNECTION_ERROR:
      fail(TransportErrorKind::Dropped, request, "the server closed or reset the connection" + code);
    case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:
      fail(TransportErrorKind::Dropped, request,
           "the server closed the connection without a valid answer" + code);
    default:
      fail(phase == Phase::Connect ? TransportErrorKind::Connect : TransportErrorKind::Dropped, request,
           "the exchange failed" + code);
  }
}

DWORD toDword(std::chrono::milliseconds value) {
  if (value.count() <= 0) return 0;
  return value.count() > 0x7fffffff ? 0x7fffffffu : static_cast<DWORD>(value.count());
}

void setDwordOption(HINTERNET handle, DWORD option, DWORD value) {
  // Failure leaves WinHTTP's default in place; the exchange itself reports real trouble.
  WinHttpSetOption(handle, option, &value, sizeof(value));
}

// "HTTP/1.1 200 OK\r\nName: value\r\n..." -> headers (the status line is skipped).
std::vector<Header> parseRawHeaders(const std::wstring& raw) {
  std::vector<Header> headers;
  std::size_t start = raw.find(L"\r\n");
  while (start != std::wstring::npos) {
    start += 2;
    const std::size_t end = raw.find(L"\r\n", start);
    const std::wstring line = raw.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start);
    const std::size_t colon = line.find(L':');
    if (colon != std::wstring::npos && colon > 0) {
      std::size_t valueStart = colon + 1;
      while (valueStart < line.size() && line[valueStart] == L' ') ++valueStart;
      headers.push_back(Header{wincompat::ToNarrow(line.substr(0, colon)), wincompat::ToNarrow(line.substr(valueStart))});
    }
    start = end;
  }
  return headers;
}

// The pin is checked on the connection that is about to carry the request, whether WinHTTP just
// opened it or took it from its pool (the pool does not check a kept connection's certificate
// again). Closing the request handle here is WinHTTP's way to cancel the request before it is
// written (Wine writes it all the same; see the handshake of our own in send()).
struct PinCheck {
  std::string pinned;
  std::string refusal;
  bool closedHandle = false;
};

void CALLBACK onSendingRequest(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID, DWORD) {
  if (status != WINHTTP_CALLBACK_STATUS_SENDING_REQUEST || context == 0) return;
  auto* check = reinterpret_cast<PinCheck*>(context);
  PCCERT_CONTEXT certificate = nullptr;
  DWORD size = sizeof(certificate);
  if (!WinHttpQueryOption(handle, WINHTTP_OPTION_SERVER_CERT_CONTEXT, &certificate, &size) || !certificate) {
    check->refusal = "the server's certificate cannot be read";
  } else {
    try {
      const win32::CertificateFacts facts = win32::describeCertificate(certificate);
      check->refusal = pinRefusal(facts.sha256, check->pinned, facts.notBefore, facts.notAfter);
    } catch (const std::exception& e) {
      check->refusal = e.what();
    }
    CertFreeCertificateContext(certificate);
  }
  if (!check->refusal.empty()) check->closedHandle = WinHttpCloseHandle(handle) != FALSE;
}

class WinHttpConnection final : public Connection {
 public:
  WinHttpConnection(const Timeouts& timeouts, const TlsOptions& tls) : mTimeouts(timeouts), mTls(tls) {}

  Response send(const Request& request) override {
    detail::validateRequest(request);
    const Deadline deadline = Deadline::after(mTimeouts.receive, request.deadline);
    if (deadline.passed()) timedOut(request, deadline);
    if (mConnect && !sameEndpoint(request)) mConnect.reset();
    if (!mSession) {
      // A new session starts with an empty pool: its first connection is the first to this
      // server, so the certificate is read by a handshake of our own before WinHTTP sends
      // anything (under Wine, closing the request handle in the callback does not stop the
      // send; the callback still refuses a connection whose certificate changed later).
      if (request.tls && !mTls.pinnedSha256.empty()) {
        const win32::CertificateFacts facts = win32::handshakeCertificate(request, mTimeouts, deadline);
        const std::string refusal = pinRefusal(facts.sha256, mTls.pinnedSha256, facts.notBefore, facts.notAfter);
        if (!refusal.empty()) fail(TransportErrorKind::Tls, request, "certificate refused: " + refusal);
      }
      mSession = InternetHandle(WinHttpOpen(L"vantor-http/1.0", WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                                            WINHTTP_NO_PROXY_BYPASS, 0));
      if (!mSession) failWith(GetLastError(), Phase::Connect, request, mTimeouts);
      WinHttpSetStatusCallback(mSession.get(), onSendingRequest, WINHTTP_CALLBACK_FLAG_SEND_REQUEST, 0);
    }
    if (!mConnect) {
      mConnect = InternetHandle(WinHttpConnect(mSession.get(), wincompat::ToWide(request.host).c_str(),
                                               static_cast<INTERNET_PORT>(request.port), 0));
      if (!mConnect) failWith(GetLastError(), Phase::Connect, request, mTimeouts);
      mHost = request.host;
      mPort = request.port;
    }
    try {
      return exchange(request, deadline);
    } catch (const TransportError&) {
      // A failed exchange may leave a half-used connection in WinHTTP's pool; a new session
      // handle starts with an empty pool.
      close();
      throw;
    }
  }

  void setTimeouts(const Timeouts& timeouts) override { mTimeouts = timeouts; }
  Timeouts getTimeouts() const override { return mTimeouts; }
  void setTlsOptions(const TlsOptions& options) override {
    // WinHTTP reuses a pooled TLS connection without checking the certificate again, so a
    // change of policy must not find an old connection.
    if (options.acceptUntrustedCertificate != mTls.acceptUntrustedCertificate ||
        options.pinnedSha256 != mTls.pinnedSha256)
      close();
    mTls = options;
  }
  void close() override {
    mConnect.reset();
    mSession.reset();
  }

 private:
  bool sameEndpoint(const Request& request) const { return request.host == mHost && request.port == mPort; }

  [[noreturn]] static void timedOut(const Request& request, const Deadline& deadline) {
    fail(TransportErrorKind::Timeout, request,
         "no complete answer within " + std::to_string(deadline.budget().count()) + " ms");
  }

  // WinHTTP's timeouts bound each wait; before each blocking call they are cut down to what is
  // left of the exchange's deadline, and a passed deadline ends the exchange. The wait for the
  // headers is one wait for all of them on Windows (Wine times each read of it instead).
  void limitWaits(HINTERNET handle, const Request& request, const Deadline& deadline) const {
    if (deadline.passed()) timedOut(request, deadline);
    const int connectMs = static_cast<int>(toDword(deadline.cap(mTimeouts.connect)));
    const int receiveMs = static_cast<int>(toDword(deadline.cap(mTimeouts.receive)));
    WinHttpSetTimeouts(handle, connectMs, connectMs, receiveMs, receiveMs);
    // The receive timeout above only bounds body reads; this one bounds the wait for headers.
    setDwordOption(handle, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, static_cast<DWORD>(receiveMs));
  }

  Response exchange(const Request& request, const Deadline& deadline) {
    // Error texts name the time the exchange had rather than the configured timeout.
    const Timeouts limits{deadline.cap(mTimeouts.connect), deadline.budget()};
    const std::wstring method = wincompat::ToWide(request.method);
    const std::wstring path = wincompat::ToWide(request.path);
    InternetHandle handle(WinHttpOpenRequest(mConnect.get(), method.c_str(), path.c_str(), nullptr,
                                             WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                             request.tls ? WINHTTP_FLAG_SECURE : 0));
    if (!handle) failWith(GetLastError(), Phase::Connect, request, limits);

    const bool pinned = request.tls && !mTls.pinnedSha256.empty();
    PinCheck check{mTls.pinnedSha256, {}, false};
    if (request.tls && (mTls.acceptUntrustedCertificate || pinned)) {
      // All four are needed: a self-signed certificate fails more than one check. A pinned
      // certificate is judged in onSendingRequest instead.
      setDwordOption(handle.get(), WINHTTP_OPTION_SECURITY_FLAGS,
                     SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID |
                         SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE);
    }
    setDwordOption(handle.get(), WINHTTP_OPTION_DISABLE_FEATURE, WINHTTP_DISABLE_REDIRECTS);

    std::wstring headers;
    for (const Header& header : request.headers)
      headers += wincompat::ToWide(header.name) + L": " + wincompat::ToWide(header.value) + L"\r\n";
    if (request.body.size() > 0xffffffffu) fail(TransportErrorKind::InvalidRequest, request, "body too large");
    const DWORD bodySize = static_cast<DWORD>(request.body.size());
    LPVOID body = bodySize ? const_cast<char*>(request.body.data()) : WINHTTP_NO_REQUEST_DATA;
    limitWaits(handle.get(), request, deadline);
    const BOOL sent =
        WinHttpSendRequest(handle.get(), headers.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : headers.c_str(),
                           static_cast<DWORD>(headers.size()), body, bodySize, bodySize,
                           pinned ? reinterpret_cast<DWORD_PTR>(&check) : 0);
    const DWORD sendError = sent ? 0 : GetLastError();
    if (check.closedHandle) static_cast<void>(handle.release());
    if (!check.refusal.empty()) fail(TransportErrorKind::Tls, request, "certificate refused: " + check.refusal);
    if (!sent) failWith(sendError, Phase::Send, request, limits);
    limitWaits(handle.get(), request, deadline);
    if (!WinHttpReceiveResponse(handle.get(), nullptr)) failWith(GetLastError(), Phase::Receive, request, limits);

    Response response;
    DWORD status = 0;
    DWORD statusSize = sizeof(status);
    if (!WinHttpQueryHeaders(handle.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &status, &statusSize, WINHTTP_NO_HEADER_INDEX))
      fail(TransportErrorKind::Protocol, request, "the answer has no status code");
    response.status = static_cast<int>(status);
    response.headers = readHeaders(handle.get());
    if (const std::string* length = response.findHeader("Content-Length")) {
      std::uint64_t announced = 0;
      const auto [end, error] = std::from_chars(length->data(), length->data() + length->size(), announced);
      if (error == std::errc() && end == length->data() + length->size())
        detail::reserveAnnouncedBody(request, response.body, announced);
    }
    readBody(handle.get(), request, deadline, limits, response.body);
    if (const std::string* length = response.findHeader("Content-Length")) {
      // WinHTTP ends a body that the server cut short like a complete one.
      if (*length != std::to_string(response.body.size()))
        fail(TransportErrorKind::Dropped, request,
             "the connection ended after " + std::to_string(response.body.size()) + " of " + *length + " bytes");
    }
    return response;
  }

  static std::vector<Header> readHeaders(HINTERNET handle) {
    DWORD size = 0;
    WinHttpQueryHeaders(handle, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, WINHTTP_NO_OUTPUT_BUFFER,
                        &size, WINHTTP_NO_HEADER_INDEX);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || size == 0) return {};
    std::wstring raw(size / sizeof(wchar_t) + 1, L'\0');
    if (!WinHttpQueryHeaders(handle, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, raw.data(), &size,
                             WINHTTP_NO_HEADER_INDEX))
      return {};
    raw.resize(size / sizeof(wchar_t));
    return parseRawHeaders(raw);
  }

  void readBody(HINTERNET handle, const Request& request, const Deadline& deadline, const Timeouts& limits,
                std::string& body) {
    std::array<char, 16384> buffer;
    for (;;) {
      limitWaits(handle, request, deadline);
      DWORD available = 0;
      if (!WinHttpQueryDataAvailable(handle, &available)) failWith(GetLastError(), Phase::Receive, request, limits);
      if (available == 0) return;
      const DWORD wanted = available < buffer.size() ? available : static_cast<DWORD>(buffer.size());
      DWORD got = 0;
      if (!WinHttpReadData(handle, buffer.data(), wanted, &got)) failWith(GetLastError(), Phase::Receive, request, limits);
      if (got == 0) return;
      detail::appendBodyPiece(request, body, std::string_view(buffer.data(), got));
    }
  }

  Timeouts mTimeouts;
  TlsOptions mTls;
  InternetHandle mSession;
  InternetHandle mConnect;
  std::string mHost;
  std::uint16_t mPort = 0;
};

}  // namespace

std::unique_ptr<Connection> createConnection(const Timeouts& timeouts, const TlsOptions& tls) {
  return std::make_unique<WinHttpConnection>(timeouts, tls);
}

void initializeNetwork() {
  static_cast<void>(gNetworkInitializer);
}

}  // namespace vantor::http
