#pragma once
// Every registry key and value name of the provider's configuration, and the fixed names that
// travel with them, defined once for the whole program. The configuration tooling writes these
// values under HKEY_LOCAL_MACHINE; the provider only reads them. Profile values are read with
// the narrow registry call, so their names (and the profile list path) also come narrow.
#include <cstddef>
#include <string>

#include "wincompat/WinTypes.h"

namespace discovery {

// ---- key paths (under HKEY_LOCAL_MACHINE) ----
inline constexpr const wchar_t* kProductKey = L"SOFTWARE\\Vantor Storage";
inline constexpr const wchar_t* kConfigurationKey = L"SOFTWARE\\Vantor Storage\\Configuration";
inline constexpr const char* kConfigurationKeyA = "SOFTWARE\\Vantor Storage\\Configuration";
inline constexpr const wchar_t* kConfigurationSubkey = L"Configuration";
// One REG_SZ value per group management address: the SHA-256 (64 lower-case hex digits) of the
// DER certificate that the array at that address must present.
inline constexpr const wchar_t* kCertificatesKey = L"SOFTWARE\\Vantor Storage\\Certificates";
// The provider's journal of snapshot sets it gave up after asking a group to create them.
inline constexpr const wchar_t* kAbandonedSetsKey = L"SOFTWARE\\Vantor Storage\\AbandonedSets";
// One REG_SZ per address whose pin the provider made at its first contact: the pin it made.
inline constexpr const wchar_t* kFirstUsePinsKey = L"SOFTWARE\\Vantor Storage\\Certificates\\FirstUse";
inline constexpr const wchar_t* kGrpMgmtProfileList = L"GrpMgmtProfileList";
inline constexpr const char* kGrpMgmtProfileListA = "GrpMgmtProfileList";
// The key whose subkeys are the credential profiles, one subkey per profile.
inline const std::wstring kProfileListKey = std::wstring(kConfigurationKey) + L"\\" + kGrpMgmtProfileList;
inline const std::string kProfileListKeyA = std::string(kConfigurationKeyA) + "\\" + kGrpMgmtProfileListA;

// ---- values of the configuration key ----
inline constexpr const wchar_t* kDisableAutomaticGroupDiscovery = L"DisableAutomaticGroupDiscovery";
inline constexpr const wchar_t* kGroupMgmtIps = L"GroupMgmtIps";
inline constexpr const wchar_t* kISCSIGlobalDigestPolicy = L"ISCSIGlobalDigestPolicy";
inline constexpr const wchar_t* kNoAdditionalVolumeInSnapshot = L"NoAdditionalVolumeInSnapshot";
inline constexpr const wchar_t* kSkipVersionCheck = L"SkipVersionCheck";
inline constexpr const wchar_t* kGmdRestPort = L"GmdRestPort";
inline constexpr const wchar_t* kRestReceiveTimeout = L"RestReceiveTimeout";

// ---- values of the product key ----
inline constexpr const wchar_t* kMinArrayVerSupported = L"MinArrayVerSupported";
inline constexpr const wchar_t* kMaxArrayVerSupported = L"MaxArrayVerSupported";

// ---- values of one credential profile ----
inline constexpr const wchar_t* kUserName = L"UserName";
inline constexpr const char* kUserNameA = "UserName";
inline constexpr const wchar_t* kGroupMgmtIP = L"GroupMgmtIP";
inline constexpr const char* kGroupMgmtIPA = "GroupMgmtIP";
inline constexpr const wchar_t* kCreatedBy = L"CreatedBy";
inline constexpr const char* kCreatedByA = "CreatedBy";
inline constexpr const wchar_t* kPassword = L"Password";
inline constexpr const char* kPasswordA = "Password";

// ---- names other host components use; this program never reads them ----
inline constexpr const wchar_t* kExcludedIps = L"ExcludedIps";
inline constexpr const wchar_t* kIncludedIps = L"IncludedIps";
inline constexpr const wchar_t* kCleanPhantomDevices = L"CleanPhantomDevices";
inline constexpr const wchar_t* kCleanPhantomDevicesInterval = L"CleanPhantomDevicesInterval";
inline constexpr const wchar_t* kCleanPhantomDevicesThreshold = L"CleanPhantomDevicesThreshold";
inline constexpr const wchar_t* kDisableTransportableSnapshots = L"DisableTransportableSnapshots";
inline constexpr const wchar_t* kTestPointSetting = L"TestPointSetting";
inline constexpr const wchar_t* kObjectName = L"ObjectName";
inline constexpr const wchar_t* kServicesKey = L"SYSTEM\\CurrentControlSet\\Services";
inline constexpr const wchar_t* kLocalSystem = L"localsystem";
inline constexpr const char* kTargetNamePattern =
    "(iqn)(\\.)([0-9]+)-([0-9]+)(\\.)(com)(\\.)(vantorstorage:)(*)-(*)-*";

// ---- fixed names and values that are not registry names ----
inline constexpr const wchar_t* kTraceComponent = L"VSSTrace";
inline constexpr const wchar_t* kDsmDevice = L"\\\\.\\Vdsm";
inline constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";
inline constexpr const char* kBuiltInMinArrayVersion = "3.0.0.0-00001-opt";
inline constexpr const char* kArrayVersionPattern =
    "([0-9]+)(\\.)([0-9]+)(\\.)([0-9]+)(\\.)([0-9]+)-([a-zA-Z0-9]+)-(opt|dbg)";
inline constexpr DWORD kDefaultGmdRestPort = 5392;

// Buffers the values are read into: the version bounds hold 256 wide characters (512 bytes on
// Windows), the profile strings 255 bytes, the enciphered password 8192 bytes.
inline constexpr std::size_t kArrayVersionBufferChars = 256;
inline constexpr std::size_t kProfileStringBufferBytes = 255;
inline constexpr std::size_t kProfilePasswordBufferBytes = 8192;

}  // namespace discovery
