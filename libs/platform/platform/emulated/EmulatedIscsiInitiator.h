#pragma once
// The iSCSI initiator of the emulated host: sessions, logins and logouts are the array
// simulator's for this initiator name. The simulator names a session by a text; the initiator
// API names it by an ISCSI_UNIQUE_SESSION_ID, so this object keeps the mapping for the
// process's life.
#include <map>
#include <mutex>
#include <string>

#include "platform/IscsiInitiator.h"
#include "platform/emulated/EmulatedHostChannel.h"

namespace platform {

class EmulatedIscsiInitiator final : public IscsiInitiator {
 public:
  explicit EmulatedIscsiInitiator(EmulatedHostEndpoint endpoint);

  ISDSC_STATUS GetSessionListW(ULONG* bufferSize, ULONG* sessionCount, ISCSI_SESSION_INFOW* sessionInfo) override;
  ISDSC_STATUS LoginTargetA(const char* targetName, bool isInformationalSession, const char* initiatorInstance,
                            ULONG initiatorPortNumber, const ISCSI_TARGET_PORTALA* targetPortal,
                            ISCSI_SECURITY_FLAGS securityFlags, const ISCSI_TARGET_MAPPINGA* mappings,
                            const ISCSI_LOGIN_OPTIONS* loginOptions, ULONG keySize, const char* key, bool isPersistent,
                            ISCSI_UNIQUE_SESSION_ID* uniqueSessionId,
                            ISCSI_UNIQUE_CONNECTION_ID* uniqueConnectionId) override;
  ISDSC_STATUS LogoutTarget(const ISCSI_UNIQUE_SESSION_ID* uniqueSessionId) override;
  ISDSC_STATUS ReportTargetsW(bool forceUpdate, ULONG* bufferSize, wchar_t* buffer) override;
  ISDSC_STATUS GetInitiatorNodeNameW(wchar_t* nodeName) override;

 private:
  ISCSI_UNIQUE_SESSION_ID IdFor(const std::string& simulatorSessionId);
  bool SimulatorIdOf(const ISCSI_UNIQUE_SESSION_ID& id, std::string& simulatorSessionId);

  EmulatedHostChannel mChannel;
  std::mutex mMutex;
  std::map<std::string, ULONGLONG> mIdsBySimulatorId;
  std::map<ULONGLONG, std::string> mSimulatorIdsById;
};

}  // namespace platform
