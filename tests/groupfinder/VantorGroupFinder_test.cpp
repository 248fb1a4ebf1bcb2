// The discovery pass: its three sources and their order, the switch that turns the driver off,
// the driver's buffer growth, and that no password reaches the trace or the event log.
#include <gtest/gtest.h>

#include <deque>

#include "HostTestSupport.h"
#include "common/DataProtection.h"
#include "common/EncryptDecrypt.h"
#include "common/emulated/HostKeyDataProtection.h"
#include "credstore/CredentialVault.h"
#include "credstore/RegistryCredentialVault.h"
#include "discovery/ConfigurationKeys.h"
#include "DsmRecordBuilder.h"
#include "discovery/DsmRecordParser.h"
#include "discovery/VantorGroupFinder.h"
#include "platform/DsmDevice.h"
#include "platform/Registry.h"
#include "platform/ServiceAccount.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "platform/emulated/EmulatedServiceAccount.h"
#include "wincompat/WideString.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A driver that answers from a script: each answer is (status, bytes it claims to return);
// after the script the whole record, if it fits.
class FakeDsm final : public platform::DsmDevice {
 public:
  Bytes record;
  std::deque<std::pair<DWORD, DWORD>> script;
  std::vector<DWORD> bufferSizes;
  int opens = 0;
  DWORD openStatus = ERROR_SUCCESS;

  DWORD Open(const std::wstring& path, std::unique_ptr<platform::DsmDeviceHandle>& handle) override {
    ++opens;
    EXPECT_EQ(path, L"\\\\.\\Vdsm");
    if (openStatus != ERROR_SUCCESS) return openStatus;
    handle = std::make_unique<Handle>(*this);
    return ERROR_SUCCESS;
  }

 private:
  struct Handle final : platform::DsmDeviceHandle {
    explicit Handle(FakeDsm& owner) : dsm(owner) {}
    DWORD IoControl(DWORD code, BYTE* out, DWORD size, DWORD* returned) override {
      EXPECT_EQ(code, 0x222160u);
      dsm.bufferSizes.push_back(size);
      if (!dsm.script.empty()) {
        const auto [status, bytes] = dsm.script.front();
        dsm.script.pop_front();
        *returned = bytes;
        return status;
      }
      if (dsm.record.size() > size) {
        *returned = size;
        return ERROR_MORE_DATA;
      }
      std::copy(dsm.record.begin(), dsm.record.end(), out);
      *returned = static_cast<DWORD>(dsm.record.size());
      return ERROR_SUCCESS;
    }
    FakeDsm& dsm;
  };
};

class GroupFinderTest : public ::testing::Test {
 protected:
  GroupFinderTest()
      : mRegistry(std::make_unique<platform::EmulatedRegistry>()),
        mAccounts(std::make_unique<platform::EmulatedServiceAccount>()),
        mDsm(std::make_unique<FakeDsm>()),
        mProtection(std::make_unique<common::HostKeyDataProtection>(mFolder.path())),
        mVault(std::make_unique<credstore::RegistryCredentialVault>(
            std::make_unique<common::HostKeyDataProtection>(mFolder.path(), common::kMachineCredentialPurpose))) {
    SetString(L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName", L"ComputerName", L"SQLHOST");
    SetServiceUser(L".\\backup");
  }

  // The provider service's account as the emulated host keeps it; null: no such service.
  void SetServiceUser(const wchar_t* user) {
    const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider";
    platform::TheRegistry().DeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
    if (user) SetString(key, L"ObjectName", user);
  }
  FakeDsm& dsm() { return static_cast<FakeDsm&>(mDsm.get()); }

  void Set(const std::wstring& key, const wchar_t* name, DWORD type, const void* data, std::size_t size) {
    platform::RegKey handle;
    ASSERT_EQ(platform::TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), handle.out()), ERROR_SUCCESS);
    ASSERT_EQ(platform::TheRegistry().SetValueExW(handle.get(), name, type, static_cast<const BYTE*>(data),
                                                  static_cast<DWORD>(size)),
              ERROR_SUCCESS);
  }
  void SetString(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
    Set(key, name, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
  }
  void SetGroupMgmtIps(const std::wstring& ips) { SetString(discovery::kConfigurationKey, discovery::kGroupMgmtIps, ips); }
  // A profile as the configuration tooling writes it; a null password leaves the value out,
  // an empty one stores bytes that are no enciphered blob.
  void AddProfile(const std::wstring& name, const std::wstring& ip, const std::wstring& createdBy,
                  const std::wstring& user, const wchar_t* password) {
    const std::wstring key = discovery::kProfileListKey + L"\\" + name;
    SetString(key, discovery::kUserName, user);
    SetString(key, discovery::kGroupMgmtIP, ip);
    SetString(key, discovery::kCreatedBy, createdBy);
    if (!password) return;
    std::vector<unsigned char> blob{'n', 'o', 't', ' ', 'a', ' ', 'b', 'l', 'o', 'b'};
    if (*password) {
      ASSERT_EQ(EncryptDecrypt().EncryptBuffer(password, blob), static_cast<DWORD>(ERROR_SUCCESS));
    }
    Set(key, discovery::kPassword, REG_BINARY, blob.data(), blob.size());
  }

  hosttest::TempFolder mFolder;
  hosttest::TraceCapture mTrace;
  hosttest::EventCapture mEvents;
  hosttest::ScopedSeam<platform::Registry> mRegistry;
  hosttest::ScopedSeam<platform::ServiceAccount> mAccounts;
  hosttest::ScopedSeam<platform::DsmDevice> mDsm;
  hosttest::ScopedSeam<common::DataProtection> mProtection;
  hosttest::ScopedSeam<credstore::CredentialVault> mVault;
  VantorGroupFinder mFinder;
};

