#pragma once
// CVssAsync: the IVssAsync that ResyncLuns hands back. The restore is already finished when
// ResyncLuns returns, so the object only reports that.
#include <atomic>

#include "provider/LiveObjects.h"
#include "wincompat/VssTypes.h"

class CVssAsync final : public IVssAsync {
 public:
  // A new object with one reference, owned by the caller.
  static IVssAsync* CreateFinished();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE Cancel() override;
  HRESULT STDMETHODCALLTYPE Wait(DWORD dwMilliseconds) override;
  HRESULT STDMETHODCALLTYPE QueryStatus(HRESULT* pHrResult, INT* pReserved) override;

 private:
  CVssAsync() = default;
  ~CVssAsync() = default;
  std::atomic<ULONG> mRefCount{1};
  provider::LiveObject mLive;  // a client may hold it after releasing the provider
};
