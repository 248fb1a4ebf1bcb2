// What the storage-device, DSM and service-account seams promise on both sides: natively
// against the emulated host (simulator host channel, emulated registry), in the Windows build
// under Wine against the Win32 implementations.
#include <gtest/gtest.h>

#include <random>

#include "HostTestSupport.h"
#include "platform/DsmDevice.h"
#include "platform/Registry.h"
#include "platform/ServiceAccount.h"
#include "platform/StorageDevices.h"

#ifdef _WIN32
#include <windows.h>

#include "platform/win32/Win32DsmDevice.h"
#include "platform/win32/Win32IscsiInitiator.h"
#include "platform/win32/Win32ServiceAccount.h"
#include "platform/win32/Win32StorageDevices.h"
#else
#include "SimulatedHost.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "platform/emulated/EmulatedServiceAccount.h"
#endif

namespace {

using namespace platform;

std::wstring UniqueServiceName() {
  std::random_device random;
  return L"VantorH6Contract" + std::to_wstring(random() % 1000000);
}

#ifdef _WIN32
// Real services in Wine's service control manager, removed afterwards.
class HostFixture : public ::testing::Test {
 protected:
  HostFixture()
      : mStorage(std::make_unique<Win32StorageDevices>()),
        mDsm(std::make_unique<Win32DsmDevice>()),
        mAccount(std::make_unique<Win32ServiceAccount>()) {}
  ~HostFixture() override {
    for (const auto& name : mCreated) {
      if (SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
        if (SC_HANDLE service = OpenServiceW(manager, name.c_str(), DELETE)) {
          DeleteService(service);
          CloseServiceHandle(service);
        }
        CloseServiceHandle(manager);
      }
    }
  }
  // `account` null: the service runs as the default account.
  void AddService(const std::wstring& name, const wchar_t* account) {
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    ASSERT_NE(manager, nullptr) << GetLastError();
    SC_HANDLE service = CreateServiceW(manager, name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
                                       L"C:\\windows\\system32\\notepad.exe", nullptr, nullptr, nullptr, account,
                                       account ? L"" : nullptr);
    const DWORD error = GetLastError();
    CloseServiceHandle(manager);
    ASSERT_NE(service, nullptr) << error;
    CloseServiceHandle(service);
    mCreated.push_back(name);
  }
  std::wstring ExpectedComputerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    return GetComputerNameW(name, &size) ? std::wstring(name, size) : std::wstring();
  }

 private:
  hosttest::ScopedSeam<StorageDevices> mStorage;
  hosttest::ScopedSeam<DsmDevice> mDsm;
  hosttest::ScopedSeam<ServiceAccount> mAccount;
  std::vector<std::wstring> mCreated;
};
#else
// The emulated host: services and the computer name live in its registry file.
class HostFixture : public ::testing::Test {
 protected:
  HostFixture()
      : mRegistry(MakeRegistry()), mAccount(std::make_unique<EmulatedServiceAccount>()) {}
  void AddService(const std::wstring& name, const wchar_t* account) {
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\" + name;
    RegKey created;
    ASSERT_EQ(TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), created.out()), ERROR_SUCCESS);
    if (account) {
      const std::wstring value = account;
      ASSERT_EQ(TheRegistry().SetValueExW(created.get(), L"ObjectName", REG_SZ,
                                          reinterpret_cast<const BYTE*>(value.c_str()),
                                          static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
                ERROR_SUCCESS);
    }
  }
  std::wstring ExpectedComputerName() { return L"EMULATED-HOST"; }

 private:
  static std::unique_ptr<Registry> MakeRegistry() {
    auto registry = std::make_unique<EmulatedRegistry>();
    EXPECT_FALSE(registry->LoadText("Windows Registry Editor Version 5.00\r\n\r\n"
                                    "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName]\r\n"
                                    "\"ComputerName\"=\"EMULATED-HOST\"\r\n"));
    return registry;
  }

  hosttest::SimulatedHost mHost;
  hosttest::ScopedSeam<Registry> mRegistry;
  hosttest::ScopedSeam<ServiceAccount> mAccount;
};
#endif

using HostSeamContract = HostFixture;

TEST_F(HostSeamContract, DevicesThatDoNotExistAnswerFileNotFound) {
  std::unique_ptr<StorageDevice> disk;
  EXPECT_EQ(TheStorageDevices().OpenDevice(L"\\\\.\\PhysicalDrive4097", disk), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(disk, nullptr);
  std::unique_ptr<DsmDeviceHandle> dsm;
  EXPECT_EQ(TheDsmDevice().Open(L"\\\\.\\NoSuchVantorDevice", dsm), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(dsm, nullptr);
}

TEST_F(HostSeamContract, ServiceAccountIsTheConfiguredStartName) {
  const std::wstring withAccount = UniqueServiceName() + L"A";
  const std::wstring withDefault = UniqueServiceName() + L"D";
  AddService(withAccount, L"NT AUTHORITY\\NetworkService");
  AddService(withDefault, nullptr);

  std::wstring user = L"stale";
  ASSERT_EQ(TheServiceAccount().GetServiceUser(withAccount, user), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(user, L"NT AUTHORITY\\NetworkService");
  ASSERT_EQ(TheServiceAccount().GetServiceUser(withDefault, user), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(user, L"LocalSystem");
  EXPECT_EQ(TheServiceAccount().GetServiceUser(UniqueServiceName() + L"Missing", user),
            static_cast<DWORD>(ERROR_SERVICE_DOES_NOT_EXIST));
  EXPECT_TRUE(user.empty());

  std::wstring computer;
  ASSERT_EQ(TheServiceAccount().LocalComputerName(computer), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(computer, ExpectedComputerName());
  EXPECT_FALSE(computer.empty());
}

#ifdef _WIN32
// Wine ships no iscsidsc.dll: the seam must say so on every call instead of keeping the
// executable from starting (which an import of the library would do).
TEST(Win32IscsiInitiatorContract, AnswersModuleNotFoundWithoutTheInitiatorLibrary) {
  if (HMODULE present = LoadLibraryW(L"iscsidsc.dll")) {
    FreeLibrary(present);
    GTEST_SKIP() << "this host has the iSCSI initiator library";
  }
  Win32IscsiInitiator initiator;
  ULONG size = 0, count = 0;
  EXPECT_EQ(initiator.GetSessionListW(&size, &count, nullptr), static_cast<ISDSC_STATUS>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(initiator.ReportTargetsW(true, &size, nullptr), static_cast<ISDSC_STATUS>(ERROR_MOD_NOT_FOUND));
  const ISCSI_UNIQUE_SESSION_ID id{1, 2};
  EXPECT_EQ(initiator.LogoutTarget(&id), static_cast<ISDSC_STATUS>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(initiator.LoginTargetA("iqn.x", false, nullptr, ISCSI_ANY_INITIATOR_PORT, nullptr, 0, nullptr, nullptr, 0,
                                   nullptr, false, nullptr, nullptr),
            static_cast<ISDSC_STATUS>(ERROR_MOD_NOT_FOUND));
}
#endif

}  // namespace
