#include "provider/ArrayAccess.h"

#include "array/GroupProtocols.h"
#include "array/VaVssArrayWrapper.h"
#include "discovery/VantorGroupFinder.h"

namespace provider {

ArrayAccess DefaultArrayAccess() {
  // One finder serves both questions: the serial-to-address map is that of its last pass.
  auto finder = std::make_shared<VantorGroupFinder>();
  ArrayAccess access;
  access.discoverGroups = [finder] {
    GroupCredentialMap groups;
    finder->DiscoverGroups(groups);
    std::map<std::string, Vantor::LoginInfo> discovered;
    for (const auto& [address, credential] : groups)  // the password stays sealed
      discovered.emplace(address, Vantor::LoginInfo(credential.userName, credential.password));
    return discovered;
  };
  access.groupAddressForSerial = [finder](const std::string& serial) { return finder->GetGroupMgmtIpForSerial(serial); };
  access.restSupport = [](const std::string& address) {
    switch (Vantor::GetProtocols(address)) {
      case Vantor::GROUP_PROTOCOLS_REST:
        return RestSupport::Supported;
      case Vantor::GROUP_PROTOCOLS_NO_REST:
        return RestSupport::NotSupported;
      default:
        return RestSupport::CheckFailed;
    }
  };
  access.connect = [](const std::string& address, const Vantor::LoginInfo& login) {
    return std::make_shared<VaVssArrayWrapper>(address, login);
  };
  return access;
}

}  // namespace provider
