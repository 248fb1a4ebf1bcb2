// The provider's operations against scripted array groups: what it asks of each group, in what
// order, and what it answers VSS.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>

#include "ProviderHarness.h"
#include "platform/StorageDeviceDescriptors.h"
#include "platform/StorageDevices.h"
#include "provider/LunInformation.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

namespace {

constexpr const wchar_t* kLogSource = L"ProviderOperationsTest";

// What AreLunsSupported answers for `luns`.
bool Supported(IVssHardwareSnapshotProviderEx& hw, Luns luns, LONG count = 1) {
  WINBOOL supported = FALSE;
  EXPECT_EQ(hw.AreLunsSupported(count, 0, nullptr, luns.data(), &supported), S_OK);
  return supported != FALSE;
}

using ProviderOperationsTest = ProviderHarness;

}  // namespace

TEST_F(ProviderOperationsTest, FirstUnsupportedLunEndsTheCheckAndOnlyExactVendorAndProductCount) {
  EXPECT_FALSE(Supported(*hw_, {{"Vantor", "Server", "aaa1"}, {"Vantor ", "Server", "aaa2"}, {"Vantor", "Server", "bbb1"}}, 3));
  EXPECT_EQ(EventCount(4190), 1);  // the third LUN was never examined
  EXPECT_FALSE(Supported(*hw_, {{"vantor", "Server", "aaa1"}}));
  EXPECT_FALSE(provider::IsArrayLun(VDS_LUN_INFORMATION{}));  // null strings never match
}

// The groups of a set are asked at the same time: each create waits (a while) for the other to
// arrive, which only a concurrent commit lets happen. Each group's trace lines stay together
// although the two creates run side by side, the commit returns only when both are over, and
// one group's failure vetoes the set and leaves every group's snapshots for the abort. A LUN
// named twice is recorded once, and each group gets one create for all its LUNs.
TEST_F(ProviderOperationsTest, CommitAsksEveryGroupAtOnceAndAnyFailureVetoes) {
  for (const bool failB : {false, true}) {
    SCOPED_TRACE(failB ? "group B fails" : "both succeed");
    const hosttest::TraceCapture trace;
    std::atomic<int> arrived{0};
    std::atomic<int> met{0};
    for (FakeArray* group : {groupA_.get(), groupB_.get()}) {
      group->operations.clear();
      group->onArray.clear();  // the first round's set stays on the arrays
      group->duringCreate = [&, uid = group->GetGroupUid()] {
        VA_LOG(MSG_INFO, L"fake %S arrives", uid);
        ++arrived;
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (arrived.load() < 2 && std::chrono::steady_clock::now() < giveUp) std::this_thread::yield();
        met += arrived.load() == 2 ? 1 : 0;
        VA_LOG(MSG_INFO, L"fake %S leaves", uid);
      };
    }
    groupB_->createTakesMs = 50;  // B, on a worker, is still busy when A is done
    groupB_->failCreate = failB;
    const int committedBefore = EventCount(4260);
    const int recordedBefore = EventCount(4200);
    groupA_->messages.clear();
    const VSS_ID set = Prepare({"aaa2", "bbb1", "aaa1", "aaa1"});
    EXPECT_EQ(EventCount(4200) - recordedBefore, 3);
    ASSERT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
    EXPECT_EQ(provider_->CommitSnapshots(set), failB ? VSS_E_PROVIDER_VETO : S_OK);
    EXPECT_EQ(met.load(), 2);
    // Every LUN's context goes to its group's log, in serial order.
    EXPECT_EQ(groupA_->messages, (Operations{"LUN aaa1: Context=0x0. AutoRecovery=0, TxFRecovery=0, Transportable=0",
                                             "LUN aaa2: Context=0x0. AutoRecovery=0, TxFRecovery=0, Transportable=0"}));
    EXPECT_EQ(groupA_->operations, std::vector<std::string>{"create:2"});
    EXPECT_EQ(groupB_->operations, std::vector<std::string>{"create:1"});
    EXPECT_EQ(EventCount(4260) - committedBefore, failB ? 0 : 1);
    // The fakes' lines in trace order, by group: each group's two lines one after the other.
    std::vector<char> order;
    std::istringstream lines(trace.LinesWith("fake uid-"));
    for (std::string line; std::getline(lines, line);) order.push_back(line[line.find("fake uid-") + 9]);
    ASSERT_EQ(order.size(), 4u) << trace.LinesWith("fake uid-");
    EXPECT_TRUE(order[0] == order[1] && order[2] == order[3]) << trace.LinesWith("fake uid-");
    if (failB) {
      EXPECT_EQ(provider_->AbortSnapshots(set), S_OK);
      EXPECT_TRUE(groupA_->onArray.empty());
      EXPECT_TRUE(groupB_->onArray.empty());
    } else {
      const auto described = provider_->DescribeSnapshotSet(set);
      ASSERT_EQ(described.size(), 3u);
      EXPECT_EQ(described[0].snapshotSerial, "saaa1");
      EXPECT_EQ(described[2].snapshotSerial, "sbbb1");
      EXPECT_EQ(provider_->PostFinalCommitSnapshots(set), S_OK);
      EXPECT_EQ(provider_->SnapshotSetCount(), 0u);
    }
  }
}

