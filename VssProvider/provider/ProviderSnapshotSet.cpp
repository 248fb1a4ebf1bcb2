// The snapshot-set sequence: BeginPrepareSnapshot gathers LUNs, EndPrepareSnapshots places
// them on their arrays, CommitSnapshots has every group take its snapshots as one set, and
// PostFinalCommitSnapshots / AbortSnapshots end the set.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "array/SnapshotOwner.h"
#include "array/VaVssArrayWrapper.h"
#include "logger/EventReporter.h"
#include "messages/VantorVssMessages.h"
#include "provider/GroupCreate.h"
#include "provider/ProviderCall.h"
#include "provider/ProviderTexts.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/WideString.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

void ReportUnknownSet() { logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_UNEXPECTED_SNAPSHOT_SET); }

// VSS holds every write on the host while CommitSnapshots runs, for at most this long; then it
// gives the set up. An array that answers later must not keep the writes held, nor the object
// lock that every other VSS call waits on: each request of the commit ends by the window's end,
// less a margin for the veto to reach VSS.
constexpr auto kCommitWindow = std::chrono::seconds(10);
constexpr auto kCommitWindowMargin = std::chrono::seconds(1);

// Bounds the requests to the set's arrays by the commit window while it lives. Afterwards
// (AbortSnapshots above all) the arrays get their usual timeouts again.
class CommitWindow {
 public:
  CommitWindow(std::vector<std::shared_ptr<VaSnapshotGroup>> groups, std::chrono::steady_clock::time_point end)
      : mGroups(std::move(groups)), mEnd(end) {
    for (const auto& group : mGroups) group->mArray->SetExchangeDeadline(mEnd);
  }
  ~CommitWindow() {
    for (const auto& group : mGroups) {
      try {
        group->mArray->SetExchangeDeadline(std::nullopt);
      } catch (...) {
        // Nothing to undo: a wrapper that cannot take the setting keeps no deadline either.
      }
    }
  }
  CommitWindow(const CommitWindow&) = delete;
  CommitWindow& operator=(const CommitWindow&) = delete;
  bool Passed() const { return std::chrono::steady_clock::now() >= mEnd; }

 private:
  std::vector<std::shared_ptr<VaSnapshotGroup>> mGroups;
  std::chrono::steady_clock::time_point mEnd;
};

// Milliseconds on the system clock, which is what the commit time event has always measured.
std::uint64_t NowMs() {
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
          .count());
}
}  // namespace

std::shared_ptr<VaSnapshotSetInfo> CVaVssHwProvider::FindSnapshotSet(const std::string& setId) const {
  const auto found = mSnapShotSetInfoList.find(setId);
  return found == mSnapShotSetInfoList.end() ? nullptr : found->second;
}

void CVaVssHwProvider::EndSnapshotSet(const std::string& setId) {
  if (const auto set = FindSnapshotSet(setId)) {
    set->mVolSnapshotInfoMap.clear();
    set->mGroups.clear();
  }
  mSnapShotSetInfoList.erase(setId);
  mSnapToSourceSerialMap.clear();
}

