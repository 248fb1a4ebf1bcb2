#pragma once
// COM for the calling thread, multi-threaded apartment, for as long as the object lives.
#include <objbase.h>

namespace service {

class ComApartment {
 public:
  ComApartment() : mResult(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
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
