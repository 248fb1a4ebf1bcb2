#pragma once
// DPAPI in the Windows build, without UI. Profile passwords are sealed with the calling user's
// key (the tooling runs as the account the service will use). The machine credential store
// seals in machine scope (CRYPTPROTECT_LOCAL_MACHINE): any account of this computer can open
// such a blob, none of another computer can, so what keeps it from ordinary users is the
// access list of the registry key that holds it. CryptUnprotectData opens blobs of both scopes.
#include "common/DataProtection.h"

namespace common {

enum class DpapiScope { CurrentUser, LocalMachine };

class DpapiDataProtection final : public DataProtection {
 public:
  explicit DpapiDataProtection(DpapiScope scope = DpapiScope::CurrentUser) : mScope(scope) {}
  DWORD Protect(std::span<const std::uint8_t> clear, std::vector<std::uint8_t>& blob) override;
  DWORD Unprotect(std::span<const std::uint8_t> blob, SecureBytes& clear) override;

 private:
  DpapiScope mScope;
};

}  // namespace common