HRESULT CVaVssHwProvider::BeginPrepareSnapshot(VSS_ID SnapshotSetId, VSS_ID /*SnapshotId*/, LONG lContext,
                                               LONG lLunCount, VSS_PWSZ* /*rgDeviceNames*/,
                                               VDS_LUN_INFORMATION* rgLunInformation) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::BeginPrepareSnapshot");
  return provider::GuardedCall(L"CVaVssHwProvider::BeginPrepareSnapshot", [&] {
    const std::string contextText = provider::ContextText(lContext);
    VA_LOG(MSG_INFO, L"%S", contextText);

    const std::string setId = provider::SnapshotSetIdText(SnapshotSetId);
    mCurrentSnapshotSetId = setId;
    auto set = FindSnapshotSet(setId);
    if (!set) {
      set = std::make_shared<VaSnapshotSetInfo>();
      set->mSnapshotSetId = setId;
      mSnapShotSetInfoList.emplace(setId, set);
    }
    const std::wstring setIdWide = wincompat::ToWide(setId);
    const std::string ownerTag = Vantor::OwnerTagText(Vantor::ThisHostName(), static_cast<std::uint32_t>(lContext));
    for (LONG i = 0; rgLunInformation != nullptr && i < lLunCount; ++i) {
      const char* serialText = rgLunInformation[i].m_szSerialNumber;
      if (serialText == nullptr) {
        VA_LOG(MSG_ERROR, L"** LUN %d of the snapshot has no serial number; it is left out", static_cast<int>(i));
        continue;
      }
      const std::string serial = serialText;
      if (set->mVolSnapshotInfoMap.count(serial) != 0) continue;
      VA_LOG(MSG_DEBUG, L"About to add a new LUN to mVolSnapshotInfoMap");
      auto info = std::make_shared<VaSnapshotInfo>();
      if (const auto virtualDisk = mVirtualVolumeMap.find(serial); virtualDisk != mVirtualVolumeMap.end()) {
        info->mLunSerialNumber = serial;
        info->mSourceSerialNumber = virtualDisk->second.volume ? virtualDisk->second.volume->mSerialNumber : "";
        info->mVirtualVolume = virtualDisk->second.volume;
      } else {
        info->mSourceSerialNumber = serial;
      }
      info->mContext = lContext;
      info->mOwnerTag = ownerTag;
      set->mVolSnapshotInfoMap.emplace(serial, info);
      VA_LOG(MSG_INFO, L"Added %S to mVolSnapshotInfoMap", serial);
      const std::wstring serialWide = wincompat::ToWide(serial);
      logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_LUN_ADDED_TO_SET, serialWide.c_str(),
                                  setIdWide.c_str());
    }
    return S_OK;
  });
}

HRESULT CVaVssHwProvider::EndPrepareSnapshots(VSS_ID SnapshotSetId) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::EndPrepareSnapshots");
  const std::string setId = provider::SnapshotSetIdText(SnapshotSetId);
  const auto set = FindSnapshotSet(setId);
  if (!set) {
    VA_LOG(MSG_ERROR, L"** No entries in mSnapShotSetInfoList");
    ReportUnknownSet();
    return VSS_E_PROVIDER_VETO;
  }
  const HRESULT hr = provider::GuardedCall(L"CVaVssHwProvider::EndPrepareSnapshots", [&]() -> HRESULT {
    VA_LOG(MSG_INFO, L"Looking for SnapSetId %s", wincompat::ToWide(setId));
    // Only a set made entirely of virtual disks found by AreLunsSupported needs no refresh: the
    // map may also hold disks that were asked about but never prepared in this set.
    const bool allVirtualDisks = std::all_of(
        set->mVolSnapshotInfoMap.begin(), set->mVolSnapshotInfoMap.end(), [&](const auto& entry) {
          const std::string& lunSerial = entry.second->mLunSerialNumber;
          return !lunSerial.empty() && mVirtualVolumeMap.count(lunSerial) != 0;
        });
    if (allVirtualDisks) {
      VA_LOG(MSG_INFO, L"All volumes in snapshot set are VVOLs. RefreshArrays will be skipped.");
    } else if (const HRESULT refreshed = RefreshArrays(); FAILED(refreshed)) {
      VA_LOG(MSG_ERROR, L"RefreshArrays() failed, hr 0x%x", static_cast<unsigned>(refreshed));
      return refreshed;
    }

    VA_LOG(MSG_INFO, L"SnapSetInfo->mVolSnapshotInfoMap size %d", static_cast<int>(set->mVolSnapshotInfoMap.size()));
    int count = 0;
    for (const auto& [serial, info] : set->mVolSnapshotInfoMap) {
      VA_LOG(MSG_DEBUG, L"count %d", ++count);
      SerialLocation location;
      bool found = false;
      if (const auto virtualDisk = mVirtualVolumeMap.find(info->mLunSerialNumber);
          !info->mLunSerialNumber.empty() && virtualDisk != mVirtualVolumeMap.end()) {
        location.groupUid = virtualDisk->second.groupUid;
        location.volume = virtualDisk->second.volume;
        found = location.volume != nullptr;
      } else {
        found = FindSerialOnArrays(info->mSourceSerialNumber, false, location) && location.volume != nullptr;
      }
      const std::wstring sourceWide = wincompat::ToWide(info->mSourceSerialNumber);
      const auto array = found ? mArrays.find(location.groupUid) : mArrays.end();
      if (!found || array == mArrays.end()) {
        VA_LOG(MSG_ERROR, L"** Endpreparesnapshots Failed, Volume not found, %S", info->mSourceSerialNumber);
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_LUN_NOT_FOUND_ON_ARRAYS, sourceWide.c_str());
        VA_LOG(MSG_ERROR,
               L"No Group Mgmt Array is Configured on this Host for Lun s/n %S. Group management credentials Must be "
               L"set using Set-QTKConfiguration. Setting ensures VSS Provider to Communicate with the Given "
               L"Array.Please run 'Set-QTKConfiguration' cmdlet to set group management information.",
               info->mSourceSerialNumber);
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_NO_GROUP_FOR_LUN, sourceWide.c_str());
        return VSS_E_PROVIDER_VETO;
      }
      info->mVolume = location.volume;
      info->mVolumeName = location.volume->mName;
      const std::shared_ptr<VaVssArrayWrapper>& wrapper = array->second;

      std::string version;
      if (!wrapper->IsArraySupported(version)) {
        VA_LOG(MSG_ERROR, L"** Endpreparesnapshots : IsArraySupported returned false. Array version is %S", version);
        const std::wstring versionWide = wincompat::ToWide(version);
        logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_ARRAY_VERSION_UNSUPPORTED, versionWide.c_str());
        return VSS_E_PROVIDER_VETO;
      }

      std::shared_ptr<VaSnapshotGroup> group;
      for (const auto& candidate : set->mGroups) {
        if (candidate->mArray == wrapper) group = candidate;
      }
      if (!group) {
        VA_LOG(MSG_INFO, L"Creating a new group for %S", location.groupUid);
        group = std::make_shared<VaSnapshotGroup>();
        group->mArray = wrapper;
        set->mGroups.push_back(group);
      }
      group->mSnapshots.push_back(info);
      wrapper->LogMessageToGMD("LUN " + info->mSourceSerialNumber + ": " + provider::ContextText(info->mContext),
                               "info");
    }
    return S_OK;
  });
  mVirtualVolumeMap.clear();
  // Late snapshots of sets given up earlier on these groups go before the new set is taken.
  if (hr == S_OK) SweepAbandonedSets(*set);
  return hr;
}

