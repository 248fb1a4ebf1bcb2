#pragma once
// Bytes and texts that hold a secret (a clear password, a derived key). They are wiped when
// they go, so a secret does not outlive its use in freed heap memory.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace common {

// Overwrites `size` bytes in a way the optimiser may not drop.
void SecureWipe(void* data, std::size_t size);

class SecureBytes {
 public:
  SecureBytes() = default;
  explicit SecureBytes(std::size_t size) : mBytes(size, 0) {}
  SecureBytes(const std::uint8_t* data, std::size_t size) : mBytes(data, data + size) {}
  ~SecureBytes() { clear(); }
  SecureBytes(SecureBytes&& other) noexcept : mBytes(std::move(other.mBytes)) { other.mBytes.clear(); }
  SecureBytes& operator=(SecureBytes&& other) noexcept {
    if (this != &other) {
      clear();
      mBytes = std::move(other.mBytes);
      other.mBytes.clear();
    }
    return *this;
  }
  SecureBytes(const SecureBytes&) = delete;
  SecureBytes& operator=(const SecureBytes&) = delete;

  std::uint8_t* data() { return mBytes.data(); }
  const std::uint8_t* data() const { return mBytes.data(); }
  std::size_t size() const { return mBytes.size(); }
  bool empty() const { return mBytes.empty(); }
  // Shrinking keeps the wiped promise: the dropped tail is overwritten first.
  void resize(std::size_t size) {
    if (size < mBytes.size()) SecureWipe(mBytes.data() + size, mBytes.size() - size);
    mBytes.resize(size, 0);
  }
  void clear() {
    SecureWipe(mBytes.data(), mBytes.size());
    mBytes.clear();
  }

 private:
  std::vector<std::uint8_t> mBytes;
};

// A std::string that wipes itself (for clear passwords handed between layers).
class SecureString {
 public:
  SecureString() = default;
  explicit SecureString(std::string text) : mText(std::move(text)) {}
  ~SecureString() { clear(); }
  SecureString(SecureString&& other) noexcept : mText(std::move(other.mText)) { other.clear(); }
  SecureString& operator=(SecureString&& other) noexcept {
    if (this != &other) {
      clear();
      mText = std::move(other.mText);
      other.clear();
    }
    return *this;
  }
  SecureString(const SecureString& other) : mText(other.mText) {}
  SecureString& operator=(const SecureString& other) {
    if (this != &other) {
      clear();
      mText = other.mText;
    }
    return *this;
  }

  const std::string& str() const { return mText; }
  const char* c_str() const { return mText.c_str(); }
  bool empty() const { return mText.empty(); }
  void assign(const char* data, std::size_t size) {
    clear();
    mText.assign(data, size);
  }
  void clear() {
    SecureWipe(mText.data(), mText.size());
    mText.clear();
  }

 private:
  std::string mText;
};

}  // namespace common
