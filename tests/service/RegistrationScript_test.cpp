#include "service/RegistrationScript.h"

#include <gtest/gtest.h>

#include "service/ServiceIdentity.h"
#include "wincompat/Guid.h"
#include "wincompat/WideString.h"

namespace {

using namespace service;

const RegistryKeyPlan* FindKey(const RegistrationScript& script, const std::wstring& path) {
  for (const RegistryKeyPlan& key : script.keys) {
    if (key.path == path) return &key;
  }
  return nullptr;
}

TEST(RegistrationScript, IdTextsWrittenToTheRegistryNameTheIdsGivenToTheApis) {
  const struct {
    const wchar_t* text;
    const GUID& id;
  } cases[] = {{kAppIdText, kAppId}, {kTypeLibIdText, kTypeLibId}};
  for (const auto& c : cases) {
    GUID parsed{};
    ASSERT_TRUE(wincompat::GuidFromString(wincompat::ToNarrow(c.text), parsed)) << c.text;
    EXPECT_TRUE(parsed == c.id) << c.text;
  }
}

TEST(RegistrationScript, ClassKeyIsReplacedWholeAndStartsTheQuotedExecutable) {
  const std::wstring module = L"C:\\Program Files\\Vantor Storage\\VantorVssProvider.exe";
  const RegistrationScript script = ClassScript(module);
  const std::wstring classKey = std::wstring(L"CLSID\\") + kClassIdText;

  for (const RegistryKeyPlan& key : script.keys) EXPECT_EQ(key.forceRemove, key.path == classKey) << key.path;

  const RegistryKeyPlan* server = FindKey(script, classKey + L"\\LocalServer32");
  ASSERT_NE(server, nullptr);
  ASSERT_EQ(server->values.size(), 1u);
  EXPECT_EQ(server->values[0].data, L"\"" + module + L"\"");
  EXPECT_EQ(ClassScript(L"\"" + module + L"\"").keys.size(), script.keys.size());
  EXPECT_EQ(QuotedPath(L"\"" + module + L"\""), L"\"" + module + L"\"");

  // Parents come before their children, so that a writer can create them in order.
  for (std::size_t i = 0; i < script.keys.size(); ++i) {
    const std::wstring& path = script.keys[i].path;
    const auto slash = path.rfind(L'\\');
    if (slash == std::wstring::npos) continue;
    const std::wstring parent = path.substr(0, slash);
    if (parent == L"CLSID") continue;  // the system's key, never listed
    bool parentEarlier = false;
    for (std::size_t j = 0; j < i; ++j) parentEarlier = parentEarlier || script.keys[j].path == parent;
    EXPECT_TRUE(parentEarlier) << path;
  }
}

}  // namespace
