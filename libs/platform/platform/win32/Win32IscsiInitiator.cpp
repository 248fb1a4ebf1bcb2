#include "platform/win32/Win32IscsiInitiator.h"

#include <windows.h>

#include <memory>

namespace platform {

// The four entry points, with the SDK's signatures (BOOLEAN is an unsigned char there).
struct Win32IscsiInitiator::Api {
  using GetSessionList = ISDSC_STATUS(WINAPI*)(ULONG*, ULONG*, ISCSI_SESSION_INFOW*);
  using Login = ISDSC_STATUS(WINAPI*)(char*, BOOLEAN, char*, ULONG, ISCSI_TARGET_PORTALA*, ISCSI_SECURITY_FLAGS,
                                      ISCSI_TARGET_MAPPINGA*, ISCSI_LOGIN_OPTIONS*, ULONG, char*, BOOLEAN,
                                      ISCSI_UNIQUE_SESSION_ID*, ISCSI_UNIQUE_CONNECTION_ID*);
  using Logout = ISDSC_STATUS(WINAPI*)(ISCSI_UNIQUE_SESSION_ID*);
  using ReportTargets = ISDSC_STATUS(WINAPI*)(BOOLEAN, ULONG*, wchar_t*);
  using NodeName = ISDSC_STATUS(WINAPI*)(wchar_t*);

  HMODULE module = nullptr;
  GetSessionList getSessionList = nullptr;
  Login login = nullptr;
  Logout logout = nullptr;
  ReportTargets reportTargets = nullptr;
  NodeName nodeName = nullptr;
};

namespace {

template <class F>
F Entry(HMODULE module, const char* name) {
  // GetProcAddress hands back a generic FARPROC; the cast to the real signature is the
  // documented way to call it.
  return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

Win32IscsiInitiator::Win32IscsiInitiator() = default;

Win32IscsiInitiator::~Win32IscsiInitiator() {
  if (mApi && mApi->module) FreeLibrary(mApi->module);
}

const Win32IscsiInitiator::Api* Win32IscsiInitiator::Load() {
  std::call_once(mLoadOnce, [this] {
    auto api = std::make_unique<Api>();
    api->module = LoadLibraryExW(L"iscsidsc.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (api->module) {
      api->getSessionList = Entry<Api::GetSessionList>(api->module, "GetIScsiSessionListW");
      api->login = Entry<Api::Login>(api->module, "LoginIScsiTargetA");
      api->logout = Entry<Api::Logout>(api->module, "LogoutIScsiTarget");
      api->reportTargets = Entry<Api::ReportTargets>(api->module, "ReportIScsiTargetsW");
      api->nodeName = Entry<Api::NodeName>(api->module, "GetIScsiInitiatorNodeNameW");
    }
    mApi = std::move(api);
  });
  return mApi.get();
}

ISDSC_STATUS Win32IscsiInitiator::GetSessionListW(ULONG* bufferSize, ULONG* sessionCount, ISCSI_SESSION_INFOW* sessionInfo) {
  const Api* api = Load();
  if (!api->module) return ERROR_MOD_NOT_FOUND;
  if (!api->getSessionList) return ERROR_PROC_NOT_FOUND;
  return api->getSessionList(bufferSize, sessionCount, sessionInfo);
}

ISDSC_STATUS Win32IscsiInitiator::LoginTargetA(const char* targetName, bool isInformationalSession,
                                               const char* initiatorInstance, ULONG initiatorPortNumber,
                                               const ISCSI_TARGET_PORTALA* targetPortal,
                                               ISCSI_SECURITY_FLAGS securityFlags, const ISCSI_TARGET_MAPPINGA* mappings,
                                               const ISCSI_LOGIN_OPTIONS* loginOptions, ULONG keySize, const char* key,
                                               bool isPersistent, ISCSI_UNIQUE_SESSION_ID* uniqueSessionId,
                                               ISCSI_UNIQUE_CONNECTION_ID* uniqueConnectionId) {
  const Api* api = Load();
  if (!api->module) return ERROR_MOD_NOT_FOUND;
  if (!api->login) return ERROR_PROC_NOT_FOUND;
  // The API takes non-const pointers for inputs it does not change.
  ISCSI_LOGIN_OPTIONS options{};
  if (loginOptions) options = *loginOptions;
  return api->login(const_cast<char*>(targetName), isInformationalSession ? TRUE : FALSE,
                    const_cast<char*>(initiatorInstance), initiatorPortNumber,
                    const_cast<ISCSI_TARGET_PORTALA*>(targetPortal), securityFlags,
                    const_cast<ISCSI_TARGET_MAPPINGA*>(mappings), loginOptions ? &options : nullptr, keySize,
                    const_cast<char*>(key), isPersistent ? TRUE : FALSE, uniqueSessionId, uniqueConnectionId);
}

ISDSC_STATUS Win32IscsiInitiator::LogoutTarget(const ISCSI_UNIQUE_SESSION_ID* uniqueSessionId) {
  const Api* api = Load();
  if (!api->module) return ERROR_MOD_NOT_FOUND;
  if (!api->logout) return ERROR_PROC_NOT_FOUND;
  if (!uniqueSessionId) return ERROR_INVALID_PARAMETER;
  ISCSI_UNIQUE_SESSION_ID id = *uniqueSessionId;
  return api->logout(&id);
}

ISDSC_STATUS Win32IscsiInitiator::ReportTargetsW(bool forceUpdate, ULONG* bufferSize, wchar_t* buffer) {
  const Api* api = Load();
  if (!api->module) return ERROR_MOD_NOT_FOUND;
  if (!api->reportTargets) return ERROR_PROC_NOT_FOUND;
  return api->reportTargets(forceUpdate ? TRUE : FALSE, bufferSize, buffer);
}

ISDSC_STATUS Win32IscsiInitiator::GetInitiatorNodeNameW(wchar_t* nodeName) {
  const Api* api = Load();
  if (!api->module) return ERROR_MOD_NOT_FOUND;
  if (!api->nodeName) return ERROR_PROC_NOT_FOUND;
  return api->nodeName(nodeName);
}

}  // namespace platform
