#pragma once
// The emulated host's answers about rights (native build). The emulated registry keeps no
// access lists, so the host's description says what Windows would: host.json's "elevated"
// (default true: the developer who runs the tool is the emulated host's administrator; false
// plays an ordinary user or a prompt without elevation) and "administrators" (accounts that
// are members of Administrators besides LocalSystem, default none). A protected key admits
// LocalSystem and those accounts, as its access list of SYSTEM and Administrators would.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/HostSecurity.h"

namespace common {

class EmulatedHostSecurity final : public HostSecurity {
 public:
  EmulatedHostSecurity(bool elevated, std::vector<std::wstring> administrators)
      : mElevated(elevated), mAdministrators(std::move(administrators)) {}
  // From the emulated host's host.json; throws std::runtime_error naming the file and the
  // field when a field is there but malformed.
  static std::unique_ptr<EmulatedHostSecurity> FromHostFile(const std::filesystem::path& hostJson);

  bool IsElevated() override { return mElevated; }
  AccessVerdict CanAccountReadKey(const std::wstring& subKey, const std::wstring& account) override;

 private:
  bool mElevated;
  std::vector<std::wstring> mAdministrators;
};

}  // namespace common
