#include "restsdk/Client.h"

#include <stdexcept>

#include "LoginBody.h"
#include "Session.h"
#include "restsdk/Exceptions.h"
#include "restsdk/v1/ObjectSetFactory.h"

namespace VantorStorage::WS {

namespace {
const char* const kTokensPath = "/v1/tokens";
}

Client::Client(const std::string& server, std::uint32_t port, ApiLibrary& library, bool verifyCertificate,
               const std::string& basePath, int connectTimeoutMs)
    : mSession(std::make_shared<detail::Session>(server, port, library, verifyCertificate, basePath,
                                                 connectTimeoutMs)) {}

Client::~Client() = default;

void Client::authenticate(const AuthInfo& authInfo) {
  std::string body;
  try {
    body = detail::loginBody(authInfo.getUsername(), authInfo.getPassword(), mSession->library().getAppName());
  } catch (const std::invalid_argument&) {
    throw ApiException("POST " + std::string(kTokensPath) + " on " + mSession->server() + ":" +
                       std::to_string(mSession->port()) +
                       ": the request body holds text that is not valid UTF-8; nothing was sent");
  }
  const detail::JsonAnswer answer =
      mSession->callWithBodyText("POST", kTokensPath, std::move(body), /*needsSession=*/false);
  mSession->readAnswer("POST", kTokensPath, [&] {
    const detail::JsonValue* data = detail::findMember(answer.root(), "data");
    if (!data || !data->IsObject()) throw detail::AnswerError("the answer has no \"data\" object");
    const detail::JsonValue* id = detail::findMember(*data, "id");
    const detail::JsonValue* token = detail::findMember(*data, "session_token");
    if (!id || !id->IsString() || id->GetStringLength() == 0) throw detail::AnswerError("the answer has no session id");
    if (!token || !token->IsString() || token->GetStringLength() == 0)
      throw detail::AnswerError("the answer has no session token");
    mSession->setSession(detail::stringOf(*id), detail::stringOf(*token));
  });
  mSession->logInfo("Session opened for user '" + authInfo.getUsername() + "' on " + mSession->server());
}

void Client::logout() {
  if (mSession->token().empty()) return;
  const std::string path = std::string(kTokensPath) + "/" + detail::pathSegment(mSession->tokenId(), "session id");
  try {
    mSession->call("DELETE", path);
  } catch (...) {
    // The session is given up either way; the array expires it if the delete did not arrive.
    mSession->clearSession();
    throw;
  }
  mSession->clearSession();
  mSession->logInfo("Session closed on " + mSession->server());
}

std::string Client::getSessionToken() const {
  return mSession->token();
}

std::string Client::getServer() const {
  return mSession->server();
}

std::uint32_t Client::getPort() const {
  return mSession->port();
}

void Client::setPinnedCertificate(const std::string& sha256Hex) {
  mSession->setPinnedCertificate(sha256Hex);
}

std::string Client::getPinnedCertificate() const {
  return mSession->pinnedCertificate();
}

void Client::setReceiveTimeout(int milliseconds) {
  mSession->setReceiveTimeout(milliseconds);
}

int Client::getReceiveTimeout() const {
  return mSession->receiveTimeout();
}

void Client::setExchangeDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
  mSession->setExchangeDeadline(deadline);
}

std::shared_ptr<v1::ObjectSetFactory> Client::getV1ObjectSetFactory() {
  return std::make_shared<v1::ObjectSetFactory>(mSession);
}

}  // namespace VantorStorage::WS
