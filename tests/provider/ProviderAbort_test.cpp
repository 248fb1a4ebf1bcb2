// AbortSnapshots against scripted groups: every snapshot of the set goes, also those that no
// LUN record names, and a delete that fails is tried again but still vetoes.
#include <filesystem>

#include "ProviderHarness.h"
#include "messages/VantorVssMessages.h"
#include "provider/AbandonedSets.h"
#include "wincompat/WideString.h"

namespace {
using ProviderAbort = ProviderHarness;
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

// What a group whose create failed may hold is found by searching it (the fault matrix's lost
// and late creates); a group that cannot be searched vetoes the abort.
TEST_F(ProviderAbort, GroupThatCannotBeSearchedVetoesAndOneNeverAskedToCreateIsNotSearched) {
  VSS_ID set{};
  groupB_->failCreate = true;
  groupB_->failFind = true;
  EXPECT_EQ(Commit(set, {"bbb1"}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(set), VSS_E_PROVIDER_VETO);
  EXPECT_TRUE(trace_.Contains("** Could not search group 127.2.0.1 for snapshots of the set"));

  // A group never asked to create is not searched: the set failed before its commit.
  ForgetOperations();
  set = Prepare({"zzz9"});
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

void WriteJournalEntry(const std::string& name, const std::string& time) {
  platform::RegKey key;
  ASSERT_EQ(platform::TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\AbandonedSets", key.out()),
            ERROR_SUCCESS);
  const std::wstring value = wincompat::ToWide(time);
  ASSERT_EQ(platform::TheRegistry().SetValueExW(key.get(), wincompat::ToWide(name).c_str(), REG_SZ,
                                                reinterpret_cast<const BYTE*>(value.c_str()),
                                                static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
}
}  // namespace

TEST_F(ProviderAbort, LateSnapshotsOfAGivenUpSetAreSweptWhenItsGroupIsNextPrepared) {
  groupB_->failCreate = true;  // group B never answers; group A does
  VSS_ID given{};
  EXPECT_EQ(Commit(given, {"aaa1", "bbb1"}), VSS_E_PROVIDER_VETO);
  EXPECT_EQ(provider_->AbortSnapshots(given), S_OK);
  const std::string setText = wincompat::GuidToString(given);
  EXPECT_EQ(JournalNames(), std::vector<std::string>{setText + " uid-b"});

  // Group B finishes the create after the abort searched it, and the service restarts.
  Vantor::SnapshotRecord late;
  late.mId = "late-b1";
  late.mName = setText;
  late.mVolName = "vol-b1";
  groupB_->onArray.push_back(late);
  groupB_->setOf[late.mId] = setText;
  groupB_->failCreate = false;
  provider_ = NewProvider();
  hw_ = provider_.get();

  // A set on group A alone does not touch group B; the next one on group B sweeps it. The entry
  // stays until a search made after the margin finds nothing.
  ForgetOperations();
  VSS_ID next{};
  ASSERT_EQ(Commit(next, {"aaa2"}), S_OK);
  EXPECT_TRUE(groupB_->operations.empty());
  ASSERT_EQ(Commit(next, {"bbb1"}), S_OK);
  EXPECT_EQ(groupB_->operations, (Operations{"find-set", "offline:late-b1", "delete:late-b1", "create:1"}));
  ASSERT_EQ(Commit(next, {"bbb1"}), S_OK);  // finds nothing, but too soon to be sure
  EXPECT_EQ(JournalNames().size(), 1u);
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
  const std::int64_t now = provider::JournalNow();
  const std::string set = wincompat::GuidToString(wincompat::NewGuid());
  WriteJournalEntry("not a set", std::to_string(now));
  WriteJournalEntry(set + " uid-gone", std::to_string(now));
  WriteJournalEntry(set + " uid-b", "yesterday");          // no time: as old as can be
  WriteJournalEntry(set + " uid-gone-long-ago", std::to_string(now - 7200));
  provider_->UseJournalSettings({std::chrono::seconds(0), std::chrono::hours(1)});
  VSS_ID next{};
  ASSERT_EQ(Commit(next, {"bbb1"}), S_OK);
  EXPECT_EQ(JournalNames(), (std::vector<std::string>{"not a set", set + " uid-gone"}));
  EXPECT_TRUE(trace_.Contains("names group uid-gone, which this host does not reach now; kept"));
  EXPECT_TRUE(trace_.Contains("The journal entry 'not a set' of an abandoned snapshot set is malformed; skipped"));
  EXPECT_EQ(groupB_->operations, (Operations{"create:1"}));  // nothing malformed was searched for
}
