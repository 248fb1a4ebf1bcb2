#pragma once
// The group credential map: group management address (narrow) to the credential the provider
// logs in with. An empty credential means that the multipath driver reported the group but no
// credential is known for it.
#include <map>
#include <string>

#include "common/ProtectedSecret.h"

// The password is kept protected for as long as the map lives (a discovery pass, the tool's
// whole run); the clear text only ever exists for the moment of a login.
struct GroupCredential {
  std::string userName;
  common::ProtectedSecret password;

  GroupCredential() = default;
  GroupCredential(std::string user, common::ProtectedSecret secret)
      : userName(std::move(user)), password(std::move(secret)) {}

  bool empty() const { return userName.empty() && password.empty(); }
  friend bool operator==(const GroupCredential&, const GroupCredential&) = default;
};

using GroupCredentialMap = std::map<std::string, GroupCredential>;
