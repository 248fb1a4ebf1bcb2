#include "ConfigCommands.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "CertificateCommands.h"
#include "array/GroupProtocols.h"
#include "CredentialCheck.h"
#include "array/VaVssArrayWrapper.h"
#include "common/HostSecurity.h"
#include "common/SecureBuffer.h"
#include "credstore/CredentialRecord.h"
#include "credstore/CredentialVault.h"
#include "discovery/CertificatePins.h"
#include "discovery/ConfigurationKeys.h"
#include "discovery/ConfigurationValues.h"
#include "discovery/VantorGroupFinder.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

namespace vantorvss {
namespace {

std::vector<std::string> SplitAddresses(const std::wstring& text) {
  std::vector<std::string> out;
  std::istringstream in(wincompat::ToNarrow(text));
  for (std::string address; in >> address;) out.push_back(address);
  return out;
}

std::vector<std::string> ConfiguredAddresses() {
  std::wstring ips;
  if (discovery::ReadGroupMgmtIps(ips) != ERROR_SUCCESS) return {};
  return SplitAddresses(ips);
}

// Writes "GroupMgmtIps" through the registry seam (creating the configuration key).
DWORD WriteConfiguredAddresses(const std::vector<std::string>& addresses) {
  std::string joined;
  for (const auto& a : addresses) joined += (joined.empty() ? "" : " ") + a;
  const std::wstring wide = wincompat::ToWide(joined);
  platform::RegKey key;
  if (const LSTATUS created = platform::TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, discovery::kConfigurationKey, key.out());
      created != ERROR_SUCCESS)
    return static_cast<DWORD>(created);
  return static_cast<DWORD>(platform::TheRegistry().SetValueExW(
      key.get(), discovery::kGroupMgmtIps, REG_SZ, reinterpret_cast<const BYTE*>(wide.c_str()),
      static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t))));
}

std::string OnOff(bool on) { return on ? "yes" : "no"; }

// The machine-wide store admits SYSTEM and Administrators only; refusing up front says why
// instead of an "access denied" half-way, and changes nothing.
bool RefusedWithoutElevation(const std::string& command, Report& report) {
  common::HostSecurity* security = common::CurrentHostSecurity();
  if (security && security->IsElevated()) return false;
  report.notes.push_back(command +
                         " changes the machine-wide credential store, which only an administrator may do: run "
                         "vantor-vss elevated (\"Run as administrator\"). Nothing was changed.");
  return true;
}

// One line of standard input, straight into a buffer that is wiped; a trailing CR is dropped.
common::SecureString ReadPasswordLine(std::istream& in) {
  common::SecureBytes buffer(credstore::kMaxPasswordBytes + 1);
  std::size_t length = 0;
  for (int c = in.get(); c != std::char_traits<char>::eof() && c != '\n'; c = in.get()) {
    if (length == buffer.size()) throw std::invalid_argument("the password is longer than 1024 bytes");
    buffer.data()[length++] = static_cast<std::uint8_t>(c);
  }
  if (length > 0 && buffer.data()[length - 1] == '\r') --length;
  common::SecureString password;
  password.assign(reinterpret_cast<const char*>(buffer.data()), length);
  return password;
}

// What the administrator should do about a group whose check did not end "ok".
std::string GroupAction(const std::string& address, int protocols, const std::string& result) {
  if (result == "ok") return "";
  if (protocols == Vantor::GROUP_PROTOCOLS_NO_REST) return "enable the REST management interface on the group";
  if (result == "array version not supported")
    return "upgrade the group's software, or widen MinArrayVerSupported/MaxArrayVerSupported";
  return "check that " + address + " is the group's management address and is reachable from this host (TCP 5392 "
         "and 4210), and that its credential is right (vantor-vss config add-group " + address +
         " --user USER --password-stdin)";
}

}  // namespace

