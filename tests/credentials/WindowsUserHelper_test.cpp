// Account-name comparison and the service account lookup.
#include <gtest/gtest.h>

#include "HostTestSupport.h"
#include "common/WindowsUserHelper.h"
#include "platform/ServiceAccount.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "platform/emulated/EmulatedServiceAccount.h"

namespace {

// The emulated host's service account seam over a registry that names the computer SQLHOST01.
struct EmulatedAccounts {
  EmulatedAccounts() {
    EXPECT_FALSE(registry.get().LoadText("Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SYSTEM\\"
                                         "CurrentControlSet\\Control\\ComputerName\\ComputerName]\n"
                                         "\"ComputerName\"=\"SQLHOST01\"\n"));
  }
  hosttest::ScopedEmulatedRegistry registry;
  hosttest::ScopedSeam<platform::ServiceAccount> accounts{std::make_unique<platform::EmulatedServiceAccount>()};
};

TEST(WindowsUserHelper, ComparesAccountSpellingsAsWindowsResolvesThem) {
  const EmulatedAccounts host;
  struct Case {
    const wchar_t* a;
    const wchar_t* b;
    bool equal;
  };
  const Case cases[] = {
      {L"CORP\\alice", L"corp\\ALICE", true},
      {L".\\backup", L"SQLHOST01\\backup", true},
      {L"sqlhost01\\backup", L".\\Backup", true},
      {L"backup", L".\\backup", true},
      {L"OTHERHOST\\backup", L".\\backup", false},
      {L"CORP\\alice", L"alice", false},
      {L"CORP\\alice", L"OTHER\\alice", false},
      {L"alice@corp.example.com", L"CORP\\alice", true},
      {L"CORP\\alice", L"CORP\\alicia", false},
      {L"LocalSystem", L"NT AUTHORITY\\SYSTEM", true},
      {L"NT AUTHORITY\\LOCAL SERVICE", L"LocalService", true},
      {L"NT AUTHORITY\\NetworkService", L"NT AUTHORITY\\Network Service", true},
      {L"LocalService", L"NetworkService", false},
      {L"", L"", false},
      {L"  CORP\\alice ", L"CORP\\alice", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(WindowsUserHelper::IsWindowsUsersEqual(c.a, c.b), c.equal) << "'" << testing::PrintToString(std::wstring(c.a))
                                                                         << "' vs '" << testing::PrintToString(std::wstring(c.b)) << "'";
    EXPECT_EQ(WindowsUserHelper::IsWindowsUsersEqual(c.b, c.a), c.equal) << "symmetric";
  }

  for (const wchar_t* system : {L"LocalSystem", L"localsystem", L"SYSTEM", L"NT AUTHORITY\\SYSTEM", L".\\LocalSystem"}) {
    EXPECT_TRUE(WindowsUserHelper::IsLocalSystem(system)) << testing::PrintToString(std::wstring(system));
  }
  for (const wchar_t* other : {L"NT AUTHORITY\\NetworkService", L".\\backup", L"CORP\\SYSTEM", L""}) {
    EXPECT_FALSE(WindowsUserHelper::IsLocalSystem(other)) << testing::PrintToString(std::wstring(other));
  }
}

TEST(WindowsUserHelper, WithoutAServiceAccountSeamTheLookupFailsCleanly) {
  hosttest::ScopedSeam<platform::ServiceAccount> none(nullptr);
  std::wstring user = L"stale";
  EXPECT_EQ(WindowsUserHelper::GetWindowsServiceUser(L"Vantor VSS Hardware Provider", user), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
  EXPECT_TRUE(user.empty());
  // Without the computer name only the literal local domain matches.
  EXPECT_TRUE(WindowsUserHelper::IsWindowsUsersEqual(L".\\backup", L"backup"));
  EXPECT_FALSE(WindowsUserHelper::IsWindowsUsersEqual(L".\\backup", L"SQLHOST01\\backup"));
}

}  // namespace
