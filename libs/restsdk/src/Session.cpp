#include "Session.h"

#include <chrono>
#include <memory>

#include "AnswerLimits.h"
#include "LoginBody.h"
#include "ServerError.h"
#include "http/TransportError.h"
#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::detail {

namespace {

constexpr int kDefaultConnectTimeoutMs = 10000;
constexpr int kDefaultReceiveTimeoutMs = 60000;

const char* const kUnauthorizedCode = "SM_http_unauthorized";

std::string describeRequest(const std::string& method, const std::string& path, const std::string& server,
                            std::uint32_t port) {
  return method + " " + path + " on " + server + ":" + std::to_string(port);
}

}  // namespace

Session::Session(std::string server, std::uint32_t port, ApiLibrary& library, bool verifyCertificate,
                 std::string basePath, int connectTimeoutMs)
    : mServer(std::move(server)), mPort(port), mLibrary(library), mBasePath(std::move(basePath)) {
  while (!mBasePath.empty() && mBasePath.back() == '/') mBasePath.pop_back();
  mTimeouts.connect = std::chrono::milliseconds(connectTimeoutMs > 0 ? connectTimeoutMs : kDefaultConnectTimeoutMs);
  mTimeouts.receive = std::chrono::milliseconds(kDefaultReceiveTimeoutMs);
  mTls.acceptUntrustedCertificate = !verifyCertificate;
}

vantor::http::Connection& Session::connection() {
  if (!mConnection) {
    mConnection = mLibrary.createConnection();
    mConnection->setTimeouts(mTimeouts);
    mConnection->setTlsOptions(mTls);
  }
  return *mConnection;
}

JsonAnswer Session::call(const std::string& method, const std::string& path, bool needsSession) {
  return exchange(method, path, nullptr, needsSession);
}

JsonAnswer Session::call(const std::string& method, const std::string& path, JsonBody body, bool needsSession) {
  if (!body.validUtf8)
    throw ApiException(describeRequest(method, mBasePath + path, mServer, mPort) +
                       ": the request body holds text that is not valid UTF-8; nothing was sent");
  return exchange(method, path, &body.text, needsSession);
}

JsonAnswer Session::callWithBodyText(const std::string& method, const std::string& path, std::string bodyText,
                                     bool needsSession) {
  const WipeOnExit wipe(bodyText);  // also when the request is refused before it is sent
  return exchange(method, path, &bodyText, needsSession);
}

JsonAnswer Session::exchange(const std::string& method, const std::string& path, std::string* bodyText,
                             bool needsSession) {
  const std::string fullPath = mBasePath + path;
  const std::string request = describeRequest(method, fullPath, mServer, mPort);

  if (needsSession && mToken.empty()) {
    // The array would answer exactly this; saying it here saves a connection and a round trip.
    std::vector<ServerMessage> messages{
        ServerMessage(kUnauthorizedCode, "No session: authenticate first", "error")};
    throw GroupMgmtServerException(describeServerError(request, 401, messages), 401, std::move(messages));
  }
  if (mServer.empty()) throw ApiException(request + ": no array address given");
  if (mPort == 0 || mPort > 65535) throw ApiException(request + ": port " + std::to_string(mPort) + " is out of range");
  if (!mBasePath.empty() && mBasePath.front() != '/')
    throw ApiException(request + ": the base path must start with '/'");

  vantor::http::Request httpRequest;
  const WipeOnExit wipe(httpRequest.body);
  httpRequest.method = method;
  httpRequest.host = mServer;
  httpRequest.port = static_cast<std::uint16_t>(mPort);
  httpRequest.path = fullPath;
  httpRequest.tls = true;
  httpRequest.deadline = mDeadline;
  httpRequest.headers.push_back({"Accept", "application/json"});
  httpRequest.headers.push_back({"User-Agent", mLibrary.getUserAgent()});
  if (needsSession) httpRequest.headers.push_back({"X-Auth-Token", mToken});
  if (bodyText) {
    httpRequest.headers.push_back({"Content-Type", "application/json"});
    httpRequest.body = std::move(*bodyText);  // the same buffer, not a copy
  }
  // Depth is judged while the answer arrives: the parser below only sees a bounded answer.
  const auto depth = std::make_shared<JsonDepthGuard>();
  httpRequest.inspectBody = [depth](std::string_view piece) { depth->feed(piece); };

  const auto started = std::chrono::steady_clock::now();
  vantor::http::Response response;
  try {
    response = connection().send(httpRequest);
  } catch (const vantor::http::TransportError& e) {
    logError(std::string("Request failed: ") + e.what());
    throw ApiException(e.what());
  }
  if (mLibrary.getTraceRequests()) {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started).count();
    logDebug(request + " -> " + std::to_string(response.status) + " (" + std::to_string(elapsed) + " ms)");
  }

  if (response.status < 200 || response.status > 299) throwServerError(method, fullPath, response);
  std::optional<JsonAnswer> answer = JsonAnswer::parse(std::move(response.body));
  if (!answer) invalidAnswer(method, fullPath, "the body is not JSON");
  if (!answer->root().IsObject()) invalidAnswer(method, fullPath, "the body is not a JSON object");
  return std::move(*answer);
}

void Session::throwServerError(const std::string& method, const std::string& path,
                               const vantor::http::Response& response) {
  std::vector<ServerMessage> messages = parseServerMessages(response.body);
  const std::string what = describeServerError(describeRequest(method, path, mServer, mPort), response.status, messages);
  logInfo(what);
  throw GroupMgmtServerException(what, response.status, std::move(messages));
}

void Session::invalidAnswer(const std::string& method, const std::string& path, const std::string& detail) {
  const std::string what =
      "Invalid answer to " + describeRequest(method, mBasePath + path, mServer, mPort) + ": " + detail;
  logError(what);
  throw ApiException(what);
}

void Session::setSession(std::string tokenId, std::string token) {
  mTokenId = std::move(tokenId);
  mToken = std::move(token);
}

void Session::clearSession() {
  mTokenId.clear();
  mToken.clear();
}

void Session::setReceiveTimeout(int milliseconds) {
  if (milliseconds <= 0) return;
  mTimeouts.receive = std::chrono::milliseconds(milliseconds);
  if (mConnection) mConnection->setTimeouts(mTimeouts);
}

void Session::setPinnedCertificate(const std::string& sha256Hex) {
  mTls.pinnedSha256 = sha256Hex;
  if (mConnection) mConnection->setTlsOptions(mTls);
}

int Session::receiveTimeout() const {
  return static_cast<int>(mTimeouts.receive.count());
}

void Session::logDebug(const std::string& message) const {
  if (const auto logger = mLibrary.getLogger()) logger->logDebug(message);
}
void Session::logInfo(const std::string& message) const {
  if (const auto logger = mLibrary.getLogger()) logger->logInfo(message);
}
void Session::logWarning(const std::string& message) const {
  if (const auto logger = mLibrary.getLogger()) logger->logWarning(message);
}
void Session::logError(const std::string& message) const {
  if (const auto logger = mLibrary.getLogger()) logger->logError(message);
}

std::string pathSegment(const std::string& id, const char* what) {
  if (id.empty()) throw ApiException(std::string("The ") + what + " must not be empty");
  static const char* const kHex = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : id) {
    const auto byte = static_cast<unsigned char>(c);
    const bool unreserved = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                            (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '~';
    if (unreserved) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += kHex[byte >> 4];
      encoded += kHex[byte & 0x0f];
    }
  }
  return encoded;
}

}  // namespace VantorStorage::WS::detail
