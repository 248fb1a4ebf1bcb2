#define SECURITY_WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <bcrypt.h>
// SCH_CREDENTIALS (the form that can offer TLS 1.3) is declared only with this switch, and
// needs UNICODE_STRING from subauth.h.
#define SCHANNEL_USE_BLACKLISTS
#include <subauth.h>
#include <schannel.h>
#include <security.h>
#include <wincrypt.h>

#include "http/win32/WinCertificate.h"

#include <memory>
#include <utility>
#include <vector>

#include "http/CertificatePin.h"
#include "http/Deadline.h"
#include "http/Exchange.h"
#include "http/TransportError.h"
#include "wincompat/WideString.h"

namespace vantor::http {

std::string sha256Hex(const unsigned char* data, std::size_t size) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  if (!BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0)))
    throw std::runtime_error("SHA-256 is not available");
  const std::unique_ptr<void, void (*)(void*)> closeAlgorithm(algorithm,
                                                               [](void* a) { BCryptCloseAlgorithmProvider(a, 0); });
  BCRYPT_HASH_HANDLE hash = nullptr;
  if (!BCRYPT_SUCCESS(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0)))
    throw std::runtime_error("SHA-256 is not available");
  const std::unique_ptr<void, void (*)(void*)> closeHash(hash, [](void* h) { BCryptDestroyHash(h); });
  unsigned char digest[32] = {};
  if (size > 0xffffffffu || !BCRYPT_SUCCESS(BCryptHashData(hash, const_cast<PUCHAR>(data), static_cast<ULONG>(size), 0)) ||
      !BCRYPT_SUCCESS(BCryptFinishHash(hash, digest, sizeof(digest), 0)))
    throw std::runtime_error("SHA-256 failed");
  static const char* const kHex = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : digest) {
    text += kHex[byte >> 4];
    text += kHex[byte & 0x0f];
  }
  return text;
}

namespace win32 {
namespace {

using detail::fail;

std::chrono::system_clock::time_point fromFileTime(const FILETIME& when) {
  // 100-ns ticks since 1601-01-01; the Unix epoch is 11644473600 s later.
  const ULONGLONG ticks = (static_cast<ULONGLONG>(when.dwHighDateTime) << 32) | when.dwLowDateTime;
  const auto seconds = static_cast<long long>(ticks / 10000000ULL) - 11644473600LL;
  return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
}

class Socket {
 public:
  explicit Socket(SOCKET s) : mSocket(s) {}
  ~Socket() {
    if (mSocket != INVALID_SOCKET) closesocket(mSocket);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  SOCKET get() const { return mSocket; }
  SOCKET release() { return std::exchange(mSocket, INVALID_SOCKET); }

 private:
  SOCKET mSocket;
};

struct CredentialsHandle {
  CredHandle handle{};
  bool valid = false;
  ~CredentialsHandle() {
    if (valid) FreeCredentialsHandle(&handle);
  }
};

struct ContextHandle {
  CtxtHandle handle{};
  bool valid = false;
  ~ContextHandle() {
    if (valid) DeleteSecurityContext(&handle);
  }
};

// A token Schannel allocated for us.
struct OutputToken {
  SecBuffer buffer{0, SECBUFFER_TOKEN, nullptr};
  SecBufferDesc desc{SECBUFFER_VERSION, 1, &buffer};
  ~OutputToken() {
    if (buffer.pvBuffer) FreeContextBuffer(buffer.pvBuffer);
  }
};

struct CertificateContext {
  PCCERT_CONTEXT context = nullptr;
  ~CertificateContext() {
    if (context) CertFreeCertificateContext(context);
  }
};

void sendAll(SOCKET socket, const Request& request, const char* data, std::size_t size) {
  while (size > 0) {
    const int sent = send(socket, data, static_cast<int>(size), 0);
    if (sent <= 0)
      fail(TransportErrorKind::Tls, request, "the handshake could not be sent (error " + std::to_string(WSAGetLastError()) + ")");
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
}

SOCKET connectWithin(const Request& request, const Timeouts& timeouts) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* found = nullptr;
  if (getaddrinfo(request.host.c_str(), std::to_string(request.port).c_str(), &hints, &found) != 0 || !found)
    fail(TransportErrorKind::Resolve, request, "the host name does not resolve");
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(found, [](addrinfo* a) { freeaddrinfo(a); });
  SOCKET s = socket(found->ai_family, found->ai_socktype, found->ai_protocol);
  if (s == INVALID_SOCKET) fail(TransportErrorKind::Connect, request, "no socket (error " + std::to_string(WSAGetLastError()) + ")");
  Socket guard(s);
  u_long nonBlocking = 1;
  ioctlsocket(s, FIONBIO, &nonBlocking);
  if (connect(s, found->ai_addr, static_cast<int>(found->ai_addrlen)) != 0 && WSAGetLastError() != WSAEWOULDBLOCK)
    fail(TransportErrorKind::Connect, request, "connection refused or unreachable (error " + std::to_string(WSAGetLastError()) + ")");
  fd_set writable;
  fd_set failed;
  FD_ZERO(&writable);
  FD_ZERO(&failed);
  FD_SET(s, &writable);
  FD_SET(s, &failed);
  const auto ms = timeouts.connect.count();
  timeval limit{static_cast<long>(ms / 1000), static_cast<long>((ms % 1000) * 1000)};
  const int ready = select(0, nullptr, &writable, &failed, &limit);
  if (ready == 0) fail(TransportErrorKind::Connect, request, "no connection within " + std::to_string(ms) + " ms");
  int error = 0;
  int length = sizeof(error);
  getsockopt(s, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length);
  if (ready < 0 || FD_ISSET(s, &failed) || error != 0)
    fail(TransportErrorKind::Connect, request, "connection refused or unreachable (error " + std::to_string(error) + ")");
  nonBlocking = 0;
  ioctlsocket(s, FIONBIO, &nonBlocking);
  const DWORD receiveMs = static_cast<DWORD>(timeouts.receive.count() > 0 ? timeouts.receive.count() : 0);
  setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&receiveMs), sizeof(receiveMs));
  setsockopt(s, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&receiveMs), sizeof(receiveMs));
  return guard.release();
}