TEST_F(GroupFinderTest, SourcesMergeInOrderAndNoPasswordIsWrittenAnywhere) {
  SetGroupMgmtIps(L"10.0.0.1  10.0.0.2\t10.0.0.3 10.0.0.4 ");
  ASSERT_EQ(credstore::StoreArrayCredential("10.0.0.1", "alpha", "Pw-Alpha-9f3"), 0u);
  ASSERT_EQ(credstore::StoreArrayCredential("10.0.0.2", "beta", "Pw-Beta-41c"), 0u);
  // A store value of the wrong type: skipped with its line and event, the others still read.
  SetString(credstore::kCredentialsKey, L"10.0.0.4", L"admin:Pw-Plain");
  AddProfile(L"sql", L"10.0.0.2", L"SQLHOST\\backup", L"gamma", L"Pw-Gamma-77e");
  AddProfile(L"foreign", L"10.0.0.9", L"OTHERHOST\\backup", L"delta", L"Pw-Delta-0aa");
  AddProfile(L"nopassword", L"10.0.0.8", L".\\backup", L"epsilon", nullptr);
  AddProfile(L"garbled", L"10.0.0.7", L".\\backup", L"zeta", L"");
  dsm().record = testsupport::BuildDsmRecord({{"serial-a", "10.0.0.1", 8},
                                            {"serial-b", "10.0.0.5", 8},
                                            {"serial-c", "", 0},
                                            {"serial-d", "10.0.0.5", 8}});

  const auto credential = [](const char* user, const char* password) {
    return GroupCredential(user, common::ProtectedSecret::Protect(password));
  };
  GroupCredentialMap groups{{"stale", credential("x", "y")}};
  mFinder.DiscoverGroups(groups);

  const GroupCredentialMap expected{{"10.0.0.1", credential("alpha", "Pw-Alpha-9f3")},
                                    {"10.0.0.2", credential("gamma", "Pw-Gamma-77e")},
                                    {"10.0.0.5", {}}};
  EXPECT_EQ(groups, expected);
  EXPECT_EQ(mFinder.GetGroupMgmtIpForSerial("serial-b"), "10.0.0.5");
  EXPECT_EQ(mFinder.GetGroupMgmtIpForSerial("serial-c"), "");
  EXPECT_EQ(mFinder.GetGroupMgmtIpForSerial("serial-z"), "");

  const auto unreadable = mEvents.WithId(4380);
  ASSERT_EQ(unreadable.size(), 2u);
  EXPECT_EQ(unreadable[0].strings.at(0), L"10.0.0.3");
  EXPECT_EQ(unreadable[1].strings.at(0), L"10.0.0.4");
  for (const auto& event : unreadable) EXPECT_EQ(event.type, EVENTLOG_ERROR_TYPE);
  EXPECT_TRUE(mEvents.WithId(4390).empty());

  struct Line {
    const char* text;
    const char* level;
  };
  const Line lines[] = {
      {"Successfully Retreived Array Credentials for GroupMgmt IP 10.0.0.1", "INFO"},
      {"Unable able to read Group Management Credentials for array IP 10.0.0.3", "ERROR"},
      {"The stored credential of array IP 10.0.0.4 is unusable: the value is of registry type 1", "ERROR"},
      {"ReadGroupIPCredentialsFromRegistry found profile = sql for GroupMgmtIP = 10.0.0.2 for Windows User = "
       "SQLHOST\\backup",
       "INFO"},
      {"Could not match any profile for GroupMgmtIP = 10.0.0.9 with profile Windows User = OTHERHOST\\backup, VSS "
       "Service User = .\\backup",
       "INFO"},
      {"Failed to Reterieve password information for the profileName : nopassword", "ERROR"},
      {"Error finding credentials for profile = nopassword", "ERROR"},
      {"DecryptBuffer failed to decrypt user name with error", "ERROR"},
      {"Error finding credentials for profile = garbled", "ERROR"},
      {"Vantor VSS Hardware Provider is running as Windows user=.\\backup", "INFO"},
      {"SCSI command output for volume Serial Number serial-b is: 10.0.0.5", "INFO"},
      {"Array did not return IP address (is the array version less than 2.2?) in response to page 0xD5 inquiry for "
       "serial Number:serial-c",
       "INFO"},
  };
  for (const Line& line : lines) {
    EXPECT_EQ(mTrace.LevelsOf(line.text), std::vector<std::string>{line.level}) << line.text;
  }

  std::string eventText;
  for (const auto& record : mEvents.Records()) {
    for (const auto& s : record.strings) eventText += wincompat::ToNarrow(s) + "\n";
  }
  const std::string trace = mTrace.Text();
  for (const char* secret : {"Pw-Alpha", "Pw-Beta", "Pw-Gamma", "Pw-Delta"}) {
    EXPECT_EQ(trace.find(secret), std::string::npos) << secret;
    EXPECT_EQ(eventText.find(secret), std::string::npos) << secret;
  }
}

