// VantorVssProvider.msi under Wine's msiexec: a silent install leaves exactly the files,
// registration keys, service and VSS provider registration of the product, a silent removal
// none of them; an upgrade from an older build replaces its executables and keeps one of each;
// an older or a rebuilt package of the installed version is refused; a failing registration
// rolls back without waiting on anybody.
#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>

#include "CoordinatorDoubleConfig.h"
#include "HostHarness.h"
#include "PackageHarness.h"
#include "RegistrationExpectations.h"
#include "service/win32/FileVersionReader.h"
#include "service/win32/ScHandle.h"

namespace {

using namespace hosttest;

constexpr const wchar_t* kInstallDirectory = L"C:\\Program Files\\Vantor Storage";
constexpr const wchar_t* kProvider = L"C:\\Program Files\\Vantor Storage\\VantorVssProvider.exe";
constexpr const wchar_t* kTool = L"C:\\Program Files\\Vantor Storage\\vantor-vss.exe";
constexpr const wchar_t* kMachineClasses = L"Software\\Classes\\";
constexpr const wchar_t* kTypeLibKey = L"Software\\Classes\\TypeLib\\{60AADF9E-37A8-467E-AAE3-5029C903CE21}";
constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";
constexpr const wchar_t* kEventSourceKey =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Vantor VSS Hardware Provider";
constexpr const wchar_t* kProviderIdText = L"{5253D47A-55BB-4B3A-928D-5F4BAEC6FBF4}";
// A failed installation rolls back within seconds; a dialog nobody can close would hold it for
// ever.
constexpr DWORD kRollbackLimitMs = 120000;
// Right after a prefix is made, Wine can have two service control managers answer, each
// knowing only the services created through it; each connection may reach either. Asking
// this many times reaches both.
constexpr int kManagerProbes = 6;
constexpr const wchar_t* kServiceKey = L"SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider";

bool FileExists(const wchar_t* path) { return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES; }

std::optional<ServiceConfig> ServiceConfiguration(const std::wstring& name) {
  std::optional<ServiceConfig> config;
  for (int probe = 0; probe < kManagerProbes && !config; ++probe) config = QueryServiceConfiguration(name);
  return config;
}

// The services whose executable is the provider, whatever their names, as any manager knows them.
std::set<std::wstring> ProviderServices() {
  std::set<std::wstring> names;
  for (int probe = 0; probe < kManagerProbes; ++probe) {
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE);
    if (manager == nullptr) continue;
    DWORD needed = 0, count = 0, resume = 0;
    EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, nullptr, 0, &needed,
                          &count, &resume, nullptr);
    std::vector<BYTE> buffer(needed);
    resume = 0;
    if (EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, buffer.data(), needed,
                              &needed, &count, &resume, nullptr)) {
      const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(buffer.data());
      for (DWORD i = 0; i < count; ++i) {
        const auto config = ServiceConfiguration(services[i].lpServiceName);
        if (config && config->binaryPath.find(L"VantorVssProvider.exe") != std::wstring::npos) {
          names.insert(services[i].lpServiceName);
        }
      }
    }
    CloseServiceHandle(manager);
  }
  return names;
}

// The installed executables are byte for byte those the package was made from (in `files`).
void ExpectInstalledFrom(const std::wstring& files) {
  const std::string provider = FileBytes(files + L"\\VantorVssProvider.exe");
  const std::string tool = FileBytes(files + L"\\vantor-vss.exe");
  ASSERT_FALSE(provider.empty());
  ASSERT_FALSE(tool.empty());
  EXPECT_TRUE(FileBytes(kProvider) == provider);
  EXPECT_TRUE(FileBytes(kTool) == tool);
}

void ExpectInstalled(const wchar_t* version) {
  EXPECT_TRUE(FileExists(kProvider));
  EXPECT_TRUE(FileExists(kTool));
  const std::wstring fileVersion = std::wstring(version) + L".0";
  EXPECT_EQ(service::ReadFileVersionText(kProvider), fileVersion);
  EXPECT_EQ(service::ReadFileVersionText(kTool), fileVersion);
  EXPECT_EQ(RegisteredVssVersion(), fileVersion);
  ExpectRegistered(HKEY_LOCAL_MACHINE, kMachineClasses, true, kProvider);
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, std::wstring(kTypeLibKey) + L"\\1.0\\0\\win64").values[L""], kProvider);
  EXPECT_EQ(ProviderServices(), std::set<std::wstring>{kServiceName});
  const auto config = ServiceConfiguration(kServiceName);
  ASSERT_TRUE(config.has_value());
  EXPECT_EQ(config->binaryPath, std::wstring(L"\"") + kProvider + L"\"");
  EXPECT_EQ(config->account, L"LocalSystem");
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).values[L"EventMessageFile"], kProvider);
  EXPECT_EQ(RegisteredVssProviders(), std::set<std::wstring>{kProviderIdText});
  const auto entries = ProviderProgramEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].displayVersion, version);
}

void ExpectNothingLeft() {
  EXPECT_FALSE(FileExists(kProvider));
  EXPECT_FALSE(FileExists(kTool));
  EXPECT_FALSE(FileExists(kInstallDirectory));
  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kMachineClasses);
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kTypeLibKey).exists);
  EXPECT_TRUE(ProviderServices().empty());
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kServiceKey).exists);
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).exists);
  EXPECT_TRUE(RegisteredVssProviders().empty());
  EXPECT_TRUE(ProviderProgramEntries().empty());
}

