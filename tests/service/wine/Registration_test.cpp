// /RegServer, /Service, /UnregServer and the PerUser switches of VantorVssProvider.exe, run
// as a process in a Wine prefix; the registry, the service control manager and the
// coordinator double are the evidence.
#include <windows.h>
#include <oleauto.h>
#include <vsserror.h>

#include <gtest/gtest.h>

#include "CoordinatorDoubleConfig.h"
#include "HostHarness.h"
#include "service/ServiceIdentity.h"
#include "provider/VaVssHwProvider.h"
#include "service/win32/FileVersionReader.h"

namespace {

using namespace hosttest;

constexpr const wchar_t* kMachineClasses = L"Software\\Classes\\";
constexpr const wchar_t* kUserClasses = L"Software\\Classes\\";
constexpr const wchar_t* kTypeLibKey = L"Software\\Classes\\TypeLib\\{60AADF9E-37A8-467E-AAE3-5029C903CE21}";
constexpr const wchar_t* kProviderIdText = L"{5253D47A-55BB-4B3A-928D-5F4BAEC6FBF4}";
constexpr const wchar_t* kVersionIdText = L"{9BB0DFC1-656F-4854-AB79-30C47E5F37C4}";
constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";
constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005u);
constexpr const wchar_t* kServiceKey = L"SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider";
constexpr const wchar_t* kEventSourceKey =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Vantor VSS Hardware Provider";

struct ExpectedKey {
  std::wstring path;
  std::set<std::wstring> subkeys;
  std::map<std::wstring, std::wstring> values;
};

// Every key the registration writes below the classes root, with exactly these subkeys and
// values; written out literally so that a changed id or name in the program shows here.
std::vector<ExpectedKey> ExpectedClassesKeys(bool asService) {
  const std::wstring appId = L"{250271C3-D460-4BC9-B015-3EBC3C0DA2C4}";
  const std::wstring clsid = L"{08B1DE05-DA78-4895-BAC0-E576ED483FFA}";
  const std::wstring name = L"VantorVssHwProvider Class";
  const std::wstring progId = L"VantorVssProvider.VantorVssHwProvider.1";
  const std::wstring independent = L"VantorVssProvider.VantorVssHwProvider";
  std::map<std::wstring, std::wstring> appIdValues{{L"", L"Vantor.VssProvider"}};
  if (asService) appIdValues[L"LocalService"] = kServiceName;
  return {
      {L"AppID\\" + appId, {}, appIdValues},
      {L"AppID\\Vantor.VssProvider.EXE", {}, {{L"AppID", appId}}},
      {progId, {L"CLSID"}, {{L"", name}}},
      {progId + L"\\CLSID", {}, {{L"", clsid}}},
      {independent, {L"CLSID", L"CurVer"}, {{L"", name}}},
      {independent + L"\\CLSID", {}, {{L"", clsid}}},
      {independent + L"\\CurVer", {}, {{L"", progId}}},
      {L"CLSID\\" + clsid,
       {L"LocalServer32", L"ProgID", L"TypeLib", L"VersionIndependentProgID"},
       {{L"", name}, {L"AppID", appId}}},
      {L"CLSID\\" + clsid + L"\\LocalServer32", {}, {{L"", L"\"" + InstalledProviderPath() + L"\""}}},
      {L"CLSID\\" + clsid + L"\\ProgID", {}, {{L"", progId}}},
      {L"CLSID\\" + clsid + L"\\TypeLib", {}, {{L"", L"{60AADF9E-37A8-467e-AAE3-5029C903CE21}"}}},
      {L"CLSID\\" + clsid + L"\\VersionIndependentProgID", {}, {{L"", independent}}},
  };
}

void ExpectRegistered(HKEY root, const std::wstring& prefix, bool asService) {
  for (const ExpectedKey& expected : ExpectedClassesKeys(asService)) {
    const KeyContents actual = ReadKey(root, prefix + expected.path);
    EXPECT_TRUE(actual.exists) << expected.path;
    EXPECT_EQ(actual.subkeys, expected.subkeys) << expected.path;
    EXPECT_EQ(actual.values, expected.values) << expected.path;
  }
}