TEST_F(GroupFinderTest, ServiceAccountDecidesWhetherProfilesAreRead) {
  AddProfile(L"sql", L"10.0.0.2", L"NT AUTHORITY\\SYSTEM", L"gamma", L"Pw-Gamma-77e");
  // A local-system service has no profiles of its own, even one that names SYSTEM; a missing
  // service reads none; another account reads only its own.
  for (const wchar_t* user : {L"LocalSystem", static_cast<const wchar_t*>(nullptr), L"NT AUTHORITY\\NetworkService"}) {
    SetServiceUser(user);
    GroupCredentialMap groups;
    mFinder.DiscoverGroups(groups);
    EXPECT_EQ(groups.count("10.0.0.2"), 0u) << (user ? testing::PrintToString(std::wstring(user)) : "no service");
  }
  EXPECT_EQ(mTrace.LevelsOf("GetWindowsServiceUser for Vantor VSS Hardware Provider failed. Error 1060"),
            std::vector<std::string>{"ERROR"});
  EXPECT_EQ(mTrace.Count("found profile ="), 0u);
  EXPECT_EQ(mTrace.Count("Could not match any profile for GroupMgmtIP = 10.0.0.2"), 1u) << "read for NetworkService only";
}

TEST_F(GroupFinderTest, NoConfiguredGroupIsReportedAndTheOtherSourcesStillRun) {
  dsm().record = testsupport::BuildDsmRecord({{"serial-b", "10.0.0.5", 8}});
  GroupCredentialMap groups;
  mFinder.DiscoverGroups(groups);
  EXPECT_EQ(groups, (GroupCredentialMap{{"10.0.0.5", {}}}));
  using Levels = std::vector<std::string>;
  EXPECT_EQ(mTrace.LevelsOf("Group management IPs not found in registry. Error 2"), Levels{"INFO"});
  EXPECT_EQ(mTrace.LevelsOf("No Group Mgmt Array is Configured on this Host."), Levels{"ERROR"});
  // No profile list is the usual case, not an error.
  EXPECT_EQ(mTrace.LevelsOf("Error opening key SOFTWARE\\Vantor Storage\\Configuration\\GrpMgmtProfileList with error "
                            "code = 2"),
            Levels{"INFO"});
  SetGroupMgmtIps(L"");
  mFinder.DiscoverGroups(groups);
  const auto noGroup = mEvents.WithId(4390);
  ASSERT_EQ(noGroup.size(), 2u);
  for (const auto& event : noGroup) EXPECT_EQ(event.type, EVENTLOG_ERROR_TYPE);
}

