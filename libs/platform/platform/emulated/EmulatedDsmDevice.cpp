#include "platform/emulated/EmulatedDsmDevice.h"

#include <algorithm>
#include <cstring>
#include <cwctype>

namespace platform {
namespace {

// The driver's record begins with a version byte and a 16-bit entry count.
constexpr DWORD kDsmRecordHeaderSize = 3;

class EmulatedDsmHandle final : public DsmDeviceHandle {
 public:
  explicit EmulatedDsmHandle(std::shared_ptr<const EmulatedHostChannel> channel) : mChannel(std::move(channel)) {}

  DWORD IoControl(DWORD controlCode, BYTE* outBuffer, DWORD outBufferSize, DWORD* bytesReturned) override {
    if (bytesReturned) *bytesReturned = 0;
    if (controlCode != kDsmGroupManagementIpInfoControlCode) return ERROR_INVALID_FUNCTION;
    std::vector<std::uint8_t> record;
    try {
      const nlohmann::json answer = mChannel->Get("dsm");
      const auto it = answer.find("record");
      if (!answer.is_object() || it == answer.end() || !it->is_string()) return ERROR_INVALID_DATA;
      auto decoded = DecodeBase64(it->get<std::string>());
      if (!decoded) return ERROR_INVALID_DATA;
      record = std::move(*decoded);
    } catch (const HostChannelError&) {
      return ERROR_GEN_FAILURE;
    }
    if (record.empty()) return ERROR_SUCCESS;  // no LUN claimed by the driver
    if (!outBuffer || outBufferSize < kDsmRecordHeaderSize) return ERROR_INSUFFICIENT_BUFFER;
    const DWORD copied = static_cast<DWORD>(std::min<std::size_t>(outBufferSize, record.size()));
    std::memcpy(outBuffer, record.data(), copied);
    if (bytesReturned) *bytesReturned = copied;
    return copied < record.size() ? ERROR_MORE_DATA : ERROR_SUCCESS;
  }

 private:
  std::shared_ptr<const EmulatedHostChannel> mChannel;
};

bool IsDsmDevicePath(const std::wstring& path) {
  const std::wstring expected = kDsmDevicePath;
  return path.size() == expected.size() && std::equal(path.begin(), path.end(), expected.begin(), [](wchar_t a, wchar_t b) {
           return std::towlower(static_cast<wint_t>(a)) == std::towlower(static_cast<wint_t>(b));
         });
}

}  // namespace

EmulatedDsmDevice::EmulatedDsmDevice(EmulatedHostEndpoint endpoint)
    : mChannel(std::make_shared<const EmulatedHostChannel>(std::move(endpoint))) {}

DWORD EmulatedDsmDevice::Open(const std::wstring& devicePath, std::unique_ptr<DsmDeviceHandle>& handle) {
  handle.reset();
  if (!IsDsmDevicePath(devicePath)) return ERROR_FILE_NOT_FOUND;
  handle = std::make_unique<EmulatedDsmHandle>(mChannel);
  return ERROR_SUCCESS;
}

}  // namespace platform
