#include "provider/VssAsync.h"

#include <new>

IVssAsync* CVssAsync::CreateFinished() { return new (std::nothrow) CVssAsync(); }

HRESULT CVssAsync::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (!(riid == wincompat::kIID_IUnknown || riid == wincompat::kIID_IVssAsync)) return E_NOINTERFACE;
  *ppv = static_cast<IVssAsync*>(this);
  AddRef();
  return S_OK;
}

ULONG CVssAsync::AddRef() { return ++mRefCount; }

ULONG CVssAsync::Release() {
  const ULONG remaining = --mRefCount;
  if (remaining == 0) delete this;  // COM lifetime: the last Release owns the object.
  return remaining;
}

HRESULT CVssAsync::Cancel() { return VSS_S_ASYNC_FINISHED; }

HRESULT CVssAsync::Wait(DWORD /*dwMilliseconds*/) { return S_OK; }

HRESULT CVssAsync::QueryStatus(HRESULT* pHrResult, INT* /*pReserved*/) {
  if (pHrResult == nullptr) return E_POINTER;
  *pHrResult = VSS_S_ASYNC_FINISHED;
  return S_OK;
}
