#pragma once
// Where the provider's service gets each group's credential from, and whether it can use it:
// for `config show` and `doctor`. The sources follow the discovery order: the machine store,
// then a credential profile made by the service's own account, which replaces it.
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vantorvss {

struct GroupCredentialCheck {
  std::string address;
  std::string source;          // "machine store", "profile NAME", or "none"
  std::string user;            // the user name when this process could read it
  std::string serviceAccount;  // the account the provider's service runs as
  std::string serviceCanRead;  // "yes", "no" or "unknown"
  std::string reason;          // why, and what to do when it is not "yes"

  nlohmann::json ToJson() const;
  std::string ToText() const;
};

GroupCredentialCheck CheckGroupCredential(const std::string& address);

}  // namespace vantorvss
