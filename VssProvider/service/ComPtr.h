#pragma once
// An owning COM interface pointer: released on scope exit and before it is filled again.
#include <utility>

namespace service {

template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  ~ComPtr() { Reset(); }
  ComPtr(ComPtr&& other) noexcept : mPtr(std::exchange(other.mPtr, nullptr)) {}
  ComPtr& operator=(ComPtr&& other) noexcept {
    if (this != &other) {
      Reset();
      mPtr = std::exchange(other.mPtr, nullptr);
    }
    return *this;
  }
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;

  T* Get() const { return mPtr; }
  T* operator->() const { return mPtr; }
  explicit operator bool() const { return mPtr != nullptr; }

  // For CoCreateInstance-style calls: drops what is held and hands out the slot.
  void** OutVoid() {
    Reset();
    return reinterpret_cast<void**>(&mPtr);
  }

  void Reset() {
    if (mPtr != nullptr) std::exchange(mPtr, nullptr)->Release();
  }

 private:
  T* mPtr = nullptr;
};

}  // namespace service
