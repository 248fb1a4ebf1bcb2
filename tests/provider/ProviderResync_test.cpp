// ResyncLuns against scripted groups: one result per pair, a volume that always ends online
// whatever its offline, restore or online answered; and which volumes are this host's.
#include "ProviderHarness.h"
#include "messages/VantorVssMessages.h"
#include "provider/HostInitiators.h"

namespace {

class ProviderResync : public ProviderHarness {
 protected:
  // ResyncLuns over (snapshot serial, volume serial) pairs; the async object is released.
  HRESULT Resync(const std::vector<std::pair<std::string, std::string>>& pairs, const char* targetVendor = "Vantor") {
    std::vector<Luns::Spec> sources, targets;
    for (const auto& [snapshot, volume] : pairs) {
      sources.push_back({"Vantor", "Server", snapshot});
      targets.push_back({targetVendor, targetVendor == std::string("Vantor") ? "Server" : "Virtual disk", volume});
    }
    Luns sourceLuns(sources), targetLuns(targets);
    IVssAsync* async = nullptr;
    const HRESULT hr = hw_->ResyncLuns(sourceLuns.data(), targetLuns.data(), static_cast<DWORD>(pairs.size()), &async);
    asyncMade_ = async != nullptr;
    if (async != nullptr) async->Release();
    return hr;
  }
  bool asyncMade_ = false;
};

}  // namespace

