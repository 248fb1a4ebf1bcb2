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

#include "provider/DeviceIdentity.h"
#include "provider/SnapshotSetInfo.h"
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

  // Read-only views for diagnostics and tests.
  DWORD IscsiDigestPolicy() const { return mIscsiDigestPolicy; }
  std::size_t SnapshotSetCount() const { return mSnapShotSetInfoList.size(); }

 private:
  std::unique_lock<std::recursive_mutex> LockObject() const { return std::unique_lock(mObjectLock); }

  std::atomic<ULONG> mRefCount{1};

  std::map<std::string, std::shared_ptr<VaVssArrayWrapper>> mArrays;
  // The object lock; recursive like the critical section it stands for.
  mutable std::recursive_mutex mObjectLock;
  std::map<std::string, std::shared_ptr<VaSnapshotSetInfo>> mSnapShotSetInfoList;
  std::vector<std::shared_ptr<provider::DeviceIdentity>> mLocatedLuns;
  std::string mCurrentSnapshotSetId;
  std::map<std::string, std::string> mSnapToSourceSerialMap;
  std::map<std::string, std::string> mGroupIPToUidMap;
  std::map<std::string, std::shared_ptr<Vantor::VolumeRecord>> mVirtualVolumeMap;
  DWORD mIscsiDigestPolicy = 0;
};

// Creates a provider object and queries it for `riid` (IUnknown or one of the three VSS
// interfaces); the class factory of the service and vantor-vss both call this.
HRESULT CreateVaVssHwProvider(REFIID riid, void** ppv);
