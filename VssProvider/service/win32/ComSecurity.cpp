#include "service/win32/ComSecurity.h"

#include <objbase.h>

#include <span>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "service/ComAccessDescriptor.h"
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

std::span<const std::uint8_t> SidSpan(PSID sid) {
  if (sid == nullptr || !IsValidSid(sid)) return {};
  return {static_cast<const std::uint8_t*>(sid), GetLengthSid(sid)};
}

}  // namespace

std::optional<AbsoluteSecurityDescriptor> AbsoluteSecurityDescriptor::FromSelfRelative(
    const std::vector<std::uint8_t>& selfRelative) {
  if (selfRelative.empty()) return std::nullopt;
  auto* source = const_cast<std::uint8_t*>(selfRelative.data());  // MakeAbsoluteSD only reads it
  DWORD descriptorSize = 0, daclSize = 0, saclSize = 0, ownerSize = 0, groupSize = 0;
  MakeAbsoluteSD(source, nullptr, &descriptorSize, nullptr, &daclSize, nullptr, &saclSize, nullptr, &ownerSize,
                 nullptr, &groupSize);
  AbsoluteSecurityDescriptor result;
  result.mDescriptor.resize(descriptorSize);
  result.mDacl.resize(daclSize);
  result.mSacl.resize(saclSize);
  result.mOwner.resize(ownerSize);
  result.mGroup.resize(groupSize);
  const auto dataOrNull = [](std::vector<BYTE>& buffer) -> void* { return buffer.empty() ? nullptr : buffer.data(); };
  if (descriptorSize == 0 ||
      !MakeAbsoluteSD(source, result.mDescriptor.data(), &descriptorSize,
                      static_cast<PACL>(dataOrNull(result.mDacl)), &daclSize,
                      static_cast<PACL>(dataOrNull(result.mSacl)), &saclSize, dataOrNull(result.mOwner), &ownerSize,
                      dataOrNull(result.mGroup), &groupSize)) {
    return std::nullopt;
  }
  return result;
}

std::optional<AbsoluteSecurityDescriptor> ServiceSecurityDescriptor() {
  const KernelHandle token = OpenOwnToken();
  if (!token) {
    VA_LOG(MSG_WARNING, L"Opening the token failed, error %u", static_cast<unsigned>(GetLastError()));
    return std::nullopt;
  }
  // The SIDs live in these buffers until the descriptor has copied them.
  const std::vector<BYTE> owner = TokenInformation(token.Get(), TokenOwner);
  const std::vector<BYTE> group = TokenInformation(token.Get(), TokenPrimaryGroup);
  if (owner.size() < sizeof(TOKEN_OWNER) || group.size() < sizeof(TOKEN_PRIMARY_GROUP)) {
    VA_LOG(MSG_WARNING, L"Reading owner and group of the token failed");
    return std::nullopt;
  }
  const std::vector<std::uint8_t> selfRelative =
      BuildComAccessDescriptor(SidSpan(reinterpret_cast<const TOKEN_OWNER*>(owner.data())->Owner),
                               SidSpan(reinterpret_cast<const TOKEN_PRIMARY_GROUP*>(group.data())->PrimaryGroup));
  auto descriptor = AbsoluteSecurityDescriptor::FromSelfRelative(selfRelative);
  if (!descriptor) {
    VA_LOG(MSG_WARNING, L"Building the security descriptor failed, error %u", static_cast<unsigned>(GetLastError()));
  }
  return descriptor;
}

HRESULT InitializeServiceSecurity() {
  CLogger scope(L"ComSecurity::InitializeServiceSecurity");
  auto descriptor = ServiceSecurityDescriptor();
  if (!descriptor) {
    VA_LOG(MSG_WARNING, L"COM keeps the security of the AppID");
    return S_OK;
  }
  const HRESULT hr = CoInitializeSecurity(descriptor->Get(), -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT,
                                          RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
  VA_LOG(MSG_INFO, L"CoInitializeSecurity returned 0x%08x", static_cast<unsigned>(hr));
  return S_OK;
}

}  // namespace service
