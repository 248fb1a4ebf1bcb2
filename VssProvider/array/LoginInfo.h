#pragma once
// How the provider logs in to one array group: the login method, a flag that asks for a
// session without credentials, and the user name and password found for the group's
// management address. The password is held protected (common::ProtectedSecret) and revealed
// only for the bytes of a login request; nothing that prints a LoginInfo may print it.
#include <cstdint>
#include <string>
#include <utility>

#include "common/ProtectedSecret.h"

namespace Vantor {

enum LoginMethod : std::uint32_t {
  LM_NONE = 0,
  LM_CERTIFICATE = 1,
  LM_CREDENTIALS = 2,
};

class LoginInfo {
 public:
  // Default credentials: credential login with an empty user name and password.
  LoginInfo() = default;
  LoginInfo(std::string userName, common::ProtectedSecret password)
      : mUserName(std::move(userName)), mPassword(std::move(password)) {}
  // Seals the clear password and wipes the copy handed in.
  LoginInfo(std::string userName, std::string password)
      : mUserName(std::move(userName)), mPassword(common::ProtectedSecret::Take(password)) {}

  LoginMethod GetLoginMethod() const { return mLoginMethod; }
  void SetLoginMethod(LoginMethod method) { mLoginMethod = method; }

  // Set: the session is opened with an empty user name and password whatever is stored.
  bool GetNoCredentials() const { return mNoCredentials; }
  void SetNoCredentials(bool noCredentials) { mNoCredentials = noCredentials; }

  // Not GetUserName: windows.h makes that name a macro.
  const std::string& GetUser() const { return mUserName; }
  const common::ProtectedSecret& GetPassword() const { return mPassword; }
  void SetCredentials(std::string userName, common::ProtectedSecret password) {
    mUserName = std::move(userName);
    mPassword = std::move(password);
  }

  // No credential known for the group (discovered through the driver only).
  bool IsEmpty() const { return mUserName.empty() && mPassword.empty(); }

  friend bool operator==(const LoginInfo&, const LoginInfo&) = default;

 private:
  LoginMethod mLoginMethod = LM_CREDENTIALS;
  bool mNoCredentials = false;
  std::string mUserName;
  common::ProtectedSecret mPassword;
};

}  // namespace Vantor
