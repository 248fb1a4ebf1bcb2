#include "array/RestConnection.h"

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <utility>

#include "array/RestCall.h"
#include "discovery/CertificatePins.h"
#include "discovery/ConfigurationValues.h"
#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "messages/VantorVssMessages.h"
#include "restsdk/ApiLibrary.h"
#include "restsdk/Exceptions.h"
#include "wincompat/WideString.h"

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
  std::string pin = discovery::ReadCertificatePin(groupAddress);
  const DWORD port = discovery::ReadGmdRestPort();
  if (pin.empty() && !loginInfo.IsEmpty() && port != 0 && port <= 0xFFFF) {
    try {
      pin = VantorStorage::WS::ApiLibrary::getInstance().presentedCertificate(groupAddress,
                                                                              static_cast<std::uint16_t>(port));
    } catch (const std::exception& e) {
      VA_LOG(MSG_ERROR, L"First contact with %S failed before any request: %S. No certificate was pinned.",
             groupAddress, e.what());
      throw;
    }
    VA_LOG(MSG_INFO, L"First contact with configured address %S, which has no pinned certificate: the session is held to the certificate it presents, SHA-256 %S.",
           groupAddress, pin);
    mFirstUsePin = pin;
  }
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

void RestConnection::KeepFirstUsePin() {
  if (mFirstUsePin.empty()) return;
  const std::string address = getServer();
  const std::string pin = std::exchange(mFirstUsePin, {});
  if (const LSTATUS written = discovery::WriteFirstUsePin(address, pin); written != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"The certificate of %S (SHA-256 %S) cannot be pinned (error %ld); the next connection meets it again as a first contact.",
           address, pin, written);
    return;
  }
  VA_LOG(MSG_INFO, L"Pinned the certificate of %S at first use: SHA-256 %S. From now on the array gets a request only while it presents this certificate.",
         address, pin);
  const std::wstring wideAddress = wincompat::ToWide(address);
  const std::wstring widePin = wincompat::ToWide(pin);
  logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_CERTIFICATE_PINNED_AT_FIRST_USE, wideAddress.c_str(),
                              widePin.c_str());
}

void RestConnection::SetLoginInfo(const LoginInfo& loginInfo) {
  if (loginInfo == mLoginInfo) return;
  mLoginInfo = loginInfo;
  mCredentialsChanged = true;
}

}  // namespace Vantor
