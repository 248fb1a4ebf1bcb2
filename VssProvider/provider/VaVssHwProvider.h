#pragma once
// CVaVssHwProvider: the COM class that VSS creates and calls as the hardware provider for the
// array's LUNs. It keeps everything that lives between VSS calls: the snapshot sets being
// prepared, the array cache, and the lookup maps of the import, unexpose and resync paths.
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "array/ArrayRecords.h"
#include "provider/AbandonedSets.h"
#include "provider/ArrayAccess.h"
#include "provider/DeviceIdentity.h"
#include "provider/LiveObjects.h"
#include "provider/SnapshotSetInfo.h"
#include "provider/VolumeOnline.h"
#include "wincompat/VssTypes.h"

// {CLSID_VantorVssHwProvider}
extern const CLSID CLSID_VantorVssHwProvider;

class CVaVssHwProvider final : public IVssHardwareSnapshotProviderEx,
                               public IVssProviderCreateSnapshotSet,
                               public IVssProviderNotifications {
 public:
  CVaVssHwProvider();
  ~CVaVssHwProvider();
  CVaVssHwProvider(const CVaVssHwProvider&) = delete;
  CVaVssHwProvider& operator=(const CVaVssHwProvider&) = delete;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IVssHardwareSnapshotProvider
  HRESULT STDMETHODCALLTYPE AreLunsSupported(LONG lLunCount, LONG lContext, VSS_PWSZ* rgwszDevices,
                                             VDS_LUN_INFORMATION* pLunInformation, WINBOOL* pbIsSupported) override;
  HRESULT STDMETHODCALLTYPE FillInLunInfo(VSS_PWSZ wszDeviceName, VDS_LUN_INFORMATION* pLunInfo,
                                          WINBOOL* pbIsSupported) override;
  HRESULT STDMETHODCALLTYPE BeginPrepareSnapshot(VSS_ID SnapshotSetId, VSS_ID SnapshotId, LONG lContext,
                                                 LONG lLunCount, VSS_PWSZ* rgDeviceNames,
                                                 VDS_LUN_INFORMATION* rgLunInformation) override;
  HRESULT STDMETHODCALLTYPE GetTargetLuns(LONG lLunCount, VSS_PWSZ* rgDeviceNames, VDS_LUN_INFORMATION* rgSourceLuns,
                                          VDS_LUN_INFORMATION* rgDestinationLuns) override;
  HRESULT STDMETHODCALLTYPE LocateLuns(LONG lLunCount, VDS_LUN_INFORMATION* rgSourceLuns) override;
  HRESULT STDMETHODCALLTYPE OnLunEmpty(VSS_PWSZ wszDeviceName, VDS_LUN_INFORMATION* pInformation) override;

  // IVssHardwareSnapshotProviderEx
  HRESULT STDMETHODCALLTYPE GetProviderCapabilities(ULONGLONG* pllOriginalCapabilityMask) override;
  HRESULT STDMETHODCALLTYPE OnLunStateChange(VDS_LUN_INFORMATION* pSnapshotLuns, VDS_LUN_INFORMATION* pOriginalLuns,
                                             DWORD dwCount, DWORD dwFlags) override;
  HRESULT STDMETHODCALLTYPE ResyncLuns(VDS_LUN_INFORMATION* pSourceLuns, VDS_LUN_INFORMATION* pTargetLuns,
                                       DWORD dwCount, IVssAsync** ppAsync) override;
  HRESULT STDMETHODCALLTYPE OnReuseLuns(VDS_LUN_INFORMATION* pSnapshotLuns, VDS_LUN_INFORMATION* pOriginalLuns,
                                        DWORD dwCount) override;

  // IVssProviderCreateSnapshotSet
  HRESULT STDMETHODCALLTYPE EndPrepareSnapshots(VSS_ID SnapshotSetId) override;
  HRESULT STDMETHODCALLTYPE PreCommitSnapshots(VSS_ID SnapshotSetId) override;
  HRESULT STDMETHODCALLTYPE CommitSnapshots(VSS_ID SnapshotSetId) override;
  HRESULT STDMETHODCALLTYPE PostCommitSnapshots(VSS_ID SnapshotSetId, LONG lSnapshotsCount) override;
  HRESULT STDMETHODCALLTYPE PreFinalCommitSnapshots(VSS_ID SnapshotSetId) override;
  HRESULT STDMETHODCALLTYPE PostFinalCommitSnapshots(VSS_ID SnapshotSetId) override;
  HRESULT STDMETHODCALLTYPE AbortSnapshots(VSS_ID SnapshotSetId) override;

  // IVssProviderNotifications
  HRESULT STDMETHODCALLTYPE OnLoad(IUnknown* pCallback) override;
  HRESULT STDMETHODCALLTYPE OnUnload(WINBOOL bForceUnload) override;

  // Replaces how the provider reaches arrays (tests); the constructor uses DefaultArrayAccess.
  void UseArrayAccess(provider::ArrayAccess access);
  // Replaces the waits of a restore and of the journal of abandoned sets, and how the host's
  // initiators are found (tests).
  void UseRestoreSettings(provider::RestoreSettings settings);
  void UseJournalSettings(provider::JournalSettings settings);

  // Read-only views for diagnostics and tests.
  DWORD IscsiDigestPolicy() const { return mIscsiDigestPolicy; }
  std::size_t SnapshotSetCount() const;
  struct SnapshotDescription {
    std::string sourceSerial;
    std::string snapshotSerial;
    std::string snapshotName;
  };
  // The snapshots of a set that is still open (before PostFinalCommitSnapshots).
  std::vector<SnapshotDescription> DescribeSnapshotSet(const VSS_ID& snapshotSetId) const;
  std::vector<std::string> CachedGroupUids() const;

 private:
  // A virtual disk whose backing array volume was found, and the group that holds it.
  struct VirtualVolumeEntry {
    std::string groupUid;
    std::shared_ptr<Vantor::VolumeRecord> volume;
  };
  // What the serial lookup found.
  struct SerialLocation {
    std::string groupUid;
    std::shared_ptr<Vantor::VolumeRecord> volume;
    std::shared_ptr<Vantor::SnapshotRecord> snapshot;
  };

  std::unique_lock<std::recursive_mutex> LockObject() const { return std::unique_lock(mObjectLock); }

  // Array cache.
  HRESULT RefreshArrays();
  void AddOrUpdateArray(bool addMode, const std::string& address, const Vantor::LoginInfo& loginInfo);
  // Makes `cached` (the group's wrapper) one whose session is with `address` itself before it
  // is given that address's credential: `connected` when the add made one, else a new one.
  // False, after a log line, when no such session answers as the same group.
  bool UseOwnConnection(std::shared_ptr<VaVssArrayWrapper>& cached, std::shared_ptr<VaVssArrayWrapper> connected,
                        const std::string& address, const Vantor::LoginInfo& loginInfo);
  void RemoveUndiscoveredArrays(const std::map<std::string, Vantor::LoginInfo>& discovered);
  void CheckAndUpdateArraysLoginInfo(const std::map<std::string, Vantor::LoginInfo>& discovered);

  // LUN identification.
  bool FindSerialOnArrays(const std::string& serialNumber, bool isSnapshot, SerialLocation& location);
  bool IsVantorVirtualVolume(const std::string& serialNumber, VirtualVolumeEntry& entry);
  LONG QueryDeviceIdentity(const std::wstring& devicePath, provider::DeviceIdentity& identity);

  // Import and restore.
  HRESULT UnexposeSnapshotLun(const VDS_LUN_INFORMATION& lun);
  HRESULT RestoreVol(VaVssArrayWrapper& array, const Vantor::SnapshotRecord& snapshot,
                     const Vantor::VolumeRecord& volume);

  std::shared_ptr<VaSnapshotSetInfo> FindSnapshotSet(const std::string& setId) const;
  void EndSnapshotSet(const std::string& setId);
  // Abort: offlines and deletes one snapshot (true when it is gone), and removes the snapshots
  // of the set that no LUN record names.
  bool RemoveSnapshot(VaVssArrayWrapper& array, const std::string& snapshotId, const std::string& snapshotName,
                      const std::string& volumeName);
  HRESULT RemoveUnrecordedSnapshots(const VSS_ID& snapshotSetId, const VaSnapshotSetInfo& set);
  // The journal of abandoned sets: a set given up after a group was asked to create it is
  // journaled for the groups whose create was not answered (with `everyAskedGroup`, for every
  // group asked); the next preparation of a set on such a group searches it for its snapshots.
  void JournalAbandonedSet(const VaSnapshotSetInfo& set, bool everyAskedGroup = false);
  void SweepAbandonedSets(const VaSnapshotSetInfo& set);

  // Declared first, so it goes last: the local server may end as soon as it is gone.
  provider::LiveObject mLive;
  provider::ArrayAccess mArrayAccess;
  provider::RestoreSettings mRestoreSettings = provider::DefaultRestoreSettings();
  provider::JournalSettings mJournalSettings;

  std::atomic<ULONG> mRefCount{1};

  std::map<std::string, std::shared_ptr<VaVssArrayWrapper>> mArrays;
  // The object lock; recursive like the critical section it stands for.
  mutable std::recursive_mutex mObjectLock;
  std::map<std::string, std::shared_ptr<VaSnapshotSetInfo>> mSnapShotSetInfoList;
  std::vector<std::shared_ptr<provider::DeviceIdentity>> mLocatedLuns;
  std::string mCurrentSnapshotSetId;
  std::map<std::string, std::string> mSnapToSourceSerialMap;
  std::map<std::string, std::string> mGroupIPToUidMap;
  std::map<std::string, VirtualVolumeEntry> mVirtualVolumeMap;
  DWORD mIscsiDigestPolicy = 0;
};

// Creates a provider object and queries it for `riid` (IUnknown or one of the three VSS
// interfaces); the class factory of the service and vantor-vss both call this.
HRESULT CreateVaVssHwProvider(REFIID riid, void** ppv);

