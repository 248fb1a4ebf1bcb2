// /RegServer, /Service, /UnregServer and the PerUser switches of VantorVssProvider.exe, run
// as a process in a Wine prefix; the registry, the service control manager and the
// coordinator double are the evidence.
#include <windows.h>
#include <oleauto.h>
#include <vsserror.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "CoordinatorDoubleConfig.h"
#include "HostHarness.h"
#include "RegistrationExpectations.h"
#include "service/ServiceIdentity.h"
#include "provider/VaVssHwProvider.h"
#include "service/win32/FileVersionReader.h"

namespace {

using namespace hosttest;

// Below HKEY_LOCAL_MACHINE, and below HKEY_CURRENT_USER for the PerUser switches.
constexpr const wchar_t* kClasses = L"Software\\Classes\\";
constexpr const wchar_t* kTypeLibKey = L"Software\\Classes\\TypeLib\\{60AADF9E-37A8-467E-AAE3-5029C903CE21}";
constexpr const wchar_t* kProviderIdText = L"{5253D47A-55BB-4B3A-928D-5F4BAEC6FBF4}";
constexpr const wchar_t* kVersionIdText = L"{9BB0DFC1-656F-4854-AB79-30C47E5F37C4}";
constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";
constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005u);
constexpr const wchar_t* kServiceKey = L"SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider";
constexpr const wchar_t* kEventSourceKey =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Vantor VSS Hardware Provider";

constexpr const wchar_t* kClassIdText = L"{08B1DE05-DA78-4895-BAC0-E576ED483FFA}";
constexpr const wchar_t* kProviderName = L"Vantor Storage VSS Provider";

std::wstring ExpectedRegisterCall(const std::wstring& version = VANTOR_EXPECTED_FILE_VERSION) {
  return std::wstring(L"RegisterProvider|") + kProviderIdText + L"|" + kClassIdText + L"|" + kProviderName + L"|3|" +
         version + L"|" + kVersionIdText;
}

// The registration an earlier install left with the coordinator.
void PlantVssRegistration(const std::wstring& version) {
  const std::wstring key = std::wstring(kProvidersKey) + L"\\" + kProviderIdText;
  for (const auto& [name, value] : {std::pair<const wchar_t*, std::wstring>{L"Class", kClassIdText},
                                    {L"Name", kProviderName},
                                    {L"Version", version},
                                    {L"VersionId", kVersionIdText}}) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, value.c_str(),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }
}

class Registration : public testing::Test {
 protected:
  void SetUp() override { ResetHost(); }
};

TEST_F(Registration, RegServerWritesExactlyTheAppIdClassAndTypeLibraryAndRegistersWithVss) {
  ASSERT_EQ(RunProvider(L"/RegServer"), 0u);

  ExpectRegistered(HKEY_LOCAL_MACHINE, kClasses, false);
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, std::wstring(kTypeLibKey) + L"\\1.0\\0\\win64").values[L""],
            InstalledProviderPath());
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{ExpectedRegisterCall()});
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).values[L"EventMessageFile"], InstalledProviderPath());
  EXPECT_NE(GetFileAttributesW(L"C:\\ProgramData\\Vantor Storage\\Logs\\VSSTrace.log"), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Registration, ServiceSwitchNamesTheServiceInTheAppIdAndInstallsIt) {
  ASSERT_EQ(RunProvider(L"/Service"), 0u);

  ExpectRegistered(HKEY_LOCAL_MACHINE, kClasses, true);
  const auto config = QueryServiceConfiguration(kServiceName);
  ASSERT_TRUE(config.has_value());
  EXPECT_EQ(config->serviceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
  EXPECT_EQ(config->startType, static_cast<DWORD>(SERVICE_DEMAND_START));
  EXPECT_EQ(config->errorControl, static_cast<DWORD>(SERVICE_ERROR_NORMAL));
  EXPECT_EQ(config->binaryPath, L"\"" + InstalledProviderPath() + L"\"");
  // Wine's QueryServiceConfigW leaves the dependencies out; the SCM's own record has them.
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, kServiceKey).values[L"DependOnService"], L"RPCSS");
  EXPECT_EQ(config->account, L"LocalSystem");
  EXPECT_EQ(config->displayName, kServiceName);
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{ExpectedRegisterCall()});

  // A plain /RegServer afterwards takes the service away again, LocalService with it.
  ASSERT_EQ(RunProvider(L"/RegServer"), 0u);
  ExpectRegistered(HKEY_LOCAL_MACHINE, kClasses, false);
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
}

