#pragma once
// The class object registered with COM for CVaVssHwProvider: every CreateInstance makes a new
// provider object. It lives as long as the module, so its reference count only guards COM's
// rules, never its memory.
//
// LockServer counts in the server's lifetime (service/ServerLifetime.h), and so does every
// creation while it runs. A local server that COM started ends when the last object and lock
// are gone: it suspends this class object, checks again, and only then ends; a CreateInstance
// that arrives after that decision is answered CO_E_SERVER_STOPPING, which COM retries with a
// new server. Running as the service, the process ends only when the service is stopped.
#include <windows.h>
#include <unknwn.h>

#include <atomic>

#include "service/ServerLifetime.h"

namespace service {

class ProviderClassFactory final : public IClassFactory {
 public:
  using CreateFunction = HRESULT (*)(REFIID riid, void** ppv);

  ProviderClassFactory(CreateFunction create, ServerLifetime& lifetime) : mCreate(create), mLifetime(lifetime) {}
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
  ServerLifetime& mLifetime;
  std::atomic<ULONG> mRefCount{0};
};

}  // namespace service
