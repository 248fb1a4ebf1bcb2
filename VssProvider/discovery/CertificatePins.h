#pragma once
// Pinned array certificates: under HKEY_LOCAL_MACHINE\SOFTWARE\Vantor Storage\Certificates one
// REG_SZ value per group management address, the SHA-256 of the DER certificate that the array
// at that address presented when an administrator trusted it (64 lower-case hex digits).
// Written by the configuration tool, read by the provider for every new array connection. An
// address configured without the tool (GroupMgmtIps, a credential profile) is pinned by the
// provider at its first successful contact; the subkey FirstUse remembers which pins those are,
// and an administrator's pin of the address replaces that mark.
#include <string>

#include "wincompat/WinTypes.h"

namespace discovery {

// The pin of `address`, or empty when there is none. A value that is not a SHA-256 in hex is
// logged and treated as no pin, so the array is then verified against the system's trust
// store, which an array's self-signed certificate does not pass: a damaged pin never lets
// another certificate in.
std::string ReadCertificatePin(const std::string& address);

// `sha256Hex` must already be 64 lower-case hex digits. Creates the key when needed, with an
// access list of SYSTEM and Administrators only. The administrator's pin: no first-use mark.
LSTATUS WriteCertificatePin(const std::string& address, const std::string& sha256Hex);
// The same pin, marked as made at first use.
LSTATUS WriteFirstUsePin(const std::string& address, const std::string& sha256Hex);
// Whether the pin of `address` is the one the provider made at first use.
bool IsPinnedAtFirstUse(const std::string& address);
// ERROR_SUCCESS also when there was no pin.
LSTATUS RemoveCertificatePin(const std::string& address);

}  // namespace discovery
