#pragma once
// Owning wrappers for the kernel-object handles the Win32 seams open (Windows build only).
#include <windows.h>

namespace platform::win32 {

class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(HANDLE handle) : mHandle(handle) {}
  ~UniqueHandle() { reset(); }
  UniqueHandle(UniqueHandle&& other) noexcept : mHandle(other.mHandle) { other.mHandle = INVALID_HANDLE_VALUE; }
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) {
      reset();
      mHandle = other.mHandle;
      other.mHandle = INVALID_HANDLE_VALUE;
    }
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;

  HANDLE get() const { return mHandle; }
  bool valid() const { return mHandle != INVALID_HANDLE_VALUE && mHandle != nullptr; }
  void reset() {
    if (valid()) CloseHandle(mHandle);
    mHandle = INVALID_HANDLE_VALUE;
  }

 private:
  HANDLE mHandle = INVALID_HANDLE_VALUE;
};

}  // namespace platform::win32