TEST_F(GroupFinderTest, TheDriverIsAskedUnlessDiscoveryIsSwitchedOffWithExactlyOne) {
  SetGroupMgmtIps(L"10.0.0.1");
  ASSERT_EQ(credstore::StoreArrayCredential("10.0.0.1", "alpha", "Pw-Alpha-9f3"), 0u);
  dsm().record = testsupport::BuildDsmRecord({{"serial-b", "10.0.0.5", 8}});
  struct Case {
    DWORD value;
    bool asked;
  };
  for (const Case c : {Case{1, false}, Case{2, true}, Case{0, true}}) {
    Set(discovery::kConfigurationKey, discovery::kDisableAutomaticGroupDiscovery, REG_DWORD, &c.value, 4);
    dsm().opens = 0;
    GroupCredentialMap groups;
    mFinder.DiscoverGroups(groups);
    EXPECT_EQ(dsm().opens, c.asked ? 1 : 0) << c.value;
    EXPECT_EQ(groups.count("10.0.0.5"), c.asked ? 1u : 0u) << c.value;
    EXPECT_EQ(groups.count("10.0.0.1"), 1u) << "the registry sources still run";
  }
  EXPECT_EQ(mTrace.LevelsOf("Vantor group discovery through VDSM has been disabled."), std::vector<std::string>{"INFO"});
}

TEST_F(GroupFinderTest, DriverBufferGrowsByWhatTheDriverReturnedAndIsBounded) {
  dsm().record = testsupport::BuildDsmRecord({{"serial-b", "10.0.0.5", 8}});
  dsm().script = {{ERROR_MORE_DATA, 0}, {ERROR_MORE_DATA, 20000}};
  EXPECT_EQ(mFinder.QueryDsmGroupManagementIPs(), 0u);
  EXPECT_EQ(dsm().bufferSizes, (std::vector<DWORD>{16384, 2048, 22048}));
  EXPECT_EQ(mFinder.GetGroupMgmtIpForSerial("serial-b"), "10.0.0.5");

  // A driver that never stops asking for more is given up on.
  dsm().bufferSizes.clear();
  for (int i = 0; i < 1000; ++i) dsm().script.push_back({ERROR_MORE_DATA, 0});
  GroupCredentialMap groups;
  mFinder.DiscoverGroups(groups);
  EXPECT_EQ(dsm().bufferSizes.size(), 64u);
  EXPECT_EQ(mTrace.LevelsOf("VDSM query to get management IPs failed. Error 234"), std::vector<std::string>{"ERROR"});

  // Other errors end the query at once; an empty answer is no error.
  dsm().script = {{ERROR_GEN_FAILURE, 0}};
  EXPECT_EQ(mFinder.QueryDsmGroupManagementIPs(), static_cast<DWORD>(ERROR_GEN_FAILURE));
  EXPECT_EQ(mTrace.LevelsOf("GetVantorDsmGroupManagementIPInfo failed with Win32 error:31  buffer size:16384"),
            std::vector<std::string>{"ERROR"});
  dsm().script = {{ERROR_SUCCESS, 0}};
  EXPECT_EQ(mFinder.QueryDsmGroupManagementIPs(), 0u);
  EXPECT_EQ(mTrace.LevelsOf("There are no volumes connected through VantorDsm"), std::vector<std::string>{"INFO"});
  dsm().openStatus = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(mFinder.QueryDsmGroupManagementIPs(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(mTrace.LevelsOf("Error 2 while opening Vantor DSM device. Make sure that VantorDsm installed."),
            std::vector<std::string>{"ERROR"});
}

TEST_F(GroupFinderTest, AnIncompatibleOrBrokenRecordAddsNothingPastTheFault) {
  dsm().record = testsupport::BuildDsmRecord({{"serial-b", "10.0.0.5", 8}}, 2);
  GroupCredentialMap groups;
  mFinder.DiscoverGroups(groups);
  EXPECT_TRUE(groups.empty());
  EXPECT_EQ(mTrace.LevelsOf("Failed with a different structure version=2, expected =1."),
            std::vector<std::string>{"ERROR"});
  EXPECT_EQ(mTrace.Count("VDSM query to get management IPs failed"), 0u);

  Bytes broken = testsupport::BuildDsmRecord({{"serial-a", "10.0.0.1", 8}, {"serial-b", "10.0.0.5", 8}});
  broken[1] = 5;
  dsm().record = broken;
  mFinder.DiscoverGroups(groups);
  EXPECT_EQ(groups, (GroupCredentialMap{{"10.0.0.1", {}}, {"10.0.0.5", {}}}));
  EXPECT_TRUE(mTrace.Contains("is malformed (entry count larger than the entries in the record) at entry 2"))
      << mTrace.LinesWith("malformed");
}

}  // namespace
