// The snapshot sets the provider gave up after asking groups to create them, and the sweep that
// removes what an array made of them after the abort had searched. Nothing here decides a
// shadow copy: a failure is traced (and the journal's own failures reported) and passed over.
#include <algorithm>

#include "array/VaVssArrayWrapper.h"
#include "logger/FileLog.h"
#include "provider/ProviderCall.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

// The create of a group whose LUN records got no snapshot was not answered in full: the array
// may still make (or have made) snapshots of the set that nobody knows of.
bool CreateUnanswered(const VaSnapshotGroup& group) {
  return group.mCreateRequested &&
         std::any_of(group.mSnapshots.begin(), group.mSnapshots.end(),
                     [](const std::shared_ptr<VaSnapshotInfo>& info) { return info && info->mSnapshotId.empty(); });
}
}  // namespace

void CVaVssHwProvider::UseRestoreSettings(provider::RestoreSettings settings) {
  const auto lock = LockObject();
  mRestoreSettings = std::move(settings);
}

void CVaVssHwProvider::UseJournalSettings(provider::JournalSettings settings) {
  const auto lock = LockObject();
  mJournalSettings = settings;
}

void CVaVssHwProvider::JournalAbandonedSet(const VaSnapshotSetInfo& set, bool everyAskedGroup) {
  provider::GuardedCall(L"CVaVssHwProvider::JournalAbandonedSet", [&] {
    std::vector<std::string> groupUids;
    for (const auto& group : set.mGroups) {
      if (!group || !group->mArray) continue;
      if (CreateUnanswered(*group) || (everyAskedGroup && group->mCreateRequested))
        groupUids.push_back(group->mArray->GetGroupUid());
    }
    if (!groupUids.empty()) provider::RecordAbandonedSet(set.mSnapshotSetId, groupUids, provider::JournalNow());
    return S_OK;
  });
}

void CVaVssHwProvider::SweepAbandonedSets(const VaSnapshotSetInfo& set) {
  provider::GuardedCall(L"CVaVssHwProvider::SweepAbandonedSets", [&] {
    const auto entries = provider::ReadAbandonedSets();
    if (!entries) return S_OK;
    const std::int64_t now = provider::JournalNow();
    for (const auto& entry : *entries) {
      const std::int64_t age = now - entry.givenUpAt;
      if (age >= mJournalSettings.maxAge.count()) {
        VA_LOG(MSG_WARNING, L"Journal entry '%S' of an abandoned snapshot set is %lld days old and was never swept; removed",
               entry.valueName, static_cast<long long>(age / 86400));
        provider::RemoveAbandonedSet(entry.valueName);
        continue;
      }
      if (entry.malformed) continue;  // traced when read; it stays until it is that old
      const auto group = std::find_if(set.mGroups.begin(), set.mGroups.end(), [&](const auto& g) {
        return g && g->mArray && g->mArray->GetGroupUid() == entry.groupUid;
      });
      if (group == set.mGroups.end()) {
        if (mArrays.count(entry.groupUid) == 0)
          VA_LOG(MSG_INFO, L"Abandoned snapshot set %S names group %S, which this host does not reach now; kept",
                 entry.setId, entry.groupUid);
        continue;
      }
      GUID setId{};
      wincompat::GuidFromString(entry.setId, setId);
      VaVssArrayWrapper& array = *(*group)->mArray;
      std::vector<Vantor::SnapshotRecord> left;
      if (FAILED(array.FindSnapshotsOfSet(setId, left))) {
        VA_LOG(MSG_WARNING, L"Could not search group %S for snapshots of abandoned set %S; tried again next time",
               array.GetGroupAddress(), entry.setId);
        continue;
      }
      for (const auto& snapshot : left) {
        VA_LOG(MSG_INFO, L"Removing snapshot %S of abandoned set %S from group %S", snapshot.mName, entry.setId,
               array.GetGroupAddress());
        RemoveSnapshot(array, snapshot.mId, snapshot.mName, snapshot.mVolName);
      }
      // Only a search made once the array must have finished with the create can tell that
      // nothing more will come.
      if (left.empty() && age >= mJournalSettings.margin.count()) {
        VA_LOG(MSG_INFO, L"No snapshot of abandoned set %S is left on group %S; its journal entry is removed",
               entry.setId, array.GetGroupAddress());
        provider::RemoveAbandonedSet(entry.valueName);
      }
    }
    return S_OK;
  });
}
