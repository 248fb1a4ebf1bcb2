#pragma once
// One REST session with one array group. The client keeps one connection open between
// requests (a snapshot commit opens no new connection) and is used by one thread at a time.
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "restsdk/ApiLibrary.h"
#include "restsdk/AuthInfo.h"

namespace VantorStorage::WS {

namespace detail {
class Session;
}
namespace v1 {
class ObjectSetFactory;
}

class Client {
 public:
  // server: the group's management address (host name or IPv4 text).
  // port: the REST port; a value outside 1..65535 makes every request fail with ApiException.
  // library: ApiLibrary::getInstance(); supplies the application name, logger and transport.
  // verifyCertificate: true checks the array's certificate before any request: against the
  //   pin given to setPinnedCertificate when there is one (arrays ship self-signed
  //   certificates), else against the system's trust store. false accepts any certificate
  //   (tests only: a session opened so sends its password to whoever answers).
  // basePath: prefix of every request path, e.g. when the array sits behind a reverse proxy;
  //   empty for none. Must start with '/' when not empty.
  // connectTimeoutMs: TCP/TLS connect timeout; -1 for the library's default (10 s).
  // Nothing touches the network here.
  Client(const std::string& server, std::uint32_t port, ApiLibrary& library, bool verifyCertificate,
         const std::string& basePath, int connectTimeoutMs);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Opens a session (POST /v1/tokens). Replaces a session held before. Throws
  // GroupMgmtServerException when the array refuses (401 for bad credentials), ApiException
  // for everything else.
  void authenticate(const AuthInfo& authInfo);
  // Ends the session (DELETE /v1/tokens/ID). The token is forgotten even when the array
  // refuses; without a session this does nothing.
  void logout();
  // Empty without a session. A request made without a session fails at once, without a round
  // trip, with GroupMgmtServerException status 401 and code "SM_http_unauthorized" -- the
  // same as an expired session -- so callers need one path for both.
  std::string getSessionToken() const;
  std::string getServer() const;
  std::uint32_t getPort() const;

  // The lower-case hex SHA-256 of the DER certificate the array must present (empty: none).
  // A connection to an array that presents another certificate fails with ApiException before
  // any request, naming both fingerprints.
  void setPinnedCertificate(const std::string& sha256Hex);
  std::string getPinnedCertificate() const;

  // Bounds the wait for each answer, including the wait for its headers. Values <= 0 are
  // ignored (the library's default of 60 s stays).
  void setReceiveTimeout(int milliseconds);
  int getReceiveTimeout() const;
  // Until it is cleared (std::nullopt), every request must also be over by `deadline`, however
  // much of its receive timeout is left; one that is not fails with ApiException. For a caller
  // that has a time window of its own.
  void setExchangeDeadline(std::optional<std::chrono::steady_clock::time_point> deadline);

  std::shared_ptr<v1::ObjectSetFactory> getV1ObjectSetFactory();

 private:
  std::shared_ptr<detail::Session> mSession;
};

}  // namespace VantorStorage::WS
