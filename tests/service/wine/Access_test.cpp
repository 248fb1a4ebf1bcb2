// Who may call the provider: the descriptor the running service hands to CoInitializeSecurity
// and the AppID's AccessPermission that COM applies to a server it starts, both read back
// with the Windows security API.
#include <windows.h>

#include <gtest/gtest.h>

#include <vector>

#include "HostHarness.h"
#include "service/win32/ComSecurity.h"

namespace {

using namespace hosttest;

constexpr const wchar_t* kAppIdKey = L"Software\\Classes\\AppID\\{250271C3-D460-4BC9-B015-3EBC3C0DA2C4}";
constexpr DWORD kComRightsLocalCall = 0x1 | 0x2;  // COM_RIGHTS_EXECUTE | COM_RIGHTS_EXECUTE_LOCAL

struct Admitted {
  WELL_KNOWN_SID_TYPE account;
  const char* name;
};
constexpr Admitted kAdmitted[] = {{WinLocalSystemSid, "LocalSystem"},
                                  {WinBuiltinAdministratorsSid, "Administrators"}};

// The access list admits exactly the two accounts (no Backup Operators), each with the local
// call rights only.
void ExpectOnlyTheTwoAdmitted(PSECURITY_DESCRIPTOR descriptor) {
  ASSERT_TRUE(IsValidSecurityDescriptor(descriptor));
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted));
  ASSERT_TRUE(present);
  ASSERT_NE(dacl, nullptr) << "a null access list admits everyone";
  ASSERT_EQ(dacl->AceCount, 2u);
  for (DWORD index = 0; index < dacl->AceCount; ++index) {
    void* ace = nullptr;
    ASSERT_TRUE(GetAce(dacl, index, &ace));
    const auto* allowed = static_cast<const ACCESS_ALLOWED_ACE*>(ace);
    EXPECT_EQ(allowed->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    EXPECT_EQ(allowed->Mask, kComRightsLocalCall);
    BYTE expected[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof expected;
    ASSERT_TRUE(CreateWellKnownSid(kAdmitted[index].account, nullptr, expected, &size));
    EXPECT_TRUE(EqualSid(const_cast<DWORD*>(&allowed->SidStart), expected)) << kAdmitted[index].name;
  }
}

PSID TokenSid(TOKEN_INFORMATION_CLASS kind, std::vector<BYTE>& buffer) {
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return nullptr;
  DWORD size = 0;
  GetTokenInformation(token, kind, nullptr, 0, &size);
  buffer.resize(size);
  const BOOL ok = size != 0 && GetTokenInformation(token, kind, buffer.data(), size, &size);
  CloseHandle(token);
  if (!ok) return nullptr;
  return kind == TokenOwner ? reinterpret_cast<TOKEN_OWNER*>(buffer.data())->Owner
                            : reinterpret_cast<TOKEN_PRIMARY_GROUP*>(buffer.data())->PrimaryGroup;
}

TEST(Access, ServiceDescriptorKeepsTheTokensOwnerAndGroupAndAdmitsOnlyLocalSystemAndAdministrators) {
  auto descriptor = service::ServiceSecurityDescriptor();
  ASSERT_TRUE(descriptor.has_value());
  ExpectOnlyTheTwoAdmitted(descriptor->Get());

  std::vector<BYTE> ownerBuffer, groupBuffer;
  PSID tokenOwner = TokenSid(TokenOwner, ownerBuffer);
  PSID tokenGroup = TokenSid(TokenPrimaryGroup, groupBuffer);
  ASSERT_NE(tokenOwner, nullptr);
  ASSERT_NE(tokenGroup, nullptr);
  PSID owner = nullptr;
  PSID group = nullptr;
  BOOL defaulted = FALSE;
  ASSERT_TRUE(GetSecurityDescriptorOwner(descriptor->Get(), &owner, &defaulted));
  ASSERT_TRUE(GetSecurityDescriptorGroup(descriptor->Get(), &group, &defaulted));
  EXPECT_TRUE(EqualSid(owner, tokenOwner));
  EXPECT_TRUE(EqualSid(group, tokenGroup));
}

TEST(Access, AppIdAccessPermissionAdmitsTheSameTwoAccounts) {
  ResetHost();
  ASSERT_EQ(RunProvider(L"/Service"), 0u);
  std::vector<BYTE> value(4096);
  DWORD size = static_cast<DWORD>(value.size());
  DWORD type = 0;
  ASSERT_EQ(RegGetValueW(HKEY_LOCAL_MACHINE, kAppIdKey, L"AccessPermission", RRF_RT_ANY, &type, value.data(), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
  value.resize(size);
  ExpectOnlyTheTwoAdmitted(value.data());
  PSID owner = nullptr;
  PSID group = nullptr;
  BOOL defaulted = FALSE;
  ASSERT_TRUE(GetSecurityDescriptorOwner(value.data(), &owner, &defaulted));
  ASSERT_TRUE(GetSecurityDescriptorGroup(value.data(), &group, &defaulted));
  ASSERT_NE(owner, nullptr);
  ASSERT_NE(group, nullptr);  // COM refuses a descriptor without them
}

}  // namespace