HRESULT CVaVssHwProvider::PreCommitSnapshots(VSS_ID /*SnapshotSetId*/) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::PreCommitSnapshots");
  return S_OK;
}

HRESULT CVaVssHwProvider::CommitSnapshots(VSS_ID SnapshotSetId) {
  // The window runs from the call, also while it waits for the lock.
  const auto windowEnd = std::chrono::steady_clock::now() + kCommitWindow - kCommitWindowMargin;
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::CommitSnapshots");
  const std::uint64_t start = NowMs();
  std::shared_ptr<VaSnapshotSetInfo> committing;
  const HRESULT hr = provider::GuardedCall(L"CVaVssHwProvider::CommitSnapshots", [&]() -> HRESULT {
    const std::string setId = provider::SnapshotSetIdText(SnapshotSetId);
    const auto set = FindSnapshotSet(setId);
    if (!set) {
      VA_LOG(MSG_ERROR, L"** CommitSnapshots : Invalid snapshot ID %s", wincompat::ToWide(setId));
      ReportUnknownSet();
      return VSS_E_PROVIDER_VETO;
    }
    committing = set;
    const CommitWindow window(set->mGroups, windowEnd);
    // Every group is asked at once; the freeze lasts as long as the slowest of them. From here
    // on each group may hold snapshots of the set that no LUN record names.
    for (const auto& group : set->mGroups) group->mCreateRequested = true;
    const std::vector<HRESULT> created = provider::CreateOnEveryGroup(SnapshotSetId, set->mGroups);
    for (std::size_t i = 0; i < created.size(); ++i) {
      if (FAILED(created[i])) {
        if (window.Passed()) {
          VA_LOG(MSG_ERROR,
                 L"** CommitSnapshots : the arrays did not finish within the %lld seconds that VSS holds the writes",
                 static_cast<long long>(kCommitWindow.count()));
        }
        // What every group made stays for AbortSnapshots to remove.
        VA_LOG(MSG_ERROR, L"Failed to commit snapshots for at least one array. Error 0x%x",
               static_cast<unsigned>(created[i]));
        return VSS_E_PROVIDER_VETO;
      }
    }
    for (const auto& group : set->mGroups) {
      for (const auto& info : group->mSnapshots) {
        if (!info->mSnapshotSerialNumber.empty())
          mSnapToSourceSerialMap[info->mSnapshotSerialNumber] = info->mSourceSerialNumber;
      }
    }
    const unsigned long long elapsed = NowMs() - start;
    const std::wstring elapsedText = std::to_wstring(elapsed);
    logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_SET_COMMITTED, elapsedText.c_str());
    VA_LOG(MSG_INFO, L"Commit snapshot took %llu milliseconds.", elapsed);
    return S_OK;
  });
  // A vetoed set is given up: VSS may never call AbortSnapshots for it.
  if (FAILED(hr) && committing) JournalAbandonedSet(*committing);
  return hr;
}

