#include "service/RegistrationWriter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "HostTestSupport.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "service/RegistrationScript.h"
#include "service/ServiceIdentity.h"

namespace {

using namespace service;

const std::wstring kModule = L"C:\\Program Files\\Vantor Storage\\VantorVssProvider.exe";
const std::wstring kClassKey = std::wstring(L"CLSID\\") + kClassIdText;

class RegistrationWriter : public testing::Test {
 protected:

  static bool Exists(HKEY root, const std::wstring& path) {
    platform::RegKey key;
    return platform::TheRegistry().OpenKeyExW(root, path.c_str(), 0, KEY_READ, key.out()) == ERROR_SUCCESS;
  }
  static std::wstring Value(HKEY root, const std::wstring& path, const wchar_t* name) {
    wchar_t buffer[512] = {};
    DWORD size = sizeof buffer;
    if (platform::TheRegistry().GetValueW(root, path.c_str(), name, RRF_RT_REG_SZ, nullptr, buffer, &size) !=
        ERROR_SUCCESS) {
      return L"<missing>";
    }
    return buffer;
  }
  static void CreateKey(HKEY root, const std::wstring& path) {
    platform::RegKey key;
    ASSERT_EQ(platform::TheRegistry().CreateKeyExW(root, path.c_str(), key.out()), ERROR_SUCCESS);
  }

  hosttest::ScopedEmulatedRegistry registry_;
};

TEST_F(RegistrationWriter, RemovingWhatWasWrittenLeavesOtherClassesAndTheSystemParents) {
  CreateKey(HKEY_CLASSES_ROOT, L"CLSID\\{11111111-2222-3333-4444-555555555555}\\LocalServer32");
  CreateKey(HKEY_CLASSES_ROOT, L"AppID\\{11111111-2222-3333-4444-555555555555}");
  const ClassesRoot root = ClassesRoot::Machine();

  ASSERT_EQ(WriteScript(root, AppIdScript()), ERROR_SUCCESS);
  ASSERT_EQ(WriteScript(root, ClassScript(kModule)), ERROR_SUCCESS);
  EXPECT_EQ(Value(HKEY_CLASSES_ROOT, kClassKey + L"\\LocalServer32", L""), L"\"" + kModule + L"\"");
  EXPECT_EQ(Value(HKEY_CLASSES_ROOT, kClassKey, L"AppID"), kAppIdText);
  EXPECT_EQ(Value(HKEY_CLASSES_ROOT, std::wstring(kVersionIndependentProgId) + L"\\CurVer", L""), kProgId);
  EXPECT_EQ(Value(HKEY_CLASSES_ROOT, L"AppID\\Vantor.VssProvider.EXE", L"AppID"), kAppIdText);

  EXPECT_EQ(RemoveScript(root, ClassScript(kModule)), ERROR_SUCCESS);
  EXPECT_EQ(RemoveScript(root, AppIdScript()), ERROR_SUCCESS);
  for (const auto& script : {AppIdScript(), ClassScript(kModule)}) {
    for (const RegistryKeyPlan& key : script.keys) EXPECT_FALSE(Exists(HKEY_CLASSES_ROOT, key.path)) << key.path;
  }
  EXPECT_TRUE(Exists(HKEY_CLASSES_ROOT, L"CLSID\\{11111111-2222-3333-4444-555555555555}\\LocalServer32"));
  EXPECT_TRUE(Exists(HKEY_CLASSES_ROOT, L"AppID\\{11111111-2222-3333-4444-555555555555}"));

  // Removing again finds nothing and is still a success.
  EXPECT_EQ(RemoveScript(root, ClassScript(kModule)), ERROR_SUCCESS);
}

TEST_F(RegistrationWriter, RewritingTheClassDropsWhatAnOlderRegistrationLeftUnderIt) {
  CreateKey(HKEY_CLASSES_ROOT, kClassKey + L"\\InprocServer32");
  ASSERT_EQ(WriteScript(ClassesRoot::Machine(), ClassScript(kModule)), ERROR_SUCCESS);
  EXPECT_FALSE(Exists(HKEY_CLASSES_ROOT, kClassKey + L"\\InprocServer32"));
  EXPECT_TRUE(Exists(HKEY_CLASSES_ROOT, kClassKey + L"\\LocalServer32"));
}

TEST_F(RegistrationWriter, FailedWriteIsReportedWithItsStatus) {
  registry_.get().PersistTo(std::filesystem::path("no-such-directory-for-the-writer-test") / "registry.reg");
  EXPECT_EQ(WriteScript(ClassesRoot::Machine(), AppIdScript()), ERROR_CANTWRITE);
  EXPECT_EQ(SetStringValue(ClassesRoot::Machine(), AppIdKeyPath(), kLocalServiceValue, kServiceName),
            ERROR_CANTWRITE);
}

}  // namespace
