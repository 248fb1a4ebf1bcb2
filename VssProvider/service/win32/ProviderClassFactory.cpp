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
  const HRESULT hr = mCreate(riid, ppv);
  if (FAILED(hr)) VA_LOG(MSG_ERROR, L"** Creating a provider object failed, hr = 0x%08x", static_cast<unsigned>(hr));
  return hr;
}

HRESULT ProviderClassFactory::LockServer(BOOL /*lock*/) { return S_OK; }

}  // namespace service