// VSS calls one provider object from several threads. Each operation holds the object lock
// for its whole run, so the arrays see one request at a time and every set comes out whole.
TEST_F(ProviderOperationsTest, OperationsFromSeveralThreadsRunOneAtATime) {
  groupA_->createTakesMs = 20;
  groupB_->createTakesMs = 20;
  const std::vector<std::string> serials = {"aaa1", "aaa2", "bbb1", "aaa1", "aaa2", "bbb1"};
  std::vector<std::vector<HRESULT>> results(serials.size());
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < serials.size(); ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready.load() < static_cast<int>(serials.size())) std::this_thread::yield();
      const VSS_ID set = Prepare({serials[t]});
      std::vector<HRESULT>& hr = results[t];
      hr.push_back(provider_->EndPrepareSnapshots(set));
      hr.push_back(provider_->CommitSnapshots(set));
      // Half the sets are kept, half aborted (which deletes their snapshots).
      hr.push_back(t % 2 == 0 ? provider_->PostFinalCommitSnapshots(set) : provider_->AbortSnapshots(set));
    });
  }
  for (std::thread& thread : threads) thread.join();

  for (std::size_t t = 0; t < serials.size(); ++t)
    EXPECT_EQ(results[t], (std::vector<HRESULT>{S_OK, S_OK, S_OK})) << "thread " << t;
  EXPECT_EQ(groupA_->mostCreatesInFlight.load(), 1);
  EXPECT_EQ(groupB_->mostCreatesInFlight.load(), 1);
  EXPECT_EQ(groupA_->Count("create:1"), 4);
  EXPECT_EQ(groupB_->Count("create:1"), 2);
  // Each abort deletes its own snapshot at least (the fake groups cannot tell sets apart, so
  // an abort may also find those of kept sets made with the same name).
  EXPECT_GE(groupA_->Count("delete:") + groupB_->Count("delete:"), 3);
  EXPECT_EQ(EventCount(4200), 6);
  EXPECT_EQ(EventCount(4260), 6);
  EXPECT_EQ(provider_->SnapshotSetCount(), 0u);
}

