#pragma once
// The multipath driver's control device ("\\.\Vdsm"). Its control code 0x222160 answers, for
// every LUN the driver claims, the group management address the array reported; the reply
// record is parsed by the discovery code (discovery/DsmRecordParser.h).
//
// Win32 semantics: Win32 error codes; an output buffer too small for the whole record fails
// with ERROR_MORE_DATA (234) after receiving its beginning, one too small for the record's
// 3-byte header with ERROR_INSUFFICIENT_BUFFER (122). Win32DsmDevice uses CreateFileW and
// DeviceIoControl; EmulatedDsmDevice answers the simulator's DSM record for the emulated host.
#include <memory>
#include <string>

#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace platform {

inline constexpr const wchar_t* kDsmDevicePath = L"\\\\.\\Vdsm";
// CTL_CODE(FILE_DEVICE_UNKNOWN, 0x858, METHOD_BUFFERED, FILE_ANY_ACCESS)
inline constexpr DWORD kDsmGroupManagementIpInfoControlCode = 0x222160;

// An open handle to the driver's device; it closes when the object goes.
class DsmDeviceHandle {
 public:
  virtual ~DsmDeviceHandle() = default;
  // DeviceIoControl with no input buffer.
  virtual DWORD IoControl(DWORD controlCode, BYTE* outBuffer, DWORD outBufferSize, DWORD* bytesReturned) = 0;
};

class DsmDevice {
 public:
  virtual ~DsmDevice() = default;
  // CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0).
  virtual DWORD Open(const std::wstring& devicePath, std::unique_ptr<DsmDeviceHandle>& handle) = 0;
};

using DsmDeviceSlot = SeamSlot<DsmDevice>;
inline DsmDevice& TheDsmDevice() { return DsmDeviceSlot::Get(); }

}  // namespace platform
