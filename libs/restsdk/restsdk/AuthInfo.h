#pragma once
// Credentials for Client::authenticate. Deliberately has no stream operator or to-string: the
// password must not end up in a log line by accident.
#include <string>

namespace VantorStorage::WS {

class AuthInfo {
 public:
  AuthInfo() = default;
  AuthInfo(std::string username, std::string password)
      : mUsername(std::move(username)), mPassword(std::move(password)) {}

  const std::string& getUsername() const { return mUsername; }
  const std::string& getPassword() const { return mPassword; }
  void setUsername(const std::string& username) { mUsername = username; }
  void setPassword(const std::string& password) { mPassword = password; }

 private:
  std::string mUsername;
  std::string mPassword;
};

}  // namespace VantorStorage::WS
