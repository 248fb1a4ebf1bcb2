#pragma once
// The iSCSI initiator seam: the four calls of the Windows iSCSI discovery API that the
// provider makes, with their structures, status codes and buffer rules.
//
// The structures are declared here for both builds: mingw-w64's iscsidsc.h does not compile
// (it lacks MAX_ISCSI_NAME_LEN and declares the string members of ISCSI_SESSION_INFOW as single
// characters). The layouts below are the SDK's; in the Windows build Win32IscsiInitiator hands
// them straight to iscsidsc.dll. EmulatedIscsiInitiator builds the same layout from the array
// simulator's host channel, with wchar_t strings of the native width.
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace platform {

using ISDSC_STATUS = ULONG;
// The longest iSCSI name, without its terminator (iscsidsc.h).
inline constexpr std::size_t MAX_ISCSI_NAME_LEN = 223;
// Statuses of the initiator service (iscsierr.h); Win32 error codes are answered as well.
inline constexpr ISDSC_STATUS ISDSC_NON_SPECIFIC_ERROR = 0xEFFF0001u;
inline constexpr ISDSC_STATUS ISDSC_LOGIN_FAILED = 0xEFFF0002u;
inline constexpr ISDSC_STATUS ISDSC_NOT_FOUND = 0xEFFF000Bu;

struct ISCSI_UNIQUE_SESSION_ID {
  ULONGLONG AdapterUnique;
  ULONGLONG AdapterSpecific;
};
using ISCSI_UNIQUE_CONNECTION_ID = ISCSI_UNIQUE_SESSION_ID;

struct ISCSI_CONNECTION_INFOW {
  ISCSI_UNIQUE_CONNECTION_ID ConnectionId;
  wchar_t* InitiatorAddress;
  wchar_t* TargetAddress;
  USHORT InitiatorSocket;
  USHORT TargetSocket;
  BYTE CID[2];
};

struct ISCSI_SESSION_INFOW {
  ISCSI_UNIQUE_SESSION_ID SessionId;
  wchar_t* InitiatorName;
  wchar_t* TargetNodeName;
  wchar_t* TargetName;
  BYTE ISID[6];
  BYTE TSID[2];
  ULONG ConnectionCount;
  ISCSI_CONNECTION_INFOW* Connections;
};

enum ISCSI_AUTH_TYPES : std::uint32_t {
  ISCSI_NO_AUTH_TYPE = 0,
  ISCSI_CHAP_AUTH_TYPE = 1,
  ISCSI_MUTUAL_CHAP_AUTH_TYPE = 2,
};

enum ISCSI_DIGEST_TYPES : std::uint32_t {
  ISCSI_DIGEST_TYPE_NONE = 0,
  ISCSI_DIGEST_TYPE_CRC32C = 1,
};

using ISCSI_LOGIN_OPTIONS_INFO_SPECIFIED = ULONG;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_HEADER_DIGEST = 0x00000001;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_DATA_DIGEST = 0x00000002;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_MAXIMUM_CONNECTIONS = 0x00000004;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_DEFAULT_TIME_2_WAIT = 0x00000008;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_DEFAULT_TIME_2_RETAIN = 0x00000010;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_USERNAME = 0x00000020;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_PASSWORD = 0x00000040;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_AUTH_TYPE = 0x00000080;
inline constexpr ULONG ISCSI_LOGIN_OPTIONS_VERSION = 0x00000000;

using ISCSI_LOGIN_FLAGS = ULONG;
inline constexpr ULONG ISCSI_LOGIN_FLAG_REQUIRE_IPSEC = 0x00000001;
inline constexpr ULONG ISCSI_LOGIN_FLAG_MULTIPATH_ENABLED = 0x00000002;

using ISCSI_SECURITY_FLAGS = ULONGLONG;
inline constexpr ULONG ISCSI_ANY_INITIATOR_PORT = 0xFFFFFFFFu;

struct ISCSI_LOGIN_OPTIONS {
  ULONG Version;
  ISCSI_LOGIN_OPTIONS_INFO_SPECIFIED InformationSpecified;
  ISCSI_LOGIN_FLAGS LoginFlags;
  ISCSI_AUTH_TYPES AuthType;
  ISCSI_DIGEST_TYPES HeaderDigest;
  ISCSI_DIGEST_TYPES DataDigest;
  ULONG MaximumConnections;
  ULONG DefaultTime2Wait;
  ULONG DefaultTime2Retain;
  ULONG UsernameLength;
  ULONG PasswordLength;
  BYTE* Username;
  BYTE* Password;
};

// Only ever passed as null (the initiator chooses the portal and the mappings).
struct ISCSI_TARGET_PORTALA;
struct ISCSI_TARGET_MAPPINGA;

class IscsiInitiator {
 public:
  virtual ~IscsiInitiator() = default;

  // GetIScsiSessionListW. `bufferSize` is in bytes, in and out. A buffer too small (or none)
  // answers 122 with the needed size and the session count; on success the buffer holds
  // `sessionCount` ISCSI_SESSION_INFOW records followed by what their pointers point to.
  virtual ISDSC_STATUS GetSessionListW(ULONG* bufferSize, ULONG* sessionCount, ISCSI_SESSION_INFOW* sessionInfo) = 0;

  // LoginIScsiTargetA.
  virtual ISDSC_STATUS LoginTargetA(const char* targetName, bool isInformationalSession, const char* initiatorInstance,
                                    ULONG initiatorPortNumber, const ISCSI_TARGET_PORTALA* targetPortal,
                                    ISCSI_SECURITY_FLAGS securityFlags, const ISCSI_TARGET_MAPPINGA* mappings,
                                    const ISCSI_LOGIN_OPTIONS* loginOptions, ULONG keySize, const char* key,
                                    bool isPersistent, ISCSI_UNIQUE_SESSION_ID* uniqueSessionId,
                                    ISCSI_UNIQUE_CONNECTION_ID* uniqueConnectionId) = 0;

  // LogoutIScsiTarget.
  virtual ISDSC_STATUS LogoutTarget(const ISCSI_UNIQUE_SESSION_ID* uniqueSessionId) = 0;

  // ReportIScsiTargetsW. `bufferSize` counts wide characters; the answer is a list of
  // zero-terminated target names ending with an empty one. With forceUpdate the initiator
  // first asks its portals again.
  virtual ISDSC_STATUS ReportTargetsW(bool forceUpdate, ULONG* bufferSize, wchar_t* buffer) = 0;

  // GetIScsiInitiatorNodeNameW: this host's initiator name, terminated, into `nodeName`, which
  // holds MAX_ISCSI_NAME_LEN + 1 characters.
  virtual ISDSC_STATUS GetInitiatorNodeNameW(wchar_t* nodeName) = 0;
};

using IscsiInitiatorSlot = SeamSlot<IscsiInitiator>;
inline IscsiInitiator& TheIscsiInitiator() { return IscsiInitiatorSlot::Get(); }

}  // namespace platform
