#pragma once
// The group credential map: group management address (narrow) to the credential the provider
// logs in with. An empty credential means that the multipath driver reported the group but no
// credential is known for it.
#include <map>
#include <string>

#include "common/SecureBuffer.h"

struct GroupCredential {
  std::string userName;
  std::string password;

  GroupCredential() = default;
  GroupCredential(std::string user, std::string secret) : userName(std::move(user)), password(std::move(secret)) {}
  GroupCredential(const GroupCredential&) = default;
  GroupCredential& operator=(const GroupCredential&) = default;
  GroupCredential(GroupCredential&&) = default;
  GroupCredential& operator=(GroupCredential&&) = default;
  // The clear password goes with the map entry; it is not left in freed memory.
  ~GroupCredential() { common::SecureWipe(password.data(), password.size()); }

  bool empty() const { return userName.empty() && password.empty(); }
  friend bool operator==(const GroupCredential&, const GroupCredential&) = default;
};

using GroupCredentialMap = std::map<std::string, GroupCredential>;
