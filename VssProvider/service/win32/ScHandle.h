#pragma once
// An open service control manager or service handle that closes itself.
#include <windows.h>

#include <utility>

namespace service {

class ScHandle {
 public:
  ScHandle() = default;
  explicit ScHandle(SC_HANDLE handle) : mHandle(handle) {}
  ~ScHandle() { Reset(); }
  ScHandle(ScHandle&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}
  ScHandle& operator=(ScHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      mHandle = std::exchange(other.mHandle, nullptr);
    }
    return *this;
  }
  ScHandle(const ScHandle&) = delete;
  ScHandle& operator=(const ScHandle&) = delete;

  SC_HANDLE Get() const { return mHandle; }
  explicit operator bool() const { return mHandle != nullptr; }
  void Reset() {
    if (mHandle != nullptr) CloseServiceHandle(std::exchange(mHandle, nullptr));
  }

 private:
  SC_HANDLE mHandle = nullptr;
};

}  // namespace service