TEST_F(Registration, UnregServerRemovesEverythingEvenWhenTheCoordinatorRefuses) {
  ASSERT_EQ(RunProvider(L"/Service"), 0u);
  ClearCoordinatorCalls();
  SetCoordinatorResult(kUnregisterResultValue, E_FAIL);

  EXPECT_EQ(RunProvider(L"/UnregServer"), 0u);

  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kClasses);
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kTypeLibKey).exists);
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).exists);
  // The system's own parents stay.
  EXPECT_TRUE(ReadKey(HKEY_LOCAL_MACHINE, L"Software\\Classes\\AppID").exists);
  EXPECT_TRUE(ReadKey(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID").exists);
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{std::wstring(L"UnregisterProvider|") + kProviderIdText});

  // Nothing left to remove is not a failure either.
  EXPECT_EQ(RunProvider(L"/UnregServer"), 0u);
}

// VSS keeps a registration of the same version; one of another version is made again, and put
// back as it was when the new one is refused.
TEST_F(Registration, VssRegistrationOfAnotherVersionIsRenewed) {
  const std::wstring unregister = std::wstring(L"UnregisterProvider|") + kProviderIdText;
  struct Case {
    const char* name;
    std::wstring registered;
    bool refuseNew;
    DWORD exitCode;
    std::vector<std::wstring> calls;
    std::wstring registeredAfter;
  };
  const Case cases[] = {
      {"same version", VANTOR_EXPECTED_FILE_VERSION, false, 0, {ExpectedRegisterCall()},
       VANTOR_EXPECTED_FILE_VERSION},
      {"older version", L"0.9.0.0", false, 0, {ExpectedRegisterCall(), unregister, ExpectedRegisterCall()},
       VANTOR_EXPECTED_FILE_VERSION},
      {"new version refused", L"0.9.0.0", true, static_cast<DWORD>(kAccessDenied),
       {ExpectedRegisterCall(), unregister, ExpectedRegisterCall(), ExpectedRegisterCall(L"0.9.0.0")}, L"0.9.0.0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ResetHost();
    PlantVssRegistration(c.registered);
    if (c.refuseNew) {
      const std::wstring version = VANTOR_EXPECTED_FILE_VERSION;
      ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, kRefusedVersionValue, REG_SZ,
                                version.c_str(), static_cast<DWORD>((version.size() + 1) * sizeof(wchar_t))),
                ERROR_SUCCESS);
    }
    EXPECT_EQ(RunProvider(L"/Service"), c.exitCode);
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, kRefusedVersionValue);
    EXPECT_EQ(CoordinatorCalls(), c.calls);
    EXPECT_EQ(RegisteredVssVersion(), c.registeredAfter);
    EXPECT_EQ(QueryServiceConfiguration(kServiceName).has_value(), c.exitCode == 0);
  }
}

