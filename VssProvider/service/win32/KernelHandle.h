#pragma once
// An owned kernel handle (a token, a process) that is closed on scope exit.
#include <windows.h>

#include <utility>

namespace service {

class KernelHandle {
 public:
  KernelHandle() = default;
  explicit KernelHandle(HANDLE handle) : mHandle(handle) {}
  ~KernelHandle() { Reset(); }
  KernelHandle(KernelHandle&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}
  KernelHandle& operator=(KernelHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      mHandle = std::exchange(other.mHandle, nullptr);
    }
    return *this;
  }
  KernelHandle(const KernelHandle&) = delete;
  KernelHandle& operator=(const KernelHandle&) = delete;

  HANDLE Get() const { return mHandle; }
  HANDLE* Out() {
    Reset();
    return &mHandle;
  }
  explicit operator bool() const { return mHandle != nullptr && mHandle != INVALID_HANDLE_VALUE; }
  void Reset() {
    const HANDLE old = std::exchange(mHandle, nullptr);
    if (old != nullptr && old != INVALID_HANDLE_VALUE) CloseHandle(old);
  }

 private:
  HANDLE mHandle = nullptr;
};

}  // namespace service