HRESULT CVaVssHwProvider::PostCommitSnapshots(VSS_ID SnapshotSetId, LONG lSnapshotsCount) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::PostCommitSnapshots");
  return provider::GuardedCall(L"CVaVssHwProvider::PostCommitSnapshots", [&] {
    VA_LOG(MSG_INFO, L"==== Snapshot succeedes! Snapshot count %d, Snapshot ID %s ====", lSnapshotsCount,
           wincompat::ToWide(provider::SnapshotSetIdText(SnapshotSetId)));
    return S_OK;
  });
}

HRESULT CVaVssHwProvider::PreFinalCommitSnapshots(VSS_ID /*SnapshotSetId*/) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::PreFinalCommitSnapshots");
  return S_OK;
}

HRESULT CVaVssHwProvider::PostFinalCommitSnapshots(VSS_ID SnapshotSetId) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::PostFinalCommitSnapshots");
  return provider::GuardedCall(L"CVaVssHwProvider::PostFinalCommitSnapshots", [&]() -> HRESULT {
    const std::string setId = provider::SnapshotSetIdText(SnapshotSetId);
    const auto set = FindSnapshotSet(setId);
    if (!set) {
      VA_LOG(MSG_ERROR, L"** PostFinalCommitSnapshots : Invalid snapshot ID %s", wincompat::ToWide(setId));
      ReportUnknownSet();
      return VSS_E_PROVIDER_VETO;
    }
    for (const auto& entry : set->mVolSnapshotInfoMap) {
      const std::string& snapshotSerial = entry.second->mSnapshotSerialNumber;
      const auto located = std::find_if(mLocatedLuns.begin(), mLocatedLuns.end(), [&](const auto& identity) {
        return identity->serialNumber == snapshotSerial;
      });
      if (located != mLocatedLuns.end()) mLocatedLuns.erase(located);
    }
    EndSnapshotSet(setId);  // the snapshots stay on the arrays
    return S_OK;
  });
}

HRESULT CVaVssHwProvider::AbortSnapshots(VSS_ID SnapshotSetId) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::AbortSnapshots");
  return provider::GuardedCall(L"CVaVssHwProvider::AbortSnapshots", [&]() -> HRESULT {
    const std::string setId = provider::SnapshotSetIdText(SnapshotSetId);
    const std::wstring setIdWide = wincompat::ToWide(setId);
    VA_LOG(MSG_INFO,
           L"==== AbortSnapshots, Entered, Attempt to create snapshot unsuccessful, check Vantor Vss Requestor log for "
           L"details ====");
    logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_ABORTING_SET, setIdWide.c_str());

    HRESULT result = S_OK;
    const auto set = FindSnapshotSet(setId);
    if (!set) {
      VA_LOG(MSG_ERROR, L"** AbortSnapshots : Invalid snapshot ID %s", setIdWide);
      ReportUnknownSet();
      result = VSS_E_PROVIDER_VETO;
    } else {
      VA_LOG(MSG_INFO, L"SnapshotInfoSet of size %d", static_cast<int>(set->mVolSnapshotInfoMap.size()));
      // Every snapshot is tried, whatever failed before it.
      for (const auto& group : set->mGroups) {
        for (const auto& info : group->mSnapshots) {
          if (!info->mSnapshotExists) {
            VA_LOG(MSG_INFO, L"Skipping deletion of snapshot %S, %S because it is already deleted", info->mVolumeName,
                   info->mSnapshotName);
            continue;
          }
          if (RemoveSnapshot(*group->mArray, info->mSnapshotId, info->mSnapshotName, info->mVolumeName))
            info->mSnapshotExists = false;
          else
            result = VSS_E_PROVIDER_VETO;
        }
      }
      if (FAILED(RemoveUnrecordedSnapshots(SnapshotSetId, *set))) result = VSS_E_PROVIDER_VETO;
      // An abort that could not remove everything leaves the rest to the next preparation.
      JournalAbandonedSet(*set, FAILED(result));
      EndSnapshotSet(setId);
    }
    VA_LOG(MSG_INFO, L"** AbortSnapshots, On Exit, hr 0x%x", static_cast<unsigned>(result));
    return result;
  });
}

