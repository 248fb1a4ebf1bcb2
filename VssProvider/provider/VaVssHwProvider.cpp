// Object lifetime, COM identity and the operations of CVaVssHwProvider that carry no array
// traffic. The snapshot-set, identification, import and resync operations live in their own
// files beside this one.
#include "provider/VaVssHwProvider.h"

#include <new>

#include "discovery/ConfigurationValues.h"
#include "logger/EventReporter.h"
#include "messages/VantorVssMessages.h"
#include "provider/ProviderCall.h"

const CLSID CLSID_VantorVssHwProvider = {0x08B1DE05, 0xDA78, 0x4895, {0xBA, 0xC0, 0xE5, 0x76, 0xED, 0x48, 0x3F, 0xFA}};

CVaVssHwProvider::CVaVssHwProvider() : mArrayAccess(provider::DefaultArrayAccess()) {
  CLogger scope(L"CVaVssHwProvider::CVaVssHwProvider");
  // A failed read leaves the policy at 0, silently: the digest policy is optional tuning.
  mIscsiDigestPolicy = discovery::ReadIscsiGlobalDigestPolicy();
}

CVaVssHwProvider::~CVaVssHwProvider() {
  CLogger scope(L"CVaVssHwProvider::~CVaVssHwProvider");
  // Only the host-side records go: unloading must never delete a snapshot or end a session.
  mSnapShotSetInfoList.clear();
  mArrays.clear();
  mLocatedLuns.clear();
  mCurrentSnapshotSetId.clear();
  mSnapToSourceSerialMap.clear();
  mGroupIPToUidMap.clear();
  mVirtualVolumeMap.clear();
}

HRESULT CVaVssHwProvider::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (riid == wincompat::kIID_IUnknown || riid == wincompat::kIID_IVssHardwareSnapshotProvider ||
      riid == wincompat::kIID_IVssHardwareSnapshotProviderEx) {
    *ppv = static_cast<IVssHardwareSnapshotProviderEx*>(this);
  } else if (riid == wincompat::kIID_IVssProviderCreateSnapshotSet) {
    *ppv = static_cast<IVssProviderCreateSnapshotSet*>(this);
  } else if (riid == wincompat::kIID_IVssProviderNotifications) {
    *ppv = static_cast<IVssProviderNotifications*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG CVaVssHwProvider::AddRef() { return ++mRefCount; }

ULONG CVaVssHwProvider::Release() {
  const ULONG remaining = --mRefCount;
  if (remaining == 0) delete this;  // COM lifetime: the last Release owns the object.
  return remaining;
}

HRESULT CVaVssHwProvider::OnLoad(IUnknown* /*pCallback*/) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::OnLoad");
  return provider::GuardedCall(L"CVaVssHwProvider::OnLoad", [] {
    logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_PROVIDER_LOADED);
    return S_OK;
  });
}

HRESULT CVaVssHwProvider::OnUnload(WINBOOL /*bForceUnload*/) {
  const auto lock = LockObject();
  CLogger scope(L"CVaVssHwProvider::OnUnload");
  return provider::GuardedCall(L"CVaVssHwProvider::OnUnload", [] {
    logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_PROVIDER_UNLOADED);
    return S_OK;
  });
}

// Neither of the next two takes the lock: they do no work that could race.
HRESULT CVaVssHwProvider::GetProviderCapabilities(ULONGLONG* /*pllOriginalCapabilityMask*/) {
  CLogger scope(L"CVaVssHwProvider::GetProviderCapabilities");
  return E_NOTIMPL;
}

HRESULT CVaVssHwProvider::OnReuseLuns(VDS_LUN_INFORMATION* /*pSnapshotLuns*/, VDS_LUN_INFORMATION* /*pOriginalLuns*/,
                                      DWORD /*dwCount*/) {
  CLogger scope(L"CVaVssHwProvider::OnReuseLuns");
  return E_NOTIMPL;
}

HRESULT CreateVaVssHwProvider(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  CVaVssHwProvider* object = nullptr;
  try {
    object = new CVaVssHwProvider();  // owned by its reference count from here on
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
  const HRESULT hr = object->QueryInterface(riid, ppv);
  object->Release();  // drop the construction reference; QueryInterface holds its own
  return hr;
}