class Package : public testing::Test {
 protected:
  // Whatever an earlier test left installed goes first.
  void SetUp() override {
    for (const ProgramEntry& entry : ProviderProgramEntries()) Msiexec(L"/x", entry.productCode);
    ClearCoordinatorCalls();
  }
};

TEST_F(Package, SilentInstallRegistersTheProductAndSilentRemovalLeavesNothing) {
  ASSERT_EQ(Msiexec(L"/i", ThePackages().current), 0u);
  ExpectInstalled(VANTOR_PACKAGE_VERSION);
  ExpectInstalledFrom(ThePackages().currentFiles);

  ASSERT_EQ(Msiexec(L"/x", ThePackages().current), 0u);
  ExpectNothingLeft();
  const auto calls = CoordinatorCalls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back(), std::wstring(L"UnregisterProvider|") + kProviderIdText);
}

TEST_F(Package, UpgradeReplacesTheOlderBuildAndRefusesOlderAndRebuiltPackages) {
  const Packages& packages = ThePackages();
  ASSERT_FALSE(FileBytes(packages.olderFiles + L"\\VantorVssProvider.exe") ==
               FileBytes(packages.currentFiles + L"\\VantorVssProvider.exe"));
  ASSERT_EQ(Msiexec(L"/i", packages.older), 0u);
  ExpectInstalled(VANTOR_OLDER_PACKAGE_VERSION);
  ExpectInstalledFrom(packages.olderFiles);
  ClearCoordinatorCalls();

  ASSERT_EQ(Msiexec(L"/i", packages.current), 0u);
  ExpectInstalled(VANTOR_PACKAGE_VERSION);
  ExpectInstalledFrom(packages.currentFiles);
  // The newer product registered the provider again. (Windows removes the older product with
  // UPGRADINGPRODUCTCODE set, which skips its /UnregServer, and /Service renews the
  // registration; Wine 8 does not set it, so there the older registration is removed first.)
  const auto calls = CoordinatorCalls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back().rfind(L"RegisterProvider|", 0), 0u) << calls.back();

  // Neither the older package nor another build of this version changes anything.
  const std::wstring productCode = ProviderProgramEntries().at(0).productCode;
  for (const std::wstring* refused : {&packages.older, &packages.rebuilt}) {
    SCOPED_TRACE(std::string(refused->begin(), refused->end()));
    EXPECT_NE(Msiexec(L"/i", *refused), 0u);
    ExpectInstalled(VANTOR_PACKAGE_VERSION);
    ExpectInstalledFrom(packages.currentFiles);
    EXPECT_EQ(ProviderProgramEntries().at(0).productCode, productCode);
  }
  // The installed package itself runs as maintenance of the installed product.
  EXPECT_EQ(Msiexec(L"/i", packages.current), 0u);
  ExpectInstalled(VANTOR_PACKAGE_VERSION);

  ASSERT_EQ(Msiexec(L"/x", packages.current), 0u);
  ExpectNothingLeft();
}

// The service's name is free but its display name is taken (in every service control manager
// that answers): /Service cannot create the service, which used to put up a message box.
TEST_F(Package, ServiceThatCannotBeCreatedFailsTheInstallationWithoutAWindow) {
  constexpr const wchar_t* kHolder = L"Display Name Holder";
  for (int probe = 0; probe < kManagerProbes; ++probe) {
    const service::ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const service::ScHandle holder(CreateServiceW(manager.Get(), kHolder, kServiceName, SERVICE_ALL_ACCESS,
                                                  SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                                  SERVICE_ERROR_NORMAL, L"C:\\windows\\system32\\notepad.exe",
                                                  nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(holder || GetLastError() == ERROR_SERVICE_EXISTS) << GetLastError();
  }

  const DWORD result = Msiexec(L"/i", ThePackages().current, kRollbackLimitMs);

  for (int probe = 0; probe < kManagerProbes; ++probe) {
    const service::ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    const service::ScHandle holder(OpenServiceW(manager.Get(), kHolder, DELETE));
    if (holder) DeleteService(holder.Get());
  }
  EXPECT_TRUE(result == ERROR_INSTALL_FAILURE || result == ERROR_FUNCTION_FAILED) << result;
  ExpectNothingLeft();
  // No window, on any desktop: the executable imports nothing that could put one up.
  for (const std::string& function : ImportedFunctions(ThePackages().currentFiles + L"\\VantorVssProvider.exe")) {
    for (const char* window : {"!MessageBox", "!CreateWindow", "!DialogBox", "!CreateDialog"}) {
      EXPECT_EQ(function.find(window), std::string::npos) << function;
    }
  }
}

TEST_F(Package, InstallWhoseRegistrationFailsChangesNothing) {
  SetCoordinatorResult(kRegisterResultValue, static_cast<HRESULT>(0x80070005u));
  const DWORD result = Msiexec(L"/i", ThePackages().current);
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, kRegisterResultValue);
  // Windows answers a failed custom action with ERROR_INSTALL_FAILURE, Wine 8 with
  // ERROR_FUNCTION_FAILED.
  EXPECT_TRUE(result == ERROR_INSTALL_FAILURE || result == ERROR_FUNCTION_FAILED) << result;
  ExpectNothingLeft();
}

}  // namespace
