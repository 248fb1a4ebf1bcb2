#pragma once
// The clear text that one value of the machine credential store seals: a version byte (1),
// then the group management address, the user name and the password, each as a 16-bit
// little-endian length and its bytes. The address inside binds the value to its name: a value
// copied under another address does not open as that group's credential.
#include <cstdint>
#include <span>
#include <string>

#include "common/SecureBuffer.h"
#include "credstore/CredentialVault.h"

namespace credstore {

inline constexpr std::size_t kMaxUserNameBytes = 255;
inline constexpr std::size_t kMaxPasswordBytes = 1024;
inline constexpr std::size_t kMaxAddressBytes = 255;

// False when a field is longer than its limit.
bool EncodeCredentialRecord(const std::string& address, const ArrayCredential& credential, common::SecureBytes& record);
// ERROR_INVALID_DATA (13) for a record that is cut short, has bytes left over, another version,
// an empty user name or password, or names another address.
DWORD DecodeCredentialRecord(std::span<const std::uint8_t> record, const std::string& address,
                             ArrayCredential& credential);

}  // namespace credstore
