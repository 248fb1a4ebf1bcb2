#pragma once
// The state one Client shares with its object sets: where the array is, the session token and
// the kept connection. Every request of the library goes through call(), which turns the
// answer into JSON or into the library's exceptions.
#include "JsonAnswer.h"
#include "JsonWriter.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "http/Transport.h"
#include "restsdk/ApiLibrary.h"

namespace VantorStorage::WS::detail {

// Thrown by the JSON readers; call sites turn it into an ApiException that names the request.
class AnswerError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Session {
 public:
  Session(std::string server, std::uint32_t port, ApiLibrary& library, bool verifyCertificate,
          std::string basePath, int connectTimeoutMs);

  // Sends the request and answers the body as JSON (an empty body reads as {}). With
  // needsSession, a missing session fails at once as the array would (401). Non-2xx answers
  // throw GroupMgmtServerException; transport failures and bodies that are not a JSON object
  // throw ApiException.
  JsonAnswer call(const std::string& method, const std::string& path, bool needsSession = true);
  // The same with a body; one that holds text which is not valid UTF-8 is refused unsent.
  JsonAnswer call(const std::string& method, const std::string& path, JsonBody body, bool needsSession = true);
  // The same with a body encoded already. The text may hold a password: it is wiped here, once
  // the exchange is over, whatever its outcome.
  JsonAnswer callWithBodyText(const std::string& method, const std::string& path, std::string bodyText,
                              bool needsSession);

  // Runs `read` on an answer; its AnswerError becomes an ApiException naming the request.
  template <class Read>
  auto readAnswer(const std::string& method, const std::string& path, Read&& read) -> decltype(read()) {
    try {
      return read();
    } catch (const AnswerError& e) {
      invalidAnswer(method, path, e.what());
    }
  }
  [[noreturn]] void invalidAnswer(const std::string& method, const std::string& path, const std::string& detail);

  const std::string& server() const { return mServer; }
  std::uint32_t port() const { return mPort; }
  ApiLibrary& library() const { return mLibrary; }

  const std::string& token() const { return mToken; }
  const std::string& tokenId() const { return mTokenId; }
  void setSession(std::string tokenId, std::string token);
  void clearSession();

  void setReceiveTimeout(int milliseconds);
  int receiveTimeout() const;
  void setPinnedCertificate(const std::string& sha256Hex);
  const std::string& pinnedCertificate() const { return mTls.pinnedSha256; }
  void setExchangeDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) { mDeadline = deadline; }

  void logDebug(const std::string& message) const;
  void logInfo(const std::string& message) const;
  void logWarning(const std::string& message) const;
  void logError(const std::string& message) const;

 private:
  vantor::http::Connection& connection();
  JsonAnswer exchange(const std::string& method, const std::string& path, std::string* bodyText,
                      bool needsSession);
  [[noreturn]] void throwServerError(const std::string& method, const std::string& path,
                                     const vantor::http::Response& response);

  std::string mServer;
  std::uint32_t mPort;
  ApiLibrary& mLibrary;
  std::string mBasePath;
  vantor::http::Timeouts mTimeouts;
  vantor::http::TlsOptions mTls;
  std::optional<std::chrono::steady_clock::time_point> mDeadline;
  std::unique_ptr<vantor::http::Connection> mConnection;
  std::string mTokenId;
  std::string mToken;
};

// "%XX"-encodes everything but letters, digits, "-", "_" and "~" (dots too: ".." must not walk
// up the path), so an identifier from the array can never change the shape of a path. Throws
// ApiException for an empty identifier.
std::string pathSegment(const std::string& id, const char* what);

}  // namespace VantorStorage::WS::detail
