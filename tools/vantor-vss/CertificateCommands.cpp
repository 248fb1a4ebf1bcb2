#include "CertificateCommands.h"

#include <stdexcept>

#include "common/HostSecurity.h"
#include "discovery/CertificatePins.h"
#include "discovery/ConfigurationValues.h"
#include "http/CertificatePin.h"
#include "http/Transport.h"
#include "http/TransportError.h"

namespace vantorvss {
namespace {

std::string Presented(const std::string& address) {
  const DWORD port = discovery::ReadGmdRestPort();
  if (port == 0 || port > 65535) throw std::runtime_error("GmdRestPort " + std::to_string(port) + " is not a port");
  return vantor::http::presentedCertificateSha256(address, static_cast<std::uint16_t>(port));
}

}  // namespace

std::string CertificateStatus::Describe() const {
  std::string text = pinned.empty()     ? "no pinned certificate (the system's trust store decides)"
                     : pinnedAtFirstUse ? "pinned at first use " + pinned
                                        : "pinned " + pinned;
  if (!error.empty()) return text + "; the array cannot be reached: " + error;
  if (pinned.empty()) return text + "; the array presents " + presented;
  return text + (Matches() ? "; the array presents it" : "; the array presents ANOTHER certificate " + presented);
}

std::string ParseCertificateSha256(const std::string& text) {
  const auto normalized = vantor::http::normalizeSha256Hex(text);
  if (!normalized) throw std::invalid_argument("--certificate-sha256 takes 64 hexadecimal digits (a SHA-256), not '" + text + "'");
  return *normalized;
}

CertificateStatus ReadCertificateStatus(const std::string& address) {
  CertificateStatus status;
  status.pinned = discovery::ReadCertificatePin(address);
  status.pinnedAtFirstUse = !status.pinned.empty() && discovery::IsPinnedAtFirstUse(address);
  try {
    status.presented = Presented(address);
  } catch (const std::exception& e) {
    status.error = e.what();
  }
  return status;
}

int PinArrayCertificate(const std::string& address, const std::string& expected, Report& report) {
  std::string presented;
  try {
    presented = Presented(address);
  } catch (const std::exception& e) {
    report.notes.push_back("cannot read the certificate of " + address + ": " + e.what());
    return 1;
  }
  report.extra["certificate_sha256"] = presented;
  report.notes.push_back("the array at " + address + " presents the certificate with SHA-256 " + presented);
  if (!expected.empty() && expected != presented) {
    report.notes.push_back("refused: the certificate expected is " + expected + "; nothing was stored");
    return 1;
  }
  const std::string before = discovery::ReadCertificatePin(address);
  if (const LSTATUS written = discovery::WriteCertificatePin(address, presented); written != ERROR_SUCCESS) {
    report.notes.push_back("cannot store the certificate pin of " + address + " (error " + std::to_string(written) + ")");
    return 1;
  }
  if (!before.empty() && before != presented) report.notes.push_back("it replaces the pinned " + before);
  report.notes.push_back("pinned: the provider talks to " + address + " only while it presents this certificate");
  return 0;
}

int RunTrust(const std::string& address, const std::string& expected, Report& report) {
  common::HostSecurity* security = common::CurrentHostSecurity();
  if (!security || !security->IsElevated()) {
    report.notes.push_back("config trust changes the pinned certificates, which only an administrator may do: run "
                           "vantor-vss elevated (\"Run as administrator\"). Nothing was changed.");
    return 1;
  }
  return PinArrayCertificate(address, expected, report);
}

}  // namespace vantorvss
