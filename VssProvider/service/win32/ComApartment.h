#pragma once
// COM for the calling thread, for as long as the object lives: the multi-threaded apartment
// unless another model is asked for.
#include <objbase.h>

namespace service {

class ComApartment {
 public:
  explicit ComApartment(DWORD model = COINIT_MULTITHREADED) : mResult(CoInitializeEx(nullptr, model)) {}
  ~ComApartment() {
    if (SUCCEEDED(mResult)) CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  HRESULT Result() const { return mResult; }

 private:
  HRESULT mResult;
};

}  // namespace service
