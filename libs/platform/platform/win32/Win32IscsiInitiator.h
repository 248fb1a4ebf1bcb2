#pragma once
// The Windows iSCSI initiator through iscsidsc.dll (Windows build). The library is loaded on
// first use instead of being imported: Wine ships no iscsidsc.dll, and an import would keep
// every executable that links this seam from starting there. Without the library each call
// answers ERROR_MOD_NOT_FOUND (126).
#include <memory>
#include <mutex>

#include "platform/IscsiInitiator.h"

namespace platform {

class Win32IscsiInitiator final : public IscsiInitiator {
 public:
  Win32IscsiInitiator();
  ~Win32IscsiInitiator() override;
  Win32IscsiInitiator(const Win32IscsiInitiator&) = delete;
  Win32IscsiInitiator& operator=(const Win32IscsiInitiator&) = delete;

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
  struct Api;
  const Api* Load();

  std::once_flag mLoadOnce;
  std::unique_ptr<Api> mApi;
};

}  // namespace platform
