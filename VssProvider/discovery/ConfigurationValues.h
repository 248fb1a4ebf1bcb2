#pragma once
// One reader per configuration value, through the registry seam. No reader fails its caller:
// a missing, mistyped or unreadable value gives the value's default (with a log line where the
// value has one), and the callers decide what the default means.
#include <optional>
#include <string>
#include <vector>

#include "wincompat/WinTypes.h"

namespace discovery {

// True only when "DisableAutomaticGroupDiscovery" reads as a REG_DWORD of non-zero size equal
// to exactly 1; 2, 3, ... leave discovery on.
bool ReadDisableAutomaticGroupDiscovery();

// "ISCSIGlobalDigestPolicy" as stored; 0 when the read fails or returns no bytes.
DWORD ReadIscsiGlobalDigestPolicy();
// "NoAdditionalVolumeInSnapshot" as stored; 0 when it cannot be read.
DWORD ReadNoAdditionalVolumeInSnapshot();
// "SkipVersionCheck" as stored; 0 when it cannot be read. The caller logs a non-zero flag.
DWORD ReadSkipVersionCheck();

// The array's REST port, cached for the process. While the cache holds 0 the registry is read
// again: a REG_DWORD is taken as it is (so a stored 0 is read again on the next call); anything
// else gives 5392.
DWORD ReadGmdRestPort();
// The REST receive timeout in milliseconds, cached for the process once read; 0 means the REST
// library's own default (the value is absent, not a REG_DWORD, or not greater than 0).
int ReadRestReceiveTimeout();
// Tests only: forget the cached port and timeout so that the next call reads the registry.
void ResetConfigurationCaches();

// "GroupMgmtIps": a size query, then a read into a buffer of twice that size. Returns the
// Win32 status (ERROR_NOT_ENOUGH_MEMORY when the buffer cannot be had) and, on success, the
// text up to its terminator (possibly empty).
LSTATUS ReadGroupMgmtIps(std::wstring& ips);

// The version bounds of the product key, narrow; empty when absent or unreadable (the caller
// keeps its built-in bound). Read into a buffer of 256 wide characters.
std::optional<std::string> ReadMinArrayVerSupported();
std::optional<std::string> ReadMaxArrayVerSupported();

// The narrow key path of one credential profile: the profile list key, "\", the name.
std::string ProfileKeyPath(const std::string& profileName);
// The values of one profile, read narrow with their type restriction; each returns the Win32
// status of the read and fills its output only on success.
LSTATUS ReadProfileUserName(const std::string& profileKeyPath, std::string& userName);
LSTATUS ReadProfileGroupMgmtIP(const std::string& profileKeyPath, std::string& groupMgmtIP);
LSTATUS ReadProfileCreatedBy(const std::string& profileKeyPath, std::string& createdBy);
// The enciphered password bytes, as many as the registry returned.
LSTATUS ReadProfilePassword(const std::string& profileKeyPath, std::vector<BYTE>& password);

}  // namespace discovery