void ExpectNotRegistered(HKEY root, const std::wstring& prefix) {
  for (const ExpectedKey& expected : ExpectedClassesKeys(false)) {
    EXPECT_FALSE(ReadKey(root, prefix + expected.path).exists) << expected.path;
  }
}

std::wstring ExpectedRegisterCall() {
  return std::wstring(L"RegisterProvider|") + kProviderIdText + L"|{08B1DE05-DA78-4895-BAC0-E576ED483FFA}|" +
         L"Vantor Storage VSS Provider|3|" + VANTOR_EXPECTED_FILE_VERSION + L"|" + kVersionIdText;
}

class Registration : public testing::Test {
 protected:
  void SetUp() override { ResetHost(); }
};

TEST_F(Registration, RegServerWritesExactlyTheAppIdClassAndTypeLibraryAndRegistersWithVss) {
  ASSERT_EQ(RunProvider(L"/RegServer"), 0u);

  ExpectRegistered(HKEY_LOCAL_MACHINE, kMachineClasses, false);
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, std::wstring(kTypeLibKey) + L"\\1.0\\0\\win64").values[L""],
            InstalledProviderPath());
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{ExpectedRegisterCall()});
  EXPECT_EQ(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).values[L"EventMessageFile"], InstalledProviderPath());
  EXPECT_NE(GetFileAttributesW(L"C:\\ProgramData\\Vantor Storage\\Logs\\VSSTrace.log"), INVALID_FILE_ATTRIBUTES);

  // Registering again over an existing registration gives the same result.
  ClearCoordinatorCalls();
  ASSERT_EQ(RunProvider(L"-regserver"), 0u);
  ExpectRegistered(HKEY_LOCAL_MACHINE, kMachineClasses, false);
  EXPECT_EQ(CoordinatorCalls().size(), 1u);
}

TEST_F(Registration, ServiceSwitchNamesTheServiceInTheAppIdAndInstallsIt) {
  ASSERT_EQ(RunProvider(L"/Service"), 0u);

  ExpectRegistered(HKEY_LOCAL_MACHINE, kMachineClasses, true);
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
  ExpectRegistered(HKEY_LOCAL_MACHINE, kMachineClasses, false);
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
}

TEST_F(Registration, UnregServerRemovesEverythingEvenWhenTheCoordinatorRefuses) {
  ASSERT_EQ(RunProvider(L"/Service"), 0u);
  ClearCoordinatorCalls();
  SetCoordinatorResult(kUnregisterResultValue, E_FAIL);

  EXPECT_EQ(RunProvider(L"/UnregServer"), 0u);

  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kMachineClasses);
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

TEST_F(Registration, AlreadyRegisteredProviderCountsAsSuccess) {
  SetCoordinatorResult(kRegisterResultValue, VSS_E_PROVIDER_ALREADY_REGISTERED);
  EXPECT_EQ(RunProvider(L"/Service"), 0u);
  ExpectRegistered(HKEY_LOCAL_MACHINE, kMachineClasses, true);
  EXPECT_TRUE(QueryServiceConfiguration(kServiceName).has_value());
}

TEST_F(Registration, RefusedVssRegistrationRollsBackEveryEarlierStep) {
  SetCoordinatorResult(kRegisterResultValue, kAccessDenied);

  EXPECT_EQ(RunProvider(L"/Service"), static_cast<DWORD>(kAccessDenied));

  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kMachineClasses);
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kTypeLibKey).exists);
  EXPECT_FALSE(QueryServiceConfiguration(kServiceName).has_value());
  EXPECT_FALSE(ReadKey(HKEY_LOCAL_MACHINE, kEventSourceKey).exists);
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{ExpectedRegisterCall()});
}

TEST_F(Registration, PerUserSwitchesWriteAndRemoveOnlyTheUsersClasses) {
  ASSERT_EQ(RunProvider(L"/RegServerPerUser"), 0u);
  ExpectRegistered(HKEY_CURRENT_USER, kUserClasses, false);
  ExpectNotRegistered(HKEY_LOCAL_MACHINE, kMachineClasses);
  EXPECT_EQ(CoordinatorCalls(), std::vector<std::wstring>{ExpectedRegisterCall()});

  ASSERT_EQ(RunProvider(L"/UnregServerPerUser"), 0u);
  ExpectNotRegistered(HKEY_CURRENT_USER, kUserClasses);
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
