// The clear record inside a machine store value: any bytes must decode or be refused without
// reading outside the buffer, and what decodes must encode back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "credstore/CredentialRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exact-size copy: the sanitizer then sees every byte read past the end.
  const auto copy = std::make_unique<std::uint8_t[]>(size + 1);
  if (size) std::memcpy(copy.get(), data, size);
  const std::string address = "10.20.30.40";
  credstore::ArrayCredential credential;
  if (credstore::DecodeCredentialRecord({copy.get(), size}, address, credential) != 0) {
    if (!credential.userName.empty() || !credential.password.empty()) std::abort();  // a refusal hands out nothing
    return 0;
  }
  if (credential.userName.empty() || credential.password.empty()) std::abort();
  common::SecureBytes again;
  if (!credstore::EncodeCredentialRecord(address, credential, again)) return 0;  // beyond the writer's limits
  if (again.size() != size || std::memcmp(again.data(), copy.get(), size) != 0) std::abort();
  return 0;
}
