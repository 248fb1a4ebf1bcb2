#pragma once
// Finds the array groups this host can reach, each with the credential to log in with. Three
// sources, in this order: the group management addresses configured in the registry
// ("GroupMgmtIps") with their credentials from the host's credential store; the credential
// profiles of the registry that the service's own Windows account created (a later source
// replaces an earlier credential); and, unless switched off, the multipath driver, which names
// the group of every LUN it claims (such groups get an empty credential unless known).
//
// The finder also keeps the driver's serial-number-to-address map of the last pass, which
// answers "which management address serves this LUN". Nothing else survives a pass, and no
// problem is thrown: every failure is logged (and reported where it needs an administrator),
// and the pass goes on with the other sources.
#include <map>
#include <string>

#include "discovery/GroupCredentials.h"
#include "wincompat/WinTypes.h"

class VantorGroupFinder {
 public:
  // One discovery pass; `groups` is rebuilt from scratch.
  void DiscoverGroups(GroupCredentialMap& groups);

  // The group management address the driver reported for `serialNumber` in the last pass;
  // empty when the driver named none.
  std::string GetGroupMgmtIpForSerial(const std::string& serialNumber) const;
  const std::map<std::string, std::string>& GetDsmSerialToIpMap() const { return mDsmSerialToIp; }

  // "DisableAutomaticGroupDiscovery" reads as exactly 1.
  static bool IsAutomaticGroupDiscoveryDisabled();

  // The configured addresses with their stored credentials; an address without a complete
  // credential is left out (logged, event 4380). No address at all: event 4390.
  void ReadGroupMgmtIpsFromRegistry(GroupCredentialMap& groups);

  // Asks the multipath driver and fills the serial-number-to-address map; a Win32 error code.
  DWORD QueryDsmGroupManagementIPs();
  // Walks one reply record of the driver into the serial-number-to-address map.
  void ParseDsmGroupManagementIPInfo(const BYTE* record, DWORD size);

  // Sets the credential of every profile created by `serviceUser`, replacing what an earlier
  // source or profile set for the same address.
  void ReadGroupIPCredentialsFromRegistry(GroupCredentialMap& groups, const std::wstring& serviceUser);
  // Reads one profile; true when all four values were read and the password deciphered.
  bool GetCredentialsForIPFromRegistry(const std::string& profileName, std::string& groupMgmtIP,
                                       std::string& createdBy, std::string& userName, std::string& password);

 private:
  std::map<std::string, std::string> mDsmSerialToIp;
};