// Outbound credentials offering TLS 1.3 and 1.2 (SCH_CREDENTIALS, Windows 10 2004 and later);
// a system that does not know that form gets the older one offering TLS 1.2 alone.
void acquireClientCredentials(const Request& request, CredentialsHandle& credentials) {
  // The certificate is judged by the caller (its pin), not by Schannel.
  constexpr DWORD kFlags = SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS;
  TimeStamp expiry{};
  TLS_PARAMETERS parameters{};
  parameters.grbitDisabledProtocols = ~static_cast<DWORD>(SP_PROT_TLS1_2_CLIENT | SP_PROT_TLS1_3_CLIENT);
  SCH_CREDENTIALS modern{};
  modern.dwVersion = SCH_CREDENTIALS_VERSION;
  modern.dwFlags = kFlags;
  modern.cTlsParameters = 1;
  modern.pTlsParameters = &parameters;
  if (AcquireCredentialsHandleW(nullptr, const_cast<LPWSTR>(UNISP_NAME_W), SECPKG_CRED_OUTBOUND, nullptr, &modern,
                                nullptr, nullptr, &credentials.handle, &expiry) == SEC_E_OK) {
    credentials.valid = true;
    return;
  }
  SCHANNEL_CRED older{};
  older.dwVersion = SCHANNEL_CRED_VERSION;
  older.grbitEnabledProtocols = SP_PROT_TLS1_2_CLIENT;
  older.dwFlags = kFlags;
  if (AcquireCredentialsHandleW(nullptr, const_cast<LPWSTR>(UNISP_NAME_W), SECPKG_CRED_OUTBOUND, nullptr, &older,
                                nullptr, nullptr, &credentials.handle, &expiry) != SEC_E_OK)
    fail(TransportErrorKind::Tls, request, "Schannel is not available");
  credentials.valid = true;
}

// One read of the handshake, waiting at most for what is left of the exchange's time: a server
// that trickles its part a byte at a time is cut off by the deadline, not by a per-read timeout.
int receiveWithin(SOCKET socket, const Request& request, const Deadline& deadline, char* buffer, int size) {
  const auto timedOut = [&] {
    fail(TransportErrorKind::Timeout, request,
         "the TLS handshake did not end within " + std::to_string(deadline.budget().count()) + " ms");
  };
  if (deadline.passed()) timedOut();
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(socket, &readable);
  const auto ms = deadline.cap(deadline.budget()).count();
  timeval limit{static_cast<long>(ms / 1000), static_cast<long>((ms % 1000) * 1000)};
  const int ready = select(0, &readable, nullptr, nullptr, &limit);
  if (ready == 0) timedOut();
  if (ready < 0)
    fail(TransportErrorKind::Tls, request, "the TLS handshake failed (error " + std::to_string(WSAGetLastError()) + ")");
  return recv(socket, buffer, size, 0);
}

}  // namespace

