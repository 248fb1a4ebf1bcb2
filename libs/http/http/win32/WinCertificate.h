#pragma once
// The Windows side of certificate pins: what a certificate context says about itself, and a
// TLS handshake of our own (Schannel on a plain socket) that reads the certificate a server
// presents without sending a request.
#include <windows.h>
#include <wincrypt.h>

#include <chrono>
#include <string>

#include "http/Transport.h"

namespace vantor::http::win32 {

struct CertificateFacts {
  std::string sha256;
  std::chrono::system_clock::time_point notBefore;
  std::chrono::system_clock::time_point notAfter;
};

CertificateFacts describeCertificate(PCCERT_CONTEXT certificate);

// Connects to request.host:request.port, completes a TLS handshake without checking the
// certificate, and closes again. Throws TransportError naming `request`.
CertificateFacts handshakeCertificate(const Request& request, const Timeouts& timeouts);

}  // namespace vantor::http::win32
