#include "array/RestConnection.h"

#include <exception>
#include <stdexcept>

#include "array/RestCall.h"
#include "discovery/CertificatePins.h"
#include "discovery/ConfigurationValues.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "restsdk/ApiLibrary.h"
#include "restsdk/Exceptions.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"VantorArray";

using VantorStorage::WS::GroupMgmtServerException;

// The library's reason after our own words, so the caller's one log line says both.
std::string FailureText(const std::string& failureMessage, const std::exception& e) {
  return failureMessage + " " + e.what();
}

}  // namespace

RestConnection::RestConnection(const std::string& groupAddress, const LoginInfo& loginInfo)
    : VantorStorage::WS::Client(groupAddress, discovery::ReadGmdRestPort(),
                                VantorStorage::WS::ApiLibrary::getInstance(), true, "", -1),
      mLoginInfo(loginInfo) {
  // The array gets no request, not even the login, unless it presents its pinned certificate
  // (or, unpinned, one the system trusts).
  const std::string pin = discovery::ReadCertificatePin(groupAddress);
  if (!pin.empty()) setPinnedCertificate(pin);
  const int timeout = discovery::ReadRestReceiveTimeout();
  if (timeout != 0) {
    VA_LOG(MSG_INFO, L"Setting Rest Client Recv Timeout: %d msec...", timeout);
    setReceiveTimeout(timeout);
  }
}

RestConnection::~RestConnection() {
  try {
    Logout();
  } catch (...) {
    // A destructor must not throw; Logout already logged what went wrong.
  }
}

void RestConnection::Authenticate(const VantorStorage::WS::AuthInfo& authInfo, const std::string& failureMessage) {
  CLogger scope(L"Vantor::RestConnection::Authenticate");
  try {
    authenticate(authInfo);
  } catch (const GroupMgmtServerException& e) {
    VA_LOG(MSG_ERROR, L"Rest Client authentication for user '%S' failed. IP: %S. Error: %S", authInfo.getUsername(),
           getServer(), e.what());
    throw GroupMgmtServerException(FailureText(failureMessage, e), e.getHttpStatus(), e.getMessages());
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"Rest Client authentication for user '%S' failed. IP: %S. Error: %S", authInfo.getUsername(),
           getServer(), e.what());
    throw std::runtime_error(FailureText(failureMessage, e));
  }
  VA_LOG(MSG_INFO, L"Rest Client authentication for user '%S' succeeded. IP: %S.", authInfo.getUsername(),
         getServer());
}

void RestConnection::Logout() {
  CLogger scope(L"Vantor::RestConnection::Logout");
  if (getSessionToken().empty()) return;
  try {
    logout();
  } catch (const GroupMgmtServerException& e) {
    if (RestCall::HasErrorCode(e, kInvalidSessionErrorCode)) {
      VA_LOG(MSG_INFO, L"Logout exception is thrown, but should be ignored. IP: %S. %S", getServer(), e.what());
    } else {
      VA_LOG(MSG_ERROR, L"mRestClient.logout() failed. IP: %S. %S", getServer(), e.what());
    }
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"mRestClient.logout() failed. IP: %S. %S", getServer(), e.what());
  }
}

void RestConnection::SetLoginInfo(const LoginInfo& loginInfo) {
  if (loginInfo == mLoginInfo) return;
  mLoginInfo = loginInfo;
  mCredentialsChanged = true;
}

}  // namespace Vantor