TEST_F(Registration, FailedReRegistrationLeavesTheEarlierRegistrationWorking) {
  // The earlier install: another copy of the executable, registered as the service.
  const std::wstring earlierDirectory = L"C:\\Program Files\\Vantor Storage\\Earlier";
  const std::wstring earlier = earlierDirectory + L"\\VantorVssProvider.exe";
  CreateDirectoryW(earlierDirectory.c_str(), nullptr);
  ASSERT_TRUE(CopyFileW(InstalledProviderPath().c_str(), earlier.c_str(), FALSE));
  ASSERT_EQ(RunProgram(earlier, L"\"" + earlier + L"\" /Service"), 0u);
  const std::set<std::wstring> providers = RegisteredVssProviders();
  ASSERT_EQ(providers, std::set<std::wstring>{kProviderIdText});
  DeleteFileW(L"C:\\ProgramData\\Vantor Storage\\Logs\\VSSTrace.log");

  // The upgrade's registration fails at its VSS step, after every other step has run.
  SetCoordinatorResult(kRegisterResultValue, kAccessDenied);
  EXPECT_EQ(RunProvider(L"/Service"), static_cast<DWORD>(kAccessDenied));

  ExpectRegistered(HKEY_LOCAL_MACHINE, kClasses, true, earlier);
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, std::wstring(kTypeLibKey) + L"\\1.0\\0\\win64").values[L""], earlier);
  const auto config = QueryServiceConfiguration(kServiceName);
  ASSERT_TRUE(config.has_value());
  EXPECT_EQ(config->binaryPath, L"\"" + earlier + L"\"");
  EXPECT_EQ(RegisteredVssProviders(), providers);
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).values[L"EventMessageFile"], earlier);
  // The trace names the step that failed.
  std::ifstream trace("C:\\ProgramData\\Vantor Storage\\Logs\\VSSTrace.log", std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(trace)), std::istreambuf_iterator<char>());
  EXPECT_NE(text.find("VSS provider registration failed, hr = 0x80070005; rolling back"), std::string::npos);

  // Removal takes it all, wherever the registration points.
  EXPECT_EQ(RunProvider(L"/UnregServer"), 0u);
  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kClasses);
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
  DeleteFileW(earlier.c_str());
  RemoveDirectoryW(earlierDirectory.c_str());
}

TEST_F(Registration, PerUserSwitchesWriteAndRemoveOnlyTheUsersClasses) {
  ASSERT_EQ(RunProvider(L"/RegServerPerUser"), 0u);
  ExpectRegistered(HKEY_CURRENT_USER, kClasses, false);
  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kClasses);
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{ExpectedRegisterCall()});

  ASSERT_EQ(RunProvider(L"/UnregServerPerUser"), 0u);
  ExpectNotRegistered(HKEY_CURRENT_USER, kClasses);
}

TEST(Resources, ExecutableCarriesItsVersionServiceNameTypeLibraryAndMessageTexts) {
  EXPECT_EQ(service::ReadFileVersionText(InstalledProviderPath()), VANTOR_EXPECTED_FILE_VERSION);
  wchar_t self[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  EXPECT_EQ(service::ReadFileVersionText(self), L"7.8.9.10");  // this program's own resource
  EXPECT_EQ(service::ReadFileVersionText(CoordinatorDoublePath()), L"");
  EXPECT_EQ(service::ReadFileVersionText(L"C:\\no such file.exe"), L"");

  const HMODULE module = LoadLibraryExW(InstalledProviderPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr);
  wchar_t text[512] = {};
  EXPECT_EQ(std::wstring(text, static_cast<std::size_t>(LoadStringW(module, 100, text, 512))), kServiceName);
  // Linked in beside our own resources, the message table must still be found.
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, module, 4150, 0,
                                      text, 512, nullptr);
  EXPECT_EQ(std::wstring(text, length), L"VSS provider was loaded.\r\n");
  FreeLibrary(module);

  ITypeLib* typeLib = nullptr;
  ASSERT_EQ(LoadTypeLibEx(InstalledProviderPath().c_str(), REGKIND_NONE, &typeLib), S_OK);
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(typeLib->GetLibAttr(&attributes), S_OK);
  EXPECT_TRUE(IsEqualGUID(attributes->guid, service::kTypeLibId));
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 0);
  typeLib->ReleaseTLibAttr(attributes);
  ITypeInfo* classInfo = nullptr;
  EXPECT_EQ(typeLib->GetTypeInfoOfGuid(CLSID_VantorVssHwProvider, &classInfo), S_OK);
  if (classInfo != nullptr) classInfo->Release();
  typeLib->Release();
}

}  // namespace
