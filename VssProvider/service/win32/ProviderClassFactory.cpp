#include "service/win32/ProviderClassFactory.h"

#include "logger/FileLog.h"

namespace service {
namespace {
constexpr const wchar_t* kLogSource = L"ProviderClassFactory";
}  // namespace

HRESULT ProviderClassFactory::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory)) return E_NOINTERFACE;
  *ppv = static_cast<IClassFactory*>(this);
  AddRef();
  return S_OK;
}

ULONG ProviderClassFactory::AddRef() { return ++mRefCount; }

ULONG ProviderClassFactory::Release() { return --mRefCount; }

HRESULT ProviderClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  if (!mLifetime.BeginCreate()) {
    VA_LOG(MSG_INFO, L"Activation refused: the local server is ending");
    return CO_E_SERVER_STOPPING;
  }
  const HRESULT hr = mCreate(riid, ppv);
  mLifetime.EndCreate();
  if (FAILED(hr)) VA_LOG(MSG_ERROR, L"** Creating a provider object failed, hr = 0x%08x", static_cast<unsigned>(hr));
  return hr;
}

HRESULT ProviderClassFactory::LockServer(BOOL lock) {
  if (lock) {
    mLifetime.Lock();
  } else {
    mLifetime.Unlock();
  }
  return S_OK;
}

}  // namespace service