CertificateFacts describeCertificate(PCCERT_CONTEXT certificate) {
  return {sha256Hex(certificate->pbCertEncoded, certificate->cbCertEncoded),
          fromFileTime(certificate->pCertInfo->NotBefore), fromFileTime(certificate->pCertInfo->NotAfter)};
}

CertificateFacts handshakeCertificate(const Request& request, const Timeouts& timeouts, const Deadline& deadline) {
  if (deadline.passed())
    fail(TransportErrorKind::Timeout, request, "no time left for the TLS handshake");
  const Socket socket(connectWithin(request, Timeouts{deadline.cap(timeouts.connect), deadline.cap(timeouts.receive)}));
  CredentialsHandle credentials;
  acquireClientCredentials(request, credentials);

  std::wstring target = wincompat::ToWide(request.host);
  const ULONG wanted = ISC_REQ_SEQUENCE_DETECT | ISC_REQ_REPLAY_DETECT | ISC_REQ_CONFIDENTIALITY |
                       ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_STREAM | ISC_REQ_MANUAL_CRED_VALIDATION;
  ContextHandle context;
  ULONG granted = 0;
  SECURITY_STATUS status;
  {
    OutputToken hello;
    status = InitializeSecurityContextW(&credentials.handle, nullptr, target.data(), wanted, 0, 0, nullptr, 0,
                                        &context.handle, &hello.desc, &granted, nullptr);
    if (status != SEC_I_CONTINUE_NEEDED)
      fail(TransportErrorKind::Tls, request, "the TLS handshake cannot start (status " + std::to_string(status) + ")");
    context.valid = true;
    sendAll(socket.get(), request, static_cast<const char*>(hello.buffer.pvBuffer), hello.buffer.cbBuffer);
  }

  std::vector<char> received;
  constexpr std::size_t kMaxHandshakeBytes = 256 * 1024;
  bool needMore = true;
  while (status == SEC_I_CONTINUE_NEEDED || status == SEC_E_INCOMPLETE_MESSAGE) {
    if (needMore) {
      char chunk[16384];
      const int got = receiveWithin(socket.get(), request, deadline, chunk, static_cast<int>(sizeof(chunk)));
      if (got <= 0)
        fail(got == 0 ? TransportErrorKind::Tls : TransportErrorKind::Timeout, request,
             "the server ended the TLS handshake (error " + std::to_string(WSAGetLastError()) + ")");
      received.insert(received.end(), chunk, chunk + got);
      if (received.size() > kMaxHandshakeBytes) fail(TransportErrorKind::Tls, request, "the TLS handshake never ends");
    }
    SecBuffer input[2] = {{static_cast<ULONG>(received.size()), SECBUFFER_TOKEN, received.data()},
                          {0, SECBUFFER_EMPTY, nullptr}};
    SecBufferDesc inputDesc{SECBUFFER_VERSION, 2, input};
    OutputToken reply;
    status = InitializeSecurityContextW(&credentials.handle, &context.handle, target.data(), wanted, 0, 0, &inputDesc,
                                        0, nullptr, &reply.desc, &granted, nullptr);
    if (status == SEC_E_INCOMPLETE_MESSAGE) {
      needMore = true;
      continue;
    }
    if (reply.buffer.cbBuffer > 0 && reply.buffer.pvBuffer)
      sendAll(socket.get(), request, static_cast<const char*>(reply.buffer.pvBuffer), reply.buffer.cbBuffer);
    if (status != SEC_E_OK && status != SEC_I_CONTINUE_NEEDED)
      fail(TransportErrorKind::Tls, request, "the TLS handshake failed (status " + std::to_string(status) + ")");
    if (input[1].BufferType == SECBUFFER_EXTRA && input[1].cbBuffer > 0 && input[1].cbBuffer <= received.size()) {
      received.erase(received.begin(), received.end() - static_cast<std::ptrdiff_t>(input[1].cbBuffer));
      needMore = false;
    } else {
      received.clear();
      needMore = true;
    }
  }

  CertificateContext presented;
  if (QueryContextAttributesW(&context.handle, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &presented.context) != SEC_E_OK ||
      !presented.context)
    fail(TransportErrorKind::Tls, request, "the server presents no certificate");
  return describeCertificate(presented.context);
}

}  // namespace win32

std::string presentedCertificateSha256(const std::string& host, std::uint16_t port, const Timeouts& timeouts) {
  Request request;
  request.method = "HANDSHAKE";
  request.host = host;
  request.port = port;
  request.tls = true;
  detail::validateRequest(request);
  return win32::handshakeCertificate(request, timeouts, Deadline::after(timeouts.connect + timeouts.receive)).sha256;
}

}  // namespace vantor::http
