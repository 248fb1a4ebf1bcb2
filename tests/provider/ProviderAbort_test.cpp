// AbortSnapshots against scripted groups: every snapshot of the set goes, also those that no
// LUN record names, and a delete that fails is tried again but still vetoes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "ProviderHarness.h"
#include "messages/VantorVssMessages.h"

namespace {

using Operations = std::vector<std::string>;

class ProviderAbort : public ProviderHarness {
 protected:
  // A set over `serials` that got as far as the commit; returns the commit's answer.
  HRESULT Commit(VSS_ID& set, const std::vector<std::string>& serials) {
    set = Prepare(serials);
    EXPECT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
    return provider_->CommitSnapshots(set);
  }
  void ForgetOperations() {
    groupA_->operations.clear();
    groupB_->operations.clear();
  }

  hosttest::TraceCapture trace_;
};

}  // namespace

TEST_F(ProviderAbort, FailedDeleteIsTriedAgainAndStillVetoesWhileTheOtherSnapshotsGo) {
  VSS_ID set{};
  ASSERT_EQ(Commit(set, {"aaa1", "aaa2", "bbb1"}), S_OK);
  ForgetOperations();
  groupA_->deleteFailures = 1;  // the first delete fails, the array lets the second one work

  EXPECT_EQ(provider_->AbortSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(groupA_->operations,
            (Operations{"offline:snap-of-aaa1", "delete:snap-of-aaa1", "offline:snap-of-aaa2", "delete:snap-of-aaa2",
                        "find-set", "offline:snap-of-aaa1", "delete:snap-of-aaa1"}));
  EXPECT_EQ(groupB_->operations, (Operations{"offline:snap-of-bbb1", "delete:snap-of-bbb1", "find-set"}));
  EXPECT_TRUE(groupA_->onArray.empty());
  EXPECT_TRUE(groupB_->onArray.empty());
  EXPECT_EQ(trace_.Count("** Failed to delete snapshot  HRESULT 0x80004005 vol-a1 , vss-vol-a1"), 1u);
  EXPECT_TRUE(trace_.Contains("** AbortSnapshots, On Exit, hr 0x80042306"));
  EXPECT_EQ(EventCount(VA_MSG_ABORTING_SET), 1);
  EXPECT_EQ(provider_->SnapshotSetCount(), 0u);

  // A delete that keeps failing: every snapshot is still tried, twice, and the set ends anyway.
  ASSERT_EQ(Commit(set, {"bbb1"}), S_OK);
  ForgetOperations();
  groupB_->failDelete = true;
  EXPECT_EQ(provider_->AbortSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(groupB_->operations, (Operations{"offline:snap-of-bbb1", "delete:snap-of-bbb1", "find-set",
                                             "offline:snap-of-bbb1", "delete:snap-of-bbb1"}));
  EXPECT_EQ(groupB_->onArray.size(), 1u);
  EXPECT_EQ(provider_->SnapshotSetCount(), 0u);
}

TEST_F(ProviderAbort, SnapshotsThatNoRecordNamesAreFoundOnTheGroupsAskedToCreate) {
  // The second group made its snapshot, but its answer never came back.
  groupB_->failCreate = true;
  groupB_->madeButUnanswered = true;
  VSS_ID set{};
  EXPECT_EQ(Commit(set, {"aaa1", "bbb1"}), VSS_E_PROVIDER_VETO);
  ForgetOperations();
  EXPECT_EQ(provider_->AbortSnapshots(set), S_OK);
  EXPECT_EQ(groupA_->operations, (Operations{"offline:snap-of-aaa1", "delete:snap-of-aaa1", "find-set"}));
  EXPECT_EQ(groupB_->operations, (Operations{"find-set", "offline:snap-of-bbb1", "delete:snap-of-bbb1"}));
  EXPECT_TRUE(groupB_->onArray.empty());
  EXPECT_TRUE(trace_.Contains("Deleting snapshot vol-b1, vss-vol-b1"));

  // A group that cannot be searched may still hold some: the abort says so.
  groupB_->failFind = true;
  EXPECT_EQ(Commit(set, {"bbb1"}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_TRUE(trace_.Contains("** Could not search group 127.2.0.1 for snapshots of the set"));

  // A group never asked to create is not searched: the set failed before its commit.
  groupB_->onArray.clear();
  ForgetOperations();
  set = Prepare({"zzz9"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(set), S_OK);
  EXPECT_TRUE(groupA_->operations.empty());
  EXPECT_TRUE(groupB_->operations.empty());
}
