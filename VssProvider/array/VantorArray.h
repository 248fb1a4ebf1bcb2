#pragma once
// One array group the provider talks to: its REST session (the RestConnection base) and what
// the provider learns of the group once -- its id, its software version and the capabilities
// that version brings. Owned by the group's VaVssArrayWrapper.
#include <string>

#include "array/ArrayVersion.h"
#include "array/LoginInfo.h"
#include "array/RestConnection.h"

namespace Vantor {

class Array : public RestConnection {
 public:
  // Connects to the group at `groupAddress` and fetches its id; a failing fetch throws. A
  // configured address met for the first time is pinned once the fetch succeeded.
  Array(const std::string& groupAddress, const LoginInfo& loginInfo);
  // A second, independent session to the same group (same address and login information).
  // The capabilities start empty until that copy's own version check.
  Array(const Array& other);
  Array& operator=(const Array&) = delete;
  ~Array() override;

  // Initialises the REST client library for the process under `appName` (the first call
  // wins); throws std::exception when the library refuses.
  static void InitRest(const std::string& appName);

  // Whether the group's software version lies in the accepted range (or the administrator
  // switched the check off). `versionString` gets the version the array reported, also when
  // the check fails. Fills the capabilities on success.
  bool CheckArrayVersion(std::string& versionString);

  const std::string& GetGroupId() const { return mGroupId; }
  const CapabilitySet& GetCapabilities() const { return mCapabilities; }
  bool HasCapability(ArrayCapability capability) const { return mCapabilities.count(capability) != 0; }

 private:
  std::string mGroupId;
  CapabilitySet mCapabilities;
};

}  // namespace Vantor