TEST_F(ProviderResync, EveryPairHasItsOwnLineAndAVolumeNamedTwiceIsRestoredOnce) {
  // Both snapshots of one set carry the set's name.
  groupA_->AddSnapshot("sa1", "set-1", "vol-a1");
  groupA_->AddSnapshot("sa2", "set-1", "vol-a2");
  groupA_->AddSnapshot("sa1-older", "set-0", "vol-a1");
  groupA_->failRestore = true;  // every restore fails: only the first pair's is asked for
  EXPECT_EQ(Resync({{"sa1", "aaa1"}, {"sa2", "aaa2"}}), VSS_E_PROVIDER_VETO);
  EXPECT_TRUE(trace_.Contains("Snapshot Name :set-1 Target Vol Name: vol-a1 Restore Operation Result : FAILED"));
  EXPECT_TRUE(trace_.Contains("Snapshot Name :set-1 Target Vol Name: vol-a2 Restore Operation Result : FAILED"));
  EXPECT_TRUE(groupA_->offline.empty());  // both came back online

  groupA_->failRestore = false;
  ForgetOperations();
  EXPECT_EQ(Resync({{"sa1", "aaa1"}, {"sa1", "aaa1"}, {"sa1-older", "aaa1"}, {"sa2", "aaa2"}}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(groupA_->Count("offline-volume:vol-aaa1"), 1);
  EXPECT_EQ(groupA_->Count("restore:vol-aaa1<-snap-sa1"), 1);
  EXPECT_EQ(groupA_->Count("restore:vol-aaa1<-snap-sa1-older"), 0);
  EXPECT_EQ(trace_.Count("Snapshot Name :set-1 Target Vol Name: vol-a1 Restore Operation Result : SUCCESS"), 2u);
  EXPECT_TRUE(trace_.Contains("Snapshot Name :set-0 Target Vol Name: vol-a1 Restore Operation Result : FAILED"));
  EXPECT_TRUE(trace_.Contains("Snapshot Name :set-1 Target Vol Name: vol-a2 Restore Operation Result : SUCCESS"));

  // A pair across groups fails on its own; a virtual-disk target ends the call without an
  // async object; no pairs at all: a veto, an async object, no array traffic.
  groupB_->AddSnapshot("sb1", "set-b", "vol-b1");
  ForgetOperations();
  EXPECT_EQ(Resync({{"sb1", "aaa1"}}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(events_.WithId(VA_MSG_RESTORE_ACROSS_GROUPS).size(), 1u);
  EXPECT_EQ(Resync({{"sa1", "aaa1"}}, "VMware"), static_cast<HRESULT>(0x8004232Fu));
  EXPECT_FALSE(asyncMade_);
  EXPECT_EQ(Resync({}), VSS_E_PROVIDER_VETO);
  EXPECT_TRUE(asyncMade_);
  EXPECT_TRUE(groupA_->operations.empty());
  EXPECT_TRUE(groupB_->operations.empty());
}

TEST_F(ProviderResync, VolumeEndsOnlineWhateverTheOfflineRestoreOrOnlineAnswered) {
  struct Case {
    const char* name;
    HRESULT offlineAnswer;
    int offlineDoneAfterReads;  // -1: never carried out
    int onlineFailures;         // -1: the array refuses every online
    bool restoreSent;
    HRESULT result;
    bool onlineAtEnd;
    int onlinesSent;
  };
  const Case cases[] = {
      {"offline done", S_OK, 0, 0, true, S_OK, true, 1},
      {"online fails twice", S_OK, 0, 2, true, S_OK, true, 3},
      {"offline refused", E_FAIL, -1, 0, false, VSS_E_PROVIDER_VETO, true, 0},
      {"offline answer lost, carried out", VA_E_OUTCOME_UNKNOWN, 0, 0, false, VSS_E_PROVIDER_VETO, true, 1},
      // The array still carries it out after the provider saw the volume online: undone.
      {"offline answer lost, carried out late", VA_E_OUTCOME_UNKNOWN, 3, 0, false, VSS_E_PROVIDER_VETO, true, 1},
      {"online refused throughout", S_OK, 0, -1, true, VSS_E_PROVIDER_VETO, false, -1},
  };
  groupA_->AddSnapshot("sa1", "set-1", "vol-a1");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ForgetOperations();
    groupA_->offline.clear();
    groupA_->offlineAnswer = c.offlineAnswer;
    groupA_->offlineDoneAfterReads = c.offlineDoneAfterReads;
    groupA_->onlineFailures = c.onlineFailures;
    const std::size_t stranded = events_.WithId(VA_MSG_VOLUME_ONLINE_FAILED).size();
    EXPECT_EQ(Resync({{"sa1", "aaa1"}}), c.result);
    EXPECT_EQ(groupA_->Count("restore:vol-aaa1<-snap-sa1"), c.restoreSent ? 1 : 0);
    EXPECT_EQ(groupA_->offline.empty(), c.onlineAtEnd);
    if (c.onlinesSent >= 0) {
      EXPECT_EQ(groupA_->Count("online-volume:vol-aaa1"), c.onlinesSent);
    }
    EXPECT_EQ(events_.WithId(VA_MSG_VOLUME_ONLINE_FAILED).size() - stranded, c.onlineAtEnd ? 0u : 1u);
    // Logged in again unless the array refused the offline (and so ended no session).
    EXPECT_EQ(groupA_->operations.back() == "expose-volume:vol-aaa1", c.offlineAnswer != E_FAIL);
  }
  EXPECT_TRUE(trace_.Contains("Put volume vol-a1 online on group 127.1.0.1"));
  EXPECT_TRUE(trace_.Contains("Volume vol-a1 went offline after it was online again"));
}

TEST(HostInitiators, VolumeIsPresentedWhenAnAccessRecordNamesOneOfThisHostsInitiators) {
  Vantor::VolumeRecord volume;
  volume.mAccessInitiators = {"iqn.1991-05.com.microsoft:a", "21:00:00:24:FF:3D:D6:A1"};
  const struct {
    std::vector<std::string> mine;
    bool presented;
  } cases[] = {{{"IQN.1991-05.COM.MICROSOFT:A"}, true},
               {{"2100002fff3dd6a1", "21000024ff3dd6a1"}, true},
               {{"iqn.1991-05.com.microsoft:b", "2100002fff3dd6a1"}, false},
               {{}, false}};
  for (const auto& c : cases) EXPECT_EQ(provider::IsPresentedTo(volume, c.mine), c.presented) << c.mine.size();
}
