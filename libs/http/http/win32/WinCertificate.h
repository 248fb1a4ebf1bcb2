#pragma once
// The Windows side of certificate pins: what a certificate context says about itself, and a
// TLS handshake of our own (Schannel on a plain socket) that reads the certificate a server
// presents without sending a request.
#include <windows.h>
#include <wincrypt.h>

#include <chrono>
#include <string>

#include "http/Deadline.h"
#include "http/Transport.h"

namespace vantor::http::win32 {

struct CertificateFacts {
  std::string sha256;
  std::chrono::system_clock::time_point notBefore;
  std::chrono::system_clock::time_point notAfter;
};

CertificateFacts describeCertificate(PCCERT_CONTEXT certificate);

// Connects to request.host:request.port, completes a TLS handshake (TLS 1.3 where the system
// offers it, else 1.2) without checking the certificate, and closes again. The whole handshake
// is over by `deadline` (each wait also within `timeouts`). Throws TransportError naming
// `request`: Timeout when the deadline passed.
CertificateFacts handshakeCertificate(const Request& request, const Timeouts& timeouts, const Deadline& deadline);

}  // namespace vantor::http::win32
