#include "service/win32/ComSecurity.h"

#include <windows.h>
#include <objbase.h>

#include <vector>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "service/win32/KernelHandle.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"ComSecurity";

// The thread's token when it impersonates, otherwise the process's.
KernelHandle OpenOwnToken() {
  KernelHandle token;
  if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Out())) return token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Out())) token.Reset();
  return token;
}

std::vector<BYTE> TokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
  DWORD size = 0;
  GetTokenInformation(token, kind, nullptr, 0, &size);
  if (size == 0) return {};
  std::vector<BYTE> buffer(size);
  if (!GetTokenInformation(token, kind, buffer.data(), size, &size)) return {};
  return buffer;
}

}  // namespace

HRESULT InitializeServiceSecurity() {
  CLogger scope(L"ComSecurity::InitializeServiceSecurity");
  const KernelHandle token = OpenOwnToken();
  if (!token) {
    VA_LOG(MSG_WARNING, L"Opening the token failed, error %u; COM keeps its default security",
           static_cast<unsigned>(GetLastError()));
    return S_OK;
  }
  // The SIDs live in these buffers; they must outlast CoInitializeSecurity, which copies them.
  const std::vector<BYTE> owner = TokenInformation(token.Get(), TokenOwner);
  const std::vector<BYTE> group = TokenInformation(token.Get(), TokenPrimaryGroup);
  if (owner.size() < sizeof(TOKEN_OWNER) || group.size() < sizeof(TOKEN_PRIMARY_GROUP)) {
    VA_LOG(MSG_WARNING, L"Reading owner and group of the token failed; COM keeps its default security");
    return S_OK;
  }
  SECURITY_DESCRIPTOR descriptor{};
  if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
      !SetSecurityDescriptorOwner(&descriptor, reinterpret_cast<const TOKEN_OWNER*>(owner.data())->Owner, FALSE) ||
      !SetSecurityDescriptorGroup(&descriptor, reinterpret_cast<const TOKEN_PRIMARY_GROUP*>(group.data())->PrimaryGroup,
                                  FALSE)) {
    VA_LOG(MSG_WARNING, L"Building the security descriptor failed, error %u", static_cast<unsigned>(GetLastError()));
    return S_OK;
  }
  const HRESULT hr = CoInitializeSecurity(&descriptor, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT,
                                          RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
  VA_LOG(MSG_INFO, L"CoInitializeSecurity returned 0x%08x", static_cast<unsigned>(hr));
  return S_OK;
}

}  // namespace service
