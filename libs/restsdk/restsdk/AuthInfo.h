#pragma once
// Credentials for Client::authenticate. Deliberately has no stream operator or to-string: the
// password must not end up in a log line by accident. The password is wiped when it is
// replaced and when the record goes, so a record held only for one login leaves no copy.
#include <string>
#include <utility>

namespace VantorStorage::WS {

class AuthInfo {
 public:
  AuthInfo() = default;
  AuthInfo(std::string username, std::string password)
      : mUsername(std::move(username)), mPassword(std::move(password)) {}
  ~AuthInfo() { wipe(mPassword); }
  AuthInfo(const AuthInfo&) = default;
  AuthInfo& operator=(const AuthInfo& other) {
    if (this != &other) {
      mUsername = other.mUsername;
      setPassword(other.mPassword);
    }
    return *this;
  }
  AuthInfo(AuthInfo&& other) noexcept : mUsername(std::move(other.mUsername)), mPassword(std::move(other.mPassword)) {}
  AuthInfo& operator=(AuthInfo&& other) noexcept {
    if (this != &other) {
      wipe(mPassword);
      mUsername = std::move(other.mUsername);
      mPassword = std::move(other.mPassword);
    }
    return *this;
  }

  const std::string& getUsername() const { return mUsername; }
  const std::string& getPassword() const { return mPassword; }
  void setUsername(const std::string& username) { mUsername = username; }
  void setPassword(const std::string& password) {
    wipe(mPassword);
    mPassword.reserve(password.size());  // one buffer, no unwiped earlier ones
    mPassword.assign(password);
  }
  // Writes the password straight into the record's own buffer (no intermediate string).
  void setPassword(const char* data, std::size_t size) {
    wipe(mPassword);
    mPassword.reserve(size);
    mPassword.assign(data, size);
  }

 private:
  static void wipe(std::string& text) {
    volatile char* bytes = text.data();
    for (std::size_t i = 0; i < text.size(); ++i) bytes[i] = 0;
    text.clear();
  }

  std::string mUsername;
  std::string mPassword;
};

}  // namespace VantorStorage::WS
