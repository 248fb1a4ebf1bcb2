#include "array/RestCall.h"

#include <cassert>
#include <exception>
#include <sstream>
#include <stdexcept>

#include "array/RestConnection.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "restsdk/AuthInfo.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"RestCall";

using VantorStorage::WS::GroupMgmtServerException;

// The text of the exception thrown when retries run out. The words are a wide literal put
// into a narrow stream, which prints the literal's address; the text has always read that
// way and callers only log it, so it stays.
std::string RetriesExhaustedText(int maxRetries) {
  std::ostringstream text;
  text << static_cast<const void*>(L"Exceeded max retry attempts: ") << maxRetries;
  return text.str();
}

}  // namespace

void RestCall::Execute() {
  CLogger scope(L"Vantor::RestCall::Execute");
  if (mRestConn.CredentialsChanged()) {
    mRestConn.Logout();
    Authenticate("Authentication with new credentials fails for IP: " + mRestConn.GetGroupMgmtIp());
    mRestConn.ClearCredentialsChanged();
  }

  const std::string name = GetName();
  VA_LOG(MSG_INFO, L"Initializing \"%S\"...", name);
  Initialize();

  int attempt = 0;
  bool reauthenticated = false;
  for (;;) {
    if (attempt < 1) {
      VA_LOG(MSG_INFO, L"Executing \"%S\"...", name);
    } else {
      VA_LOG(MSG_INFO, L"Retry attempt #%d to execute \"%S\"...", attempt + 1, name);
    }
    RestCallResult result = ExecuteRestCall(reauthenticated);
    if (!reauthenticated && result == RestCallResult::RefreshSession) {
      Authenticate("Rest Client re-authentication fails after receiving invalid session exception.");
      reauthenticated = true;
      result = ExecuteRestCall(reauthenticated);
    }
    if (result == RestCallResult::Succeeded || result == RestCallResult::Ignored) break;
    if (result == RestCallResult::Retry) {
      const int maxRetries = GetMaxRetryCount();
      if (attempt < maxRetries) {
        ++attempt;
        continue;
      }
      throw std::runtime_error(RetriesExhaustedText(maxRetries));
    }
    assert(false && "Error. Unexpected return value!");
    throw std::logic_error("Error. Unexpected return value!");
  }

  if (!IsResultValid()) {
    VA_LOG(MSG_INFO, L"Rest SDK call: \"%S\" failed.", name);
    throw std::runtime_error(GetFailureMessage());
  }
  ProcessResult();
  VA_LOG(MSG_INFO, L"Rest SDK call: \"%S\" succeeded.", name);
}

RestCallResult RestCall::ExecuteRestCall(bool reauthenticated) {
  CLogger scope(L"Vantor::RestCall::ExecuteRestCall");
  const std::string name = GetName();
  VA_LOG(MSG_INFO, L"Executing Rest SDK call: \"%S\". IP: %S.", name, mRestConn.GetGroupMgmtIp());
  try {
    Call();
    return RestCallResult::Succeeded;
  } catch (const GroupMgmtServerException& e) {
    LogExceptionInfo(e);
    if (!reauthenticated && HasErrorCode(e, kInvalidSessionErrorCode)) {
      VA_LOG(MSG_ERROR, L"Rest API \"%S\" needs to refresh the session.", name);
      return RestCallResult::RefreshSession;
    }
    return HandleException(e);
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"Rest API '%S' fails with error: %S. %S", name, e.what(), GetInputDescription());
    if (IgnoreAllExceptions()) {
      VA_LOG(MSG_ERROR, L"The exception in Rest API \"%S\" call is ignored.", name);
      return RestCallResult::Ignored;
    }
    throw std::runtime_error(e.what());
  }
}

RestCallResult RestCall::HandleException(const GroupMgmtServerException& e) {
  const std::string name = GetName();
  if (IgnoreAllExceptions() || IsExceptionIgnorable(e)) {
    VA_LOG(MSG_ERROR, L"The exception for Rest API '%S' is ignored.", name);
    return RestCallResult::Ignored;
  }
  if (IsRetryNeeded(e)) {
    VA_LOG(MSG_ERROR, L"The exception in Rest API \"%S\" suggests to repeat the call again. Error: %S", name, e.what());
    return RestCallResult::Retry;
  }
  VA_LOG(MSG_ERROR, L"Rest API '%S' failed. %S", name, GetInputDescription());
  throw e;
}

bool RestCall::HasErrorCode(const GroupMgmtServerException& e, const std::string& code) {
  const auto& messages = e.getMessages();
  if (messages.empty()) {
    VA_LOG(MSG_ERROR, L"REST_SDK_NS::GroupMgmtServerException is empty and therefore error code \"%S\" is not found.",
           code);
    return false;
  }
  bool found = false;
  for (const auto& message : messages) {
    if (message.getCode() == code) {
      found = true;
      break;
    }
  }
  const std::string line = std::string(found ? "Found" : "Not found") + " ErrorCode: \"" + code + "\"";
  VA_LOG(MSG_ERROR, L"%S", line);
  return found;
}

void RestCall::LogExceptionInfo(const GroupMgmtServerException& e) const {
  std::ostringstream text;
  text << "GroupMgmtServerException.\n\tException info:";
  for (const auto& message : e.getMessages()) {
    text << "\n\t --ErrorCode: \"" << message.getCode() << "\", ErrorText: \"" << message.getText()
         << "\"; ErrorLevel: \"" << message.getSeverity() << "\";";
  }
  text << "\n\t\t --HTTP Status: " << e.getHttpStatus() << "; Msg Count: " << e.getMessages().size() << "; What: \""
       << e.what() << "\"";
  VA_LOG(MSG_ERROR, L"%S", text.str());
}

void RestCall::Authenticate(const std::string& failureMessage) {
  const LoginInfo& loginInfo = mRestConn.GetLoginInfo();
  VantorStorage::WS::AuthInfo authInfo;
  if (!loginInfo.GetNoCredentials()) {
    assert(mRestConn.GetLoginInfo().GetLoginMethod() == LM_CREDENTIALS);
    authInfo.setUsername(loginInfo.GetUser());
    // Clear only for the bytes of this login: the revealed copy and the record are wiped when
    // this function returns, whatever the outcome.
    const common::SecureString password = loginInfo.GetPassword().Reveal();
    authInfo.setPassword(password.c_str(), password.str().size());
    if (loginInfo.GetUser().empty() && loginInfo.GetPassword().empty()) {
      VA_LOG(MSG_WARNING, L"Uid and Pwd are empty strings.");
    }
  }
  mRestConn.Authenticate(authInfo, failureMessage);
}

}  // namespace Vantor
