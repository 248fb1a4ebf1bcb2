#include "service/RegistrationPlan.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "service/ComAccessDescriptor.h"
#include "service/RegistrationScript.h"
#include "service/RegistrationWriter.h"
#include "service/ServiceIdentity.h"

namespace {

using namespace service;

constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005u);
const std::wstring kOldModule = L"C:\\Program Files\\Vantor Storage\\Old\\VantorVssProvider.exe";
const std::wstring kNewModule = L"C:\\Program Files\\Vantor Storage\\VantorVssProvider.exe";

// The service control manager, the type library and the VSS coordinator, as one host.
struct FakeHost {
  std::optional<InstalledService> service;
  HRESULT installResult = S_OK;
  HRESULT vssResult = S_OK;
  HRESULT traceFolderResult = S_OK;
  std::wstring modulePath;
  std::vector<std::string> journal;

  HostActions Actions() {
    HostActions actions;
    actions.queryService = [this] { return service; };
    actions.removeService = [this] {
      journal.push_back("remove service");
      service.reset();
      return S_OK;
    };
    actions.installService = [this] {
      journal.push_back("install service");
      if (FAILED(installResult)) return installResult;
      if (!service) service = InstalledService{L"\"" + modulePath + L"\"", kServiceName, 3, false};
      return S_OK;
    };
    actions.restoreService = [this](const InstalledService& before) {
      journal.push_back("restore service");
      service = before;
      return S_OK;
    };
    actions.registerTypeLib = [this] {
      journal.push_back("type library");
      return S_OK;
    };
    actions.registerVssProvider = [this] {
      journal.push_back("vss");
      return vssResult;
    };
    actions.secureTraceFolder = [this] {
      journal.push_back("trace folder");
      return traceFolderResult;
    };
    return actions;
  }
};

// The parents every Windows host has; a registration never removes them.
constexpr const char* kSystemParents =
    "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CLASSES_ROOT\\AppID]\r\n\r\n[HKEY_CLASSES_ROOT\\CLSID]\r\n";

class RegistrationPlan : public testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(registry_.get().LoadText(kSystemParents).has_value()); }

  static RegistrationOptions Options(const std::wstring& module, bool asService) {
    return {ClassesRoot::Machine(), module, kServiceName, asService, AppIdAccessPermission()};
  }

  hosttest::ScopedEmulatedRegistry registry_;
};

// The keys and values written are checked key by key under Wine (Registration.*, Access.*).
TEST_F(RegistrationPlan, ServiceRegistrationRunsItsStepsInOrderAndDropsWhatAnOlderOneLeftUnderTheClass) {
  const std::wstring inproc = std::wstring(L"CLSID\\") + kClassIdText + L"\\InprocServer32";
  platform::RegKey older;
  ASSERT_EQ(platform::TheRegistry().CreateKeyExW(HKEY_CLASSES_ROOT, inproc.c_str(), older.out()), ERROR_SUCCESS);
  older.reset();
  FakeHost host;
  host.modulePath = kNewModule;
  ASSERT_EQ(BuildRegistration(Options(kNewModule, true), host.Actions()).Install(), S_OK);
  EXPECT_EQ(platform::TheRegistry().OpenKeyExW(HKEY_CLASSES_ROOT, inproc.c_str(), 0, KEY_READ, older.out()),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(host.journal, (std::vector<std::string>{"trace folder", "remove service", "install service",
                                                    "type library", "vss"}));
}

// An upgrade whose registration fails leaves the registry exactly as the earlier install had it
// (keys the new registration would drop included) and that install's service back in place.
TEST_F(RegistrationPlan, FailedReRegistrationPutsTheEarlierRegistrationBack) {
  struct Case {
    const char* name;
    HRESULT installResult;
    HRESULT vssResult;
    HRESULT traceFolderResult;
    std::vector<std::string> journal;
  };
  const Case cases[] = {
      {"vss refuses", S_OK, kAccessDenied, S_OK,
       {"trace folder", "remove service", "install service", "type library", "vss", "remove service",
        "restore service"}},
      {"service cannot be created", E_FAIL, S_OK, S_OK,
       {"trace folder", "remove service", "install service", "remove service", "restore service"}},
      // Refused before anything changed: the earlier service is not even stopped.
      {"trace folder is a link", S_OK, S_OK, kAccessDenied, {"trace folder"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_FALSE(registry_.get().LoadText(kSystemParents).has_value());
    FakeHost host;
    host.modulePath = kOldModule;
    ASSERT_EQ(BuildRegistration(Options(kOldModule, true), host.Actions()).Install(), S_OK);
    // Something of the earlier version that this one no longer writes.
    platform::RegKey key;
    ASSERT_EQ(platform::TheRegistry().CreateKeyExW(
                  HKEY_CLASSES_ROOT, (std::wstring(L"CLSID\\") + kClassIdText + L"\\Implemented Categories").c_str(),
                  key.out()),
              ERROR_SUCCESS);
    const DWORD flag = 7;
    ASSERT_EQ(platform::TheRegistry().SetValueExW(key.get(), L"Flag", REG_DWORD, reinterpret_cast<const BYTE*>(&flag),
                                                  sizeof flag),
              ERROR_SUCCESS);
    key.reset();
    host.service->running = true;
    const std::string before = registry_.get().SaveText();
    const InstalledService serviceBefore = *host.service;

    host.journal.clear();
    host.installResult = c.installResult;
    host.vssResult = c.vssResult;
    host.traceFolderResult = c.traceFolderResult;
    host.modulePath = kNewModule;
    const HRESULT expected =
        FAILED(c.traceFolderResult) ? c.traceFolderResult : FAILED(c.installResult) ? c.installResult : c.vssResult;
    EXPECT_EQ(BuildRegistration(Options(kNewModule, true), host.Actions()).Install(), expected);

    EXPECT_EQ(registry_.get().SaveText(), before);
    EXPECT_EQ(host.journal, c.journal);
    ASSERT_TRUE(host.service.has_value());
    EXPECT_EQ(host.service->binaryPath, serviceBefore.binaryPath);
    EXPECT_TRUE(host.service->running);
  }
}

// A first registration that fails, at the VSS step or because the registry cannot be written,
// leaves nothing behind.
TEST_F(RegistrationPlan, FailedFirstRegistrationLeavesNothing) {
  const std::string empty = registry_.get().SaveText();
  for (const bool unwritable : {false, true}) {
    SCOPED_TRACE(unwritable ? "registry cannot be written" : "vss refuses");
    FakeHost host;
    host.modulePath = kNewModule;
    host.vssResult = kAccessDenied;
    if (unwritable) registry_.get().PersistTo(std::filesystem::path(testing::TempDir()) / "no such folder" / "r.reg");
    EXPECT_EQ(BuildRegistration(Options(kNewModule, true), host.Actions()).Install(),
              unwritable ? static_cast<HRESULT>(0x800703F5u) : kAccessDenied);  // ERROR_CANTWRITE
    EXPECT_EQ(registry_.get().SaveText(), empty);
    EXPECT_FALSE(host.service.has_value());
    const std::vector<std::string> written{"trace folder", "remove service"};
    EXPECT_EQ(host.journal, unwritable ? written
                                       : (std::vector<std::string>{"trace folder", "remove service", "install service",
                                                                   "type library", "vss", "remove service"}));
    if (unwritable) {
      EXPECT_EQ(WriteScript(ClassesRoot::Machine(), AppIdScript()), ERROR_CANTWRITE);
    }
  }
}

}  // namespace