int RunShowConfig(Report& report) {
  const auto addresses = ConfiguredAddresses();
  nlohmann::json config;
  config["group_mgmt_ips"] = addresses;
  config["disable_automatic_group_discovery"] = discovery::ReadDisableAutomaticGroupDiscovery();
  config["iscsi_global_digest_policy"] = discovery::ReadIscsiGlobalDigestPolicy();
  config["no_additional_volume_in_snapshot"] = discovery::ReadNoAdditionalVolumeInSnapshot();
  config["skip_version_check"] = discovery::ReadSkipVersionCheck();
  config["gmd_rest_port"] = discovery::ReadGmdRestPort();
  config["rest_receive_timeout_ms"] = discovery::ReadRestReceiveTimeout();
  config["min_array_version"] = discovery::ReadMinArrayVerSupported().value_or(discovery::kBuiltInMinArrayVersion);
  config["max_array_version"] = discovery::ReadMaxArrayVerSupported().value_or("(no upper bound)");
  nlohmann::json credentials = nlohmann::json::object();
  std::vector<std::string> credentialLines;
  for (const auto& address : addresses) {
    const GroupCredentialCheck check = CheckGroupCredential(address);
    credentials[address] = check.ToJson();
    credentialLines.push_back(check.ToText());
  }
  config["credentials"] = credentials;
  nlohmann::json certificates = nlohmann::json::object();
  std::vector<std::string> certificateLines;
  for (const auto& address : addresses) {
    const CertificateStatus status = ReadCertificateStatus(address);
    certificates[address] = {{"pinned_sha256", status.pinned},
                             {"pinned_at_first_use", status.pinnedAtFirstUse},
                             {"presented_sha256", status.presented},
                             {"presents_pinned", status.Matches()},
                             {"text", status.Describe()}};
    certificateLines.push_back("certificate of " + address + ": " + status.Describe());
  }
  config["certificates"] = certificates;
  for (const auto& [name, value] : config.items())
    if (name != "credentials" && name != "certificates") report.notes.push_back(name + ": " + value.dump());
  report.notes.insert(report.notes.end(), credentialLines.begin(), credentialLines.end());
  report.notes.insert(report.notes.end(), certificateLines.begin(), certificateLines.end());
  report.extra["config"] = config;
  return 0;
}

int RunAddGroup(const std::string& address, const std::string& user, bool passwordStdin,
                const std::string& expectedCertificate, Report& report) {
  if (!passwordStdin)
    throw std::invalid_argument("config add-group reads the password from standard input: give --password-stdin");
  if (RefusedWithoutElevation("config add-group", report)) return 1;
  const common::SecureString password = ReadPasswordLine(std::cin);

  // The array shows its certificate first: one that cannot (or shows another than the expected
  // one) gets nothing stored. The pin goes back to what it was if a later step fails.
  const std::string previousPin = discovery::ReadCertificatePin(address);
  if (PinArrayCertificate(address, expectedCertificate, report) != 0) return 1;
  const auto restorePin = [&] {
    if (previousPin.empty()) {
      discovery::RemoveCertificatePin(address);
    } else {
      discovery::WriteCertificatePin(address, previousPin);
    }
  };

  // What was stored before, so that a failure further on puts it back.
  credstore::CredentialVault* vault = credstore::CurrentCredentialVault();
  credstore::ArrayCredential previous;
  const bool hadPrevious = vault && vault->Read(address, previous) == ERROR_SUCCESS;
  if (const DWORD stored = credstore::StoreArrayCredential(address, user, password.str()); stored != ERROR_SUCCESS) {
    restorePin();
    report.notes.push_back("cannot store the credential of " + address + ": " +
                           credstore::DescribeCredentialStatus(stored));
    return 1;
  }
  auto addresses = ConfiguredAddresses();
  if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) addresses.push_back(address);
  if (const DWORD written = WriteConfiguredAddresses(addresses); written != ERROR_SUCCESS) {
    if (hadPrevious) {
      vault->Write(address, previous);
    } else {
      credstore::RemoveArrayCredential(address);
    }
    restorePin();
    report.notes.push_back("cannot write GroupMgmtIps (error " + std::to_string(written) + "); nothing was changed");
    return 1;
  }
  report.notes.push_back("group " + address + " added for user " + user +
                         "; its credential is in the machine-wide store, readable by SYSTEM and Administrators only");
  return 0;
}

