#pragma once
// The class object registered with COM for CVaVssHwProvider: every CreateInstance makes a new
// provider object. It lives as long as the module, so its reference count only guards COM's
// rules, never its memory. The process ends when the service is stopped, not when clients let
// go, so LockServer has nothing to hold.
#include <windows.h>
#include <unknwn.h>

#include <atomic>

namespace service {

class ProviderClassFactory final : public IClassFactory {
 public:
  using CreateFunction = HRESULT (*)(REFIID riid, void** ppv);

  explicit ProviderClassFactory(CreateFunction create) : mCreate(create) {}
  ProviderClassFactory(const ProviderClassFactory&) = delete;
  ProviderClassFactory& operator=(const ProviderClassFactory&) = delete;
  virtual ~ProviderClassFactory() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  CreateFunction mCreate;
  std::atomic<ULONG> mRefCount{0};
};

}  // namespace service
