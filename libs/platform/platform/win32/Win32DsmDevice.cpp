#include "platform/win32/Win32DsmDevice.h"

#include "platform/win32/Win32Handle.h"

namespace platform {
namespace {

class Win32DsmHandle final : public DsmDeviceHandle {
 public:
  explicit Win32DsmHandle(win32::UniqueHandle handle) : mHandle(std::move(handle)) {}
  DWORD IoControl(DWORD controlCode, BYTE* outBuffer, DWORD outBufferSize, DWORD* bytesReturned) override {
    DWORD returned = 0;
    const BOOL ok = DeviceIoControl(mHandle.get(), controlCode, nullptr, 0, outBuffer, outBufferSize, &returned, nullptr);
    const DWORD status = ok ? ERROR_SUCCESS : GetLastError();
    // ERROR_MORE_DATA still delivers the beginning of the record and its byte count.
    if (bytesReturned) *bytesReturned = returned;
    return status;
  }

 private:
  win32::UniqueHandle mHandle;
};

}  // namespace

DWORD Win32DsmDevice::Open(const std::wstring& devicePath, std::unique_ptr<DsmDeviceHandle>& handle) {
  handle.reset();
  win32::UniqueHandle device(CreateFileW(devicePath.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
  if (!device.valid()) return GetLastError();
  handle = std::make_unique<Win32DsmHandle>(std::move(device));
  return ERROR_SUCCESS;
}

}  // namespace platform
