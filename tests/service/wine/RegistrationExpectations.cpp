#include "RegistrationExpectations.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "HostHarness.h"

namespace hosttest {
namespace {

constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";

struct ExpectedKey {
  std::wstring path;
  std::set<std::wstring> subkeys;
  std::map<std::wstring, std::wstring> values;
};

// Every key the registration writes below the classes root, with exactly these subkeys and
// values; written out literally so that a changed id or name in the program shows here.
std::vector<ExpectedKey> ExpectedClassesKeys(bool asService, const std::wstring& providerPath) {
  const std::wstring appId = L"{250271C3-D460-4BC9-B015-3EBC3C0DA2C4}";
  const std::wstring clsid = L"{08B1DE05-DA78-4895-BAC0-E576ED483FFA}";
  const std::wstring name = L"VantorVssHwProvider Class";
  const std::wstring progId = L"VantorVssProvider.VantorVssHwProvider.1";
  const std::wstring independent = L"VantorVssProvider.VantorVssHwProvider";
  // The access permission is a binary value ("#3"); its contents have a test of their own.
  std::map<std::wstring, std::wstring> appIdValues{{L"", L"Vantor.VssProvider"}, {L"AccessPermission", L"#3"}};
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
      {L"CLSID\\" + clsid + L"\\LocalServer32", {}, {{L"", L"\"" + providerPath + L"\""}}},
      {L"CLSID\\" + clsid + L"\\ProgID", {}, {{L"", progId}}},
      {L"CLSID\\" + clsid + L"\\TypeLib", {}, {{L"", L"{60AADF9E-37A8-467e-AAE3-5029C903CE21}"}}},
      {L"CLSID\\" + clsid + L"\\VersionIndependentProgID", {}, {{L"", independent}}},
  };
}

}  // namespace

void ExpectRegistered(HKEY root, const std::wstring& prefix, bool asService, const std::wstring& providerPath) {
  for (const ExpectedKey& expected : ExpectedClassesKeys(asService, providerPath)) {
    const KeyContents actual = ReadKey(root, prefix + expected.path);
    EXPECT_TRUE(actual.exists) << expected.path;
    EXPECT_EQ(actual.subkeys, expected.subkeys) << expected.path;
    EXPECT_EQ(actual.values, expected.values) << expected.path;
  }
}

void ExpectNotRegistered(HKEY root, const std::wstring& prefix) {
  for (const ExpectedKey& expected : ExpectedClassesKeys(false, L"")) {
    EXPECT_FALSE(ReadKey(root, prefix + expected.path).exists) << expected.path;
  }
}

}  // namespace hosttest
