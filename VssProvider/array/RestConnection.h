#pragma once
// The authenticated REST session to one array group: the library's client bound to the
// group's management address, REST port and pinned certificate, plus the login information it
// opens sessions with. Sessions are opened lazily by the request framework (RestCall) when the
// library says there is none or it expired.
#include <string>

#include "array/LoginInfo.h"
#include "restsdk/AuthInfo.h"
#include "restsdk/Client.h"

namespace Vantor {

class RestConnection : public VantorStorage::WS::Client {
 public:
  RestConnection(const std::string& groupAddress, const LoginInfo& loginInfo);
  // Ends the session; never throws.
  virtual ~RestConnection();
  RestConnection(const RestConnection&) = delete;
  RestConnection& operator=(const RestConnection&) = delete;

  // Opens a session. On failure logs the cause and throws with `failureMessage` and the
  // library's reason: a GroupMgmtServerException when the array refused, else a
  // std::runtime_error.
  void Authenticate(const VantorStorage::WS::AuthInfo& authInfo, const std::string& failureMessage);
  // Ends the session if there is one; failures are logged and dropped.
  void Logout();

  const LoginInfo& GetLoginInfo() const { return mLoginInfo; }
  // Stores new login information. When it differs from the stored one the next request logs
  // out and in again before it runs.
  void SetLoginInfo(const LoginInfo& loginInfo);
  bool CredentialsChanged() const { return mCredentialsChanged; }
  void ClearCredentialsChanged() { mCredentialsChanged = false; }

  // The group management address the client talks to.
  std::string GetGroupMgmtIp() const { return getServer(); }

 private:
  LoginInfo mLoginInfo;
  bool mCredentialsChanged = false;
};

}  // namespace Vantor
