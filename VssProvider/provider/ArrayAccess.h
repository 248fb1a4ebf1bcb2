#pragma once
// How the provider reaches array groups: the group finder's answers, the REST support check
// and the making of a wrapper for a group. The service and vantor-vss use the real ones
// (DefaultArrayAccess); the provider's unit tests put fakes in their place.
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "array/LoginInfo.h"

class VaVssArrayWrapper;

namespace provider {

// What the protocol query of a group's management service answered.
enum class RestSupport { Supported = 0, CheckFailed = 1, NotSupported = 2 };

struct ArrayAccess {
  // Every group the host reaches now: management address to its login information (empty when
  // only the multipath driver reported the group).
  std::function<std::map<std::string, Vantor::LoginInfo>()> discoverGroups;
  // The management address of the group that serves a LUN serial number according to the
  // multipath driver; empty when the driver does not know it.
  std::function<std::string(const std::string& serialNumber)> groupAddressForSerial;
  std::function<RestSupport(const std::string& address)> restSupport;
  // Connects to the group at `address`; throws when it cannot.
  std::function<std::shared_ptr<VaVssArrayWrapper>(const std::string& address, const Vantor::LoginInfo& loginInfo)>
      connect;
};

// The real collaborators: VantorGroupFinder, the SOAP protocol query, VaVssArrayWrapper.
ArrayAccess DefaultArrayAccess();

}  // namespace provider
