#include "http/TransportError.h"

namespace vantor::http {

const char* toString(TransportErrorKind kind) {
  switch (kind) {
    case TransportErrorKind::InvalidRequest: return "invalid request";
    case TransportErrorKind::Resolve: return "name resolution failed";
    case TransportErrorKind::Connect: return "connect failed";
    case TransportErrorKind::Tls: return "TLS failure";
    case TransportErrorKind::Timeout: return "timed out";
    case TransportErrorKind::Dropped: return "connection dropped";
    case TransportErrorKind::Protocol: return "protocol error";
  }
  return "unknown transport error";
}

}  // namespace vantor::http
