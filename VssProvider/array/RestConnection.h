#pragma once
// The authenticated REST session to one array group: the library's client bound to the
// group's management address, REST port and pinned certificate, plus the login information it
// opens sessions with. Sessions are opened lazily by the request framework (RestCall) when the
// library says there is none or it expired.
//
// An address with a stored credential but no pin (configured without vantor-vss: GroupMgmtIps,
// a credential profile, or before pins existed) is pinned at first use: the certificate its
// TLS handshake presents holds this session from the start, so the login goes nowhere else,
// and once the array answered (Array) it is stored as the address's pin. A handshake that
// fails pins nothing and sends nothing. Addresses without a credential (reported by the
// driver only) are never pinned by contact.
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

 protected:
  // After the first successful exchange: a certificate met at the first contact with a
  // configured address becomes that address's pin, with an event and a trace line.
  void KeepFirstUsePin();

 private:
  LoginInfo mLoginInfo;
  // The certificate this session was held to at a configured address's first contact, until
  // it is stored as the address's pin.
  std::string mFirstUsePin;
  bool mCredentialsChanged = false;
};

}  // namespace Vantor