bool CVaVssHwProvider::RemoveSnapshot(VaVssArrayWrapper& array, const std::string& snapshotId,
                                      const std::string& snapshotName, const std::string& volumeName) {
  VA_LOG(MSG_INFO, L"offlining snapshot %S, %S", volumeName, snapshotName);
  const HRESULT offline = array.OfflineSnapshot(snapshotId, snapshotName, volumeName);
  if (FAILED(offline)) {
    VA_LOG(MSG_ERROR, L"** Failed to offline snapshot  HRESULT 0x%08X %S , %S", static_cast<unsigned>(offline),
           volumeName, snapshotName);
  }
  VA_LOG(MSG_INFO, L"Deleting snapshot %S, %S", volumeName, snapshotName);
  const HRESULT deleted = array.DeleteSnapshot(snapshotId, snapshotName, volumeName);
  if (FAILED(deleted)) {
    VA_LOG(MSG_ERROR, L"** Failed to delete snapshot  HRESULT 0x%08X %S , %S", static_cast<unsigned>(deleted),
           volumeName, snapshotName);
    return false;
  }
  return true;
}

// The LUN records name only the snapshots whose create was answered and read back. A create
// whose answer was lost or could not be read, a collection's snapshots beyond the named LUNs,
// a delete that failed above: each can leave snapshots of the set that no record names, so
// every group that was asked to create is searched for snapshots carrying the set's name.
HRESULT CVaVssHwProvider::RemoveUnrecordedSnapshots(const VSS_ID& snapshotSetId, const VaSnapshotSetInfo& set) {
  HRESULT result = S_OK;
  for (const auto& group : set.mGroups) {
    if (!group->mCreateRequested) continue;
    VaVssArrayWrapper& array = *group->mArray;
    VA_LOG(MSG_INFO, L"Looking for snapshots of the set left on group %S", array.GetGroupAddress());
    std::vector<Vantor::SnapshotRecord> left;
    if (FAILED(array.FindSnapshotsOfSet(snapshotSetId, left))) {
      VA_LOG(MSG_ERROR, L"** Could not search group %S for snapshots of the set; some may be left on it",
             array.GetGroupAddress());
      result = VSS_E_PROVIDER_VETO;
    }
    for (const auto& snapshot : left) {
      if (!RemoveSnapshot(array, snapshot.mId, snapshot.mName, snapshot.mVolName)) result = VSS_E_PROVIDER_VETO;
    }
  }
  return result;
}

std::size_t CVaVssHwProvider::SnapshotSetCount() const {
  const auto lock = LockObject();
  return mSnapShotSetInfoList.size();
}

std::vector<CVaVssHwProvider::SnapshotDescription> CVaVssHwProvider::DescribeSnapshotSet(const VSS_ID& id) const {
  const auto lock = LockObject();
  std::vector<SnapshotDescription> out;
  if (const auto set = FindSnapshotSet(provider::SnapshotSetIdText(id))) {
    for (const auto& [serial, info] : set->mVolSnapshotInfoMap)
      out.push_back({info->KeySerial(), info->mSnapshotSerialNumber, info->mSnapshotName});
  }
  return out;
}
