#pragma once
// Why an exchange produced no answer. what() names the endpoint and the cause in words.
#include <stdexcept>
#include <string>

namespace vantor::http {

enum class TransportErrorKind {
  InvalidRequest,  // the request cannot be sent as given (bad port, empty host, bad header)
  Resolve,         // the host name did not resolve
  Connect,         // refused, unreachable, or the connect timeout passed
  Tls,             // handshake failed or the certificate was rejected
  Timeout,         // no (complete) answer within the receive timeout
  Dropped,         // the server closed or reset the connection before answering completely
  Protocol,        // the answer is not HTTP, or breaks a limit on its size or shape
};

const char* toString(TransportErrorKind kind);

class TransportError : public std::runtime_error {
 public:
  TransportError(TransportErrorKind kind, const std::string& what) : std::runtime_error(what), mKind(kind) {}
  TransportErrorKind kind() const { return mKind; }

 private:
  TransportErrorKind mKind;
};

}  // namespace vantor::http
