#pragma once
// The host-side iSCSI steps that make a snapshot visible to this host and hide it again:
// whether a target is logged in, the login with the configured digest policy, and the logout
// of every session to a target with a bounded retry. All of them go through the iSCSI
// initiator seam (platform/IscsiInitiator.h).
#include <cstdint>
#include <exception>
#include <string>

#include "platform/IscsiInitiator.h"
#include "wincompat/WinTypes.h"

namespace Vantor {

// A failing iSCSI call; what() is "iSCSI API error 0x%08X" with the call's status.
class IscsiException : public std::exception {
 public:
  explicit IscsiException(std::uint32_t status);
  const char* what() const noexcept override { return mText; }
  std::uint32_t GetStatus() const { return mStatus; }

 private:
  std::uint32_t mStatus;
  char mText[32];
};

// Digest policy flags (the registry's ISCSIGlobalDigestPolicy): other bits are ignored.
inline constexpr DWORD kDigestPolicyHeaderCrc32c = 0x1;
inline constexpr DWORD kDigestPolicyDataCrc32c = 0x2;

// True when at least one session with at least one connection leads to `targetName` (names
// compare without regard to case). Throws IscsiException when the session list cannot be read.
bool IsTargetConnected(const std::string& targetName);

// Logs out of every session with connections to `targetName`, each with up to three attempts
// 10 ms apart; a session that stays logged in is logged and reported (event 4070), and the
// walk goes on. Throws IscsiException only when the session list cannot be read.
void LogoutTarget(const std::string& targetName);

// Refreshes the initiator's target list and, when it reports targets, logs in to
// `targetName` with multipath enabled, no authentication, the initiator's choice of portal and
// port, and CRC32C header/data digests as `digestFlags` ask. A refresh that reports no targets
// makes no login and is not an error. Throws IscsiException (and reports event 4060) when the
// refresh or the login fails.
void LoginIScsiTarget(const std::string& targetName, DWORD digestFlags);

// The login options LoginIScsiTarget passes for `digestFlags`.
platform::ISCSI_LOGIN_OPTIONS MakeLoginOptions(DWORD digestFlags);

}  // namespace Vantor
