#pragma once
// Array certificates in the configuration: trust on first use when a group is added, `config
// trust` after an array's certificate was replaced, and the comparison of the pinned certificate
// with the one the array presents now (for `config show` and `doctor`).
#include <string>

#include "Report.h"

namespace vantorvss {

struct CertificateStatus {
  std::string pinned;     // empty: none (the array must present a certificate the system trusts)
  bool pinnedAtFirstUse = false;  // the provider made the pin at its first contact, not an administrator
  std::string presented;  // empty when the array could not be reached; then `error` says why
  std::string error;

  bool Matches() const { return !pinned.empty() && pinned == presented; }
  // One line for a person, e.g. "pinned 3f..; the array presents it".
  std::string Describe() const;
};

// Normalises a --certificate-sha256 argument (64 hex digits, ':' between pairs allowed).
// Throws std::invalid_argument, a usage error, for anything else.
std::string ParseCertificateSha256(const std::string& text);

CertificateStatus ReadCertificateStatus(const std::string& address);

// Reads the certificate the array at `address` presents and pins it. With `expected` (already
// parsed) the array must present exactly that one, or nothing is stored. 0 or 1.
int PinArrayCertificate(const std::string& address, const std::string& expected, Report& report);

// `config trust ADDRESS [--certificate-sha256 HEX]`: pins again what the array presents now.
int RunTrust(const std::string& address, const std::string& expected, Report& report);

}  // namespace vantorvss
