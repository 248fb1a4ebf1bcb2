#include "credstore/CredentialRecord.h"

#include <cstring>

namespace credstore {
namespace {

constexpr std::uint8_t kVersion = 1;

// Reads fields off the record; every read checks what is left first.
class Cursor {
 public:
  explicit Cursor(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}
  bool Byte(std::uint8_t& out) {
    if (mBytes.empty()) return false;
    out = mBytes.front();
    mBytes = mBytes.subspan(1);
    return true;
  }
  // A field: its length, then that many bytes, handed out in place.
  bool Field(std::span<const std::uint8_t>& out) {
    if (mBytes.size() < 2) return false;
    const std::size_t length = static_cast<std::size_t>(mBytes[0] | (mBytes[1] << 8));
    if (mBytes.size() - 2 < length) return false;
    out = mBytes.subspan(2, length);
    mBytes = mBytes.subspan(2 + length);
    return true;
  }
  bool AtEnd() const { return mBytes.empty(); }

 private:
  std::span<const std::uint8_t> mBytes;
};

void Append(common::SecureBytes& record, std::size_t& at, const std::string& text) {
  record.data()[at++] = static_cast<std::uint8_t>(text.size() & 0xFF);
  record.data()[at++] = static_cast<std::uint8_t>(text.size() >> 8);
  if (!text.empty()) std::memcpy(record.data() + at, text.data(), text.size());
  at += text.size();
}

}  // namespace

bool EncodeCredentialRecord(const std::string& address, const ArrayCredential& credential, common::SecureBytes& record) {
  const std::string& password = credential.password.str();
  if (address.size() > kMaxAddressBytes || credential.userName.size() > kMaxUserNameBytes ||
      password.size() > kMaxPasswordBytes) {
    return false;
  }
  // Sized once: a grown buffer would leave an unwiped copy of the password behind.
  record = common::SecureBytes(1 + 6 + address.size() + credential.userName.size() + password.size());
  std::size_t at = 0;
  record.data()[at++] = kVersion;
  Append(record, at, address);
  Append(record, at, credential.userName);
  Append(record, at, password);
  return true;
}

DWORD DecodeCredentialRecord(std::span<const std::uint8_t> record, const std::string& address,
                             ArrayCredential& credential) {
  credential = {};
  Cursor cursor(record);
  std::uint8_t version = 0;
  std::span<const std::uint8_t> boundAddress;
  std::span<const std::uint8_t> user;
  std::span<const std::uint8_t> password;
  if (!cursor.Byte(version) || version != kVersion || !cursor.Field(boundAddress) || !cursor.Field(user) ||
      !cursor.Field(password) || !cursor.AtEnd() || user.empty() || password.empty() ||
      boundAddress.size() != address.size() ||
      std::memcmp(boundAddress.data(), address.data(), address.size()) != 0) {
    return ERROR_INVALID_DATA;
  }
  credential.userName.assign(reinterpret_cast<const char*>(user.data()), user.size());
  credential.password.assign(reinterpret_cast<const char*>(password.data()), password.size());
  return ERROR_SUCCESS;
}

}  // namespace credstore
