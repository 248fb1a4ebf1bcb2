// AbortSnapshots against scripted groups: every snapshot of the set goes, also those that no
// LUN record names, and a delete that fails is tried again but still vetoes.
#include <filesystem>

#include "ProviderHarness.h"
#include "messages/VantorVssMessages.h"
#include "provider/AbandonedSets.h"

namespace {
using ProviderAbort = ProviderHarness;
}  // namespace

// A delete that fails is tried again after the search for the set's snapshots, and the abort
// vetoes (so does one whose delete failed once: the fault matrix's abort cells); the set ends.
TEST_F(ProviderAbort, DeleteThatKeepsFailingIsTriedTwiceAndTheSetEndsWithAVeto) {
  VSS_ID set{};
  ASSERT_EQ(Commit(set, {"bbb1"}), S_OK);
  ForgetOperations();
  groupB_->failDelete = true;
  EXPECT_EQ(provider_->AbortSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(groupB_->operations, (Operations{"offline:snap-of-bbb1", "delete:snap-of-bbb1", "find-set",
                                             "offline:snap-of-bbb1", "delete:snap-of-bbb1"}));
  EXPECT_EQ(groupB_->onArray.size(), 1u);
  EXPECT_EQ(provider_->SnapshotSetCount(), 0u);
}

// A set VSS never began: its abort and the other steps with work veto with their events, those
// without answer S_OK. A set that failed before its commit holds nothing: its abort succeeds
// and searches no group. (What a group whose create failed may hold is found by searching it,
// and a group that cannot be searched vetoes the abort: the fault matrix's create and abort cells.)
TEST_F(ProviderAbort, UnknownSetVetoesAndOneThatFailedBeforeItsCommitSearchesNoGroup) {
  const VSS_ID unknown = wincompat::NewGuid();
  EXPECT_EQ(provider_->AbortSnapshots(unknown), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(EventCount(4230), 1);
  EXPECT_EQ(EventCount(4090), 1);
  EXPECT_EQ(provider_->EndPrepareSnapshots(unknown), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->CommitSnapshots(unknown), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->PostFinalCommitSnapshots(unknown), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(EventCount(4090), 4);
  EXPECT_EQ(provider_->PreCommitSnapshots(unknown), S_OK);
  EXPECT_EQ(provider_->PostCommitSnapshots(unknown, 0), S_OK);

  const VSS_ID set = Prepare({"zzz9"});
  ASSERT_EQ(provider_->EndPrepareSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(set), S_OK);
  EXPECT_TRUE(groupA_->operations.empty());
  EXPECT_TRUE(groupB_->operations.empty());
}

namespace {
std::vector<std::string> JournalNames() {
  std::vector<std::string> names;
  for (const auto& entry : provider::ReadAbandonedSets().value_or(std::vector<provider::AbandonedSet>{}))
    names.push_back(entry.valueName);
  return names;
}
}  // namespace

TEST_F(ProviderAbort, LateSnapshotsOfAGivenUpSetAreSweptWhenItsGroupIsNextPrepared) {
  groupB_->failCreate = true;  // group B never answers; group A does
  VSS_ID given{};
  EXPECT_EQ(Commit(given, {"aaa1", "bbb1"}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(given), S_OK);
  EXPECT_EQ(JournalNames(), std::vector<std::string>{wincompat::GuidToString(given) + " uid-b"});

  // A set on group A alone does not touch group B; the next one on group B searches it first
  // (what the search finds goes: the fault matrix's and the end-to-end late creates, across a
  // restart). The entry stays until a search made after the margin finds nothing.
  groupB_->failCreate = false;
  ForgetOperations();
  VSS_ID next{};
  ASSERT_EQ(Commit(next, {"aaa2"}), S_OK);
  EXPECT_TRUE(groupB_->operations.empty());
  ASSERT_EQ(Commit(next, {"bbb1"}), S_OK);
  EXPECT_EQ(groupB_->operations, (Operations{"find-set", "create:1"}));
  EXPECT_EQ(JournalNames().size(), 1u);  // found nothing, but too soon to be sure
  provider_->UseJournalSettings({std::chrono::seconds(0), std::chrono::hours(1)});
  ASSERT_EQ(Commit(next, {"bbb1"}), S_OK);
  EXPECT_TRUE(JournalNames().empty());

  // A journal that cannot be written costs a trace line and an event, never the shadow copy.
  static_cast<platform::EmulatedRegistry&>(registry_.get())
      .PersistTo(std::filesystem::path("no-such-directory-for-the-journal-test") / "registry.reg");
  groupB_->failCreate = true;
  EXPECT_EQ(Commit(given, {"bbb1"}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(given), S_OK);
  EXPECT_EQ(events_.WithId(VA_MSG_ABANDONED_SETS_UNAVAILABLE).size(), 2u);  // the veto and the abort
  groupB_->failCreate = false;
  EXPECT_EQ(Commit(next, {"bbb1"}), S_OK);
}

TEST_F(ProviderAbort, MalformedEntriesAndUnknownGroupsAreKeptUntilTheyAgeOut) {
  const std::string set = wincompat::GuidToString(wincompat::NewGuid());
  const std::string now = std::to_string(provider::JournalNow());
  const std::string longAgo = std::to_string(provider::JournalNow() - 7200);
  ASSERT_FALSE(static_cast<platform::EmulatedRegistry&>(registry_.get())
                   .LoadText("Windows Registry Editor Version 5.00\r\n\r\n"
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\AbandonedSets]\r\n"
                             "\"not a set\"=\"" + now + "\"\r\n\"" + set + " uid-gone\"=\"" + now + "\"\r\n"
                             "\"" + set + " uid-b\"=\"yesterday\"\r\n"  // no time: as old as can be
                             "\"" + set + " uid-gone-long-ago\"=\"" + longAgo + "\"\r\n")
                   .has_value());
  provider_->UseJournalSettings({std::chrono::seconds(0), std::chrono::hours(1)});
  VSS_ID next{};
  ASSERT_EQ(Commit(next, {"bbb1"}), S_OK);
  EXPECT_EQ(JournalNames(), (std::vector<std::string>{"not a set", set + " uid-gone"}));
  EXPECT_TRUE(trace_.Contains("names group uid-gone, which this host does not reach now; kept"));
  EXPECT_TRUE(trace_.Contains("The journal entry 'not a set' of an abandoned snapshot set is malformed; skipped"));
  EXPECT_EQ(groupB_->operations, (Operations{"create:1"}));  // nothing malformed was searched for
}