int RunRemoveGroup(const std::string& address, Report& report) {
  if (RefusedWithoutElevation("config remove-group", report)) return 1;
  auto addresses = ConfiguredAddresses();
  std::erase(addresses, address);
  const DWORD written = WriteConfiguredAddresses(addresses);
  const DWORD removed = credstore::RemoveArrayCredential(address);
  const LSTATUS unpinned = discovery::RemoveCertificatePin(address);
  const bool ok = written == ERROR_SUCCESS && unpinned == ERROR_SUCCESS &&
                  (removed == ERROR_SUCCESS || removed == credstore::kCredentialNotFound);
  if (written != ERROR_SUCCESS) report.notes.push_back("cannot write GroupMgmtIps (error " + std::to_string(written) + ")");
  if (unpinned != ERROR_SUCCESS)
    report.notes.push_back("cannot remove the certificate pin of " + address + " (error " + std::to_string(unpinned) + ")");
  if (!ok && written == ERROR_SUCCESS && unpinned == ERROR_SUCCESS)
    report.notes.push_back("cannot remove the credential of " + address + ": " +
                           credstore::DescribeCredentialStatus(removed));
  if (ok) report.notes.push_back("group " + address + " removed");
  return ok ? 0 : 1;
}

int RunDoctor(Report& report) {
  VantorGroupFinder finder;
  GroupCredentialMap groups;
  finder.DiscoverGroups(groups);
  report.notes.push_back("automatic group discovery: " + OnOff(!VantorGroupFinder::IsAutomaticGroupDiscoveryDisabled()));
  report.notes.push_back("address            REST  credential  version                 result");
  nlohmann::json rows = nlohmann::json::array();
  bool allGood = !groups.empty();
  if (groups.empty()) report.notes.push_back("no array group is configured or discovered on this host");
  for (const auto& [address, credential] : groups) {
    const int protocols = Vantor::GetProtocols(address);
    const std::string rest = protocols == Vantor::GROUP_PROTOCOLS_REST       ? "yes"
                             : protocols == Vantor::GROUP_PROTOCOLS_NO_REST ? "no"
                                                                             : "unknown";
    std::string version;
    std::string result;
    try {
      VaVssArrayWrapper wrapper(address, Vantor::LoginInfo(credential.userName, credential.password));
      result = wrapper.IsArraySupported(version) ? "ok" : "array version not supported";
    } catch (const std::exception& e) {
      result = std::string("cannot log in: ") + e.what();
    }
    if (protocols == Vantor::GROUP_PROTOCOLS_NO_REST) result = "REST not supported: snapshots will fail";
    // This process may read what the service cannot: the service's own access decides.
    const GroupCredentialCheck access = CheckGroupCredential(address);
    std::string verdict = result == "ok" ? "ok" : "fail";
    std::string action = GroupAction(address, protocols, result);
    if (access.serviceCanRead != "yes") {
      verdict = access.serviceCanRead == "no" ? "fail" : (verdict == "ok" ? "warning" : verdict);
      action = "the service's account " + access.serviceAccount + " cannot read the credential (" + access.reason +
               ")" + (action.empty() ? "" : "; " + action);
    }
    allGood = allGood && verdict != "fail";
    const std::string user = credential.empty() ? "(none)" : credential.userName;
    std::ostringstream line;
    line << address << std::string(address.size() < 19 ? 19 - address.size() : 1, ' ') << rest
         << std::string(rest.size() < 6 ? 6 - rest.size() : 1, ' ') << user
         << std::string(user.size() < 12 ? 12 - user.size() : 1, ' ') << version
         << std::string(version.size() < 24 ? 24 - version.size() : 1, ' ') << result << " [" << verdict << "]";
    report.notes.push_back(line.str());
    if (!action.empty()) report.notes.push_back("  to do: " + action);
    const std::string certificate = ReadCertificateStatus(address).Describe();
    report.notes.push_back("  certificate: " + certificate);
    rows.push_back({{"address", address}, {"rest", rest}, {"user", user}, {"version", version}, {"result", result},
                    {"certificate", certificate}, {"service_can_read", access.serviceCanRead},
                    {"credential_source", access.source}, {"verdict", verdict}, {"action", action}});
  }
  report.extra["groups"] = rows;
  return allGood ? 0 : 1;
}

}  // namespace vantorvss
