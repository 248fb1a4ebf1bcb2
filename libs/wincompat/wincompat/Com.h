#pragma once
// The slice of COM the provider uses: IUnknown and task-memory allocation.
#include "wincompat/Guid.h"
#include "wincompat/WinTypes.h"

#ifdef _WIN32
#include <objbase.h>
#include <unknwn.h>
#else
#include <cstddef>

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;

 protected:
  ~IUnknown() = default;
};

// COM task memory; outside Windows it is the C heap, which is what the emulated host's
// callers free it with.
void* CoTaskMemAlloc(std::size_t cb);
void CoTaskMemFree(void* pv);
#endif

namespace wincompat {
extern const IID kIID_IUnknown;
}  // namespace wincompat
