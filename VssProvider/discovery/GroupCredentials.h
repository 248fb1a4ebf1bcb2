#pragma once
// The group credential map: group management address (narrow) to the credential the provider
// logs in with. An empty credential means that the multipath driver reported the group but no
// credential is known for it.
#include <map>
#include <string>

struct GroupCredential {
  std::string userName;
  std::string password;

  bool empty() const { return userName.empty() && password.empty(); }
  friend bool operator==(const GroupCredential&, const GroupCredential&) = default;
};

using GroupCredentialMap = std::map<std::string, GroupCredential>;