// The protocol query keeps out a group that does not speak REST; one that could not be asked is
// still tried, since only older arrays answer the query at all. An older version vetoes.
TEST_F(ProviderOperationsTest, GroupWithoutRestOrSupportedVersionIsLeftOutAndOneThatCouldNotBeAskedIsKept) {
  restSupport_["127.1.0.1"] = provider::RestSupport::NotSupported;
  restSupport_["127.2.0.1"] = provider::RestSupport::CheckFailed;
  const VSS_ID onB = Prepare({"bbb1"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(onB), S_OK);
  EXPECT_EQ(provider_->CachedGroupUids(), std::vector<std::string>{"uid-b"});
  EXPECT_EQ(connects_, 1);

  const VSS_ID onA = Prepare({"aaa1"});
  EXPECT_EQ(provider_->EndPrepareSnapshots(onA), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(EventCount(4100), 1);
  EXPECT_TRUE(groupA_->lookups.empty());

  // Once the group answers that it speaks REST, it joins.
  restSupport_["127.1.0.1"] = provider::RestSupport::Supported;
  const VSS_ID again = Prepare({"aaa1"});
  EXPECT_EQ(provider_->EndPrepareSnapshots(again), S_OK);
  EXPECT_EQ(provider_->CachedGroupUids(), (std::vector<std::string>{"uid-a", "uid-b"}));
  // A group whose version is not supported vetoes. (A LUN on no group vetoes with events 4100
  // and 4400: end to end, on an array without REST.)
  groupA_->supported = false;
  EXPECT_EQ(provider_->EndPrepareSnapshots(Prepare({"aaa1"})), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(EventCount(4170), 1);
}

TEST_F(ProviderOperationsTest, TwoAddressesOfOneGroupShareOneWrapperAndPollingFindsLunsInCacheFirst) {
  discovered_["127.1.0.2"] = Vantor::LoginInfo();
  groupA_->PutEverythingInCache();
  const VSS_ID set = Prepare({"aaa1"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
  EXPECT_EQ(provider_->CachedGroupUids(), (std::vector<std::string>{"uid-a", "uid-b"}));
  EXPECT_EQ(connects_, 3);
  // The cache pass answered: no group was asked with deep discovery.
  EXPECT_EQ(groupA_->lookups, std::vector<std::string>{"cache:aaa1"});

  // A shrunken discovery drops the group that is gone.
  discovered_.erase("127.2.0.1");
  const VSS_ID again = Prepare({"aaa1"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(again), S_OK);
  EXPECT_EQ(provider_->CachedGroupUids(), std::vector<std::string>{"uid-a"});
}

TEST_F(ProviderOperationsTest, LocateLunsAnswersWithTheLastExposureAndStopsAtAnUnknownSnapshot) {
  groupA_->AddSnapshot("s1", "vss-1", "vol-a1");
  groupA_->AddSnapshot("s2", "vss-2", "vol-a2");
  groupA_->exposeResults = {E_FAIL, S_OK};
  EXPECT_EQ(hw_->LocateLuns(2, Luns{{"Vantor", "Server", "s1"}, {"Vantor", "Server", "s2"}}.data()), S_OK);
  EXPECT_EQ(EventCount(4280), 2);

  groupA_->operations.clear();
  EXPECT_EQ(hw_->LocateLuns(2, Luns{{"Vantor", "Server", "nope"}, {"Vantor", "Server", "s1"}}.data()), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(EventCount(4120), 1);
  EXPECT_TRUE(groupA_->operations.empty());  // the later LUN was not exposed
}

TEST_F(ProviderOperationsTest, LunThatTheDriverPlacesOnTheWrongGroupIsFoundByPolling) {
  driverMap_["aaa1"] = "127.2.0.1";  // group B, which does not hold it
  const VSS_ID set = Prepare({"aaa1"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
  ASSERT_EQ(provider_->CommitSnapshots(set), S_OK);
  EXPECT_EQ(groupA_->operations, std::vector<std::string>{"create:1"});
  EXPECT_TRUE(groupB_->operations.empty());
  EXPECT_EQ(groupB_->lookups.front(), "deep:aaa1");  // the driver's group was asked first
}

namespace {
// A storage stack with one disk whose identifier page is given.
class OneDiskStorage : public platform::StorageDevices {
 public:
  explicit OneDiskStorage(std::vector<std::uint8_t> page) : page_(std::move(page)) {}
  DWORD OpenDevice(const std::wstring& path, std::unique_ptr<platform::StorageDevice>& device) override {
    if (path != L"\\\\.\\PhysicalDrive1") return ERROR_FILE_NOT_FOUND;
    device = std::make_unique<Device>(page_);
    return ERROR_SUCCESS;
  }
  DWORD ListDisks(std::vector<platform::DiskInfo>& disks) override {
    disks.clear();
    return ERROR_SUCCESS;
  }

 private:
  struct Device : platform::StorageDevice {
    explicit Device(const std::vector<std::uint8_t>& bytes) : page(bytes) {}
    DWORD QueryDeviceIdProperty(BYTE* buffer, DWORD size, DWORD* returned) override {
      const auto n = std::min<std::size_t>(size, page.size());
      std::copy_n(page.begin(), n, buffer);
      *returned = static_cast<DWORD>(n);
      return ERROR_SUCCESS;
    }
    std::vector<std::uint8_t> page;
  };
  std::vector<std::uint8_t> page_;
};
}  // namespace

TEST_F(ProviderOperationsTest, FillInLunInfoGivesTheDevicesDesignatorsAndRecognisesSnapshotsItNeverLocated) {
  std::vector<std::uint8_t> eui(16);
  for (std::size_t i = 0; i < eui.size(); ++i) eui[i] = static_cast<std::uint8_t>(i * 0x11);  // 00 11 .. FF
  const std::vector<std::uint8_t> vendorId(40, 'V');
  auto previous = platform::StorageDevicesSlot::Install(std::make_unique<OneDiskStorage>(platform::BuildStorageDeviceIdDescriptor(
      {{platform::StorageIdCodeSetAscii, platform::StorageIdTypeVendorId, platform::StorageIdAssocDevice, vendorId},
       {platform::StorageIdCodeSetBinary, platform::StorageIdTypeEUI64, platform::StorageIdAssocDevice, eui}})));

  const auto described = [](provider::OwnedLunInformation& lun, const char* serial) {
    return provider::BuildLunInformation(
        lun.get(), "Vantor", "Server", "1.0", serial,
        {{VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId, std::vector<std::uint8_t>(40, 'x')},
         {VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64, std::vector<std::uint8_t>(16, 0)}});
  };
  provider::OwnedLunInformation lun;
  ASSERT_TRUE(described(lun, "aaa1"));
  lun.get().m_diskSignature = wincompat::NewGuid();
  std::wstring device = L"\\\\.\\PhysicalDrive1";
  WINBOOL supported = FALSE;
  ASSERT_EQ(hw_->FillInLunInfo(device.data(), &lun.get(), &supported), S_OK);
  ASSERT_TRUE(supported);
  EXPECT_TRUE(lun.get().m_diskSignature == GUID{});
  const VDS_STORAGE_IDENTIFIER* ids = lun.get().m_deviceIdDescriptor.m_rgIdentifiers;
  ASSERT_EQ(ids[0].m_cbIdentifier, 56u);
  EXPECT_EQ(std::vector<std::uint8_t>(ids[0].m_rgbIdentifier, ids[0].m_rgbIdentifier + 40), vendorId);
  EXPECT_EQ(std::vector<std::uint8_t>(ids[0].m_rgbIdentifier + 40, ids[0].m_rgbIdentifier + 56),
            std::vector<std::uint8_t>(16, 0));
  const std::vector<std::uint8_t> expectedEui = {0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 0x00,
                                                 0xFF, 0xEE, 0xDD, 0xCC, 0xBB, 0xAA, 0x99, 0x88};
  ASSERT_EQ(ids[1].m_cbIdentifier, 16u);
  EXPECT_EQ(std::vector<std::uint8_t>(ids[1].m_rgbIdentifier, ids[1].m_rgbIdentifier + 16), expectedEui);
  EXPECT_EQ(ids[1].m_Type, VDSStorageIdTypeEUI64);

  // A description with three identifiers is refused, whatever the device says.
  provider::OwnedLunInformation three;
  ASSERT_TRUE(provider::BuildLunInformation(three.get(), "Vantor", "Server", "1.0", "aaa1",
                                            {{VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId, {1}},
                                             {VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64, {2}},
                                             {VDSStorageIdCodeSetBinary, VDSStorageIdTypePortRelative, {3}}}));
  ASSERT_EQ(hw_->FillInLunInfo(device.data(), &three.get(), &supported), S_OK);
  EXPECT_FALSE(supported);

  // A snapshot is recognised and released (logged out, offline; it stays) by a provider that
  // never located it; a serial of no volume or snapshot is unsupported and its release vetoed.
  groupA_->AddSnapshot("s1", "vss-1", "vol-a1");
  for (const char* serial : {"s1", "zzz"}) {
    const bool known = serial == std::string("s1");
    provider::OwnedLunInformation snapshot;
    ASSERT_TRUE(described(snapshot, serial));
    groupA_->operations.clear();
    ASSERT_EQ(hw_->FillInLunInfo(device.data(), &snapshot.get(), &supported), S_OK);
    EXPECT_EQ(supported, known ? TRUE : FALSE) << serial;
    EXPECT_EQ(hw_->OnLunEmpty(device.data(), &snapshot.get()), known ? S_OK : VSS_E_PROVIDER_VETO) << serial;
    EXPECT_EQ(groupA_->operations, known ? (Operations{"unexpose:snap-s1", "offline:snap-s1"}) : Operations()) << serial;
  }
  EXPECT_EQ(hw_->OnLunEmpty(nullptr, nullptr), S_OK);
  EXPECT_TRUE(groupA_->operations.empty());
  platform::StorageDevicesSlot::Install(std::move(previous));
}

// A virtual disk is supported when a group backs it. A set with another LUN refreshes the
// arrays, though the disk was asked about before that LUN's group was configured; a set of
// virtual disks alone does not. VSS asks for each snapshot LUN by its source LUN,
// which a set knows by the serial VSS gave (a virtual disk's own): an unknown LUN vetoes, the
// others are answered all the same (their designators are checked end to end, on import).
TEST_F(ProviderOperationsTest, VirtualDisksAreGroupedByTheirBackingVolumeAndTargetLunsAnswerEachKnownLun) {
  groupB_->AddVirtualDisk("6000c29a", "vvv1", "vm-disk");
  discovered_.erase("127.1.0.1");
  ASSERT_TRUE(Supported(*hw_, {{"VMware", "Virtual disk", "6000c29a"}}));
  EXPECT_EQ(EventCount(4350), 1);
  EXPECT_FALSE(Supported(*hw_, {{"VMware", "Virtual disk", "unknown"}}));
  EXPECT_EQ(EventCount(4370), 1);
  discovered_["127.1.0.1"] = Vantor::LoginInfo("admin", "pw");

  const VSS_ID set = Prepare({"aaa1", "6000c29a"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
  ASSERT_EQ(provider_->CommitSnapshots(set), S_OK);
  EXPECT_EQ(EventCount(4100), 0);
  EXPECT_EQ(groupA_->operations, Operations{"create:1"});
  EXPECT_EQ(groupB_->operations, Operations{"create:1"});
  const auto described = provider_->DescribeSnapshotSet(set);
  ASSERT_EQ(described.size(), 2u);
  EXPECT_EQ(described[0].sourceSerial, "6000c29a");
  EXPECT_EQ(described[0].snapshotSerial, "svvv1");

  Luns sources{{"Vantor", "Server", "aaa1"}, {"Vantor", "Server", "nope"}, {"VMware", "Virtual disk", "6000c29a"}};
  std::vector<VDS_LUN_INFORMATION> targets(3);
  EXPECT_EQ(hw_->GetTargetLuns(3, nullptr, sources.data(), targets.data()), VSS_E_PROVIDER_VETO);
  std::vector<provider::OwnedLunInformation> answered(3);  // frees what the provider allocated
  for (std::size_t i = 0; i < targets.size(); ++i) answered[i].get() = targets[i];
  EXPECT_EQ(EventCount(4110), 1);
  EXPECT_STREQ(provider::LunString(answered[0].get().m_szSerialNumber), "saaa1");
  EXPECT_STREQ(provider::LunString(answered[0].get().m_szProductId), "Server");
  EXPECT_EQ(answered[1].get().m_szSerialNumber, nullptr);
  EXPECT_STREQ(provider::LunString(answered[2].get().m_szSerialNumber), "svvv1");
  EXPECT_STREQ(provider::LunString(answered[2].get().m_szVendorId), "VMware");
  EXPECT_EQ(answered[2].get().m_deviceIdDescriptor.m_cIdentifiers, 2u);

  // Each preparation forgets the disks asked about; asked again, a set of them alone is grouped
  // without a refresh.
  ASSERT_TRUE(Supported(*hw_, {{"VMware", "Virtual disk", "6000c29a"}}));
  const VSS_ID disks = Prepare({"6000c29a"});
  const int discoveriesBefore = discoveries_;
  ASSERT_EQ(provider_->EndPrepareSnapshots(disks), S_OK);
  EXPECT_EQ(discoveries_, discoveriesBefore);
}
