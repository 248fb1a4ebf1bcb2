#include "EmulatedServiceSeams.h"

#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "logger/HostInfo.h"
#include "messages/EventText.h"
#include "platform/emulated/EmulatedDsmDevice.h"
#include "platform/emulated/EmulatedEventLog.h"
#include "platform/emulated/EmulatedHostChannel.h"
#include "platform/emulated/EmulatedIscsiInitiator.h"
#include "platform/emulated/EmulatedStorageDevices.h"
#include "platform/win32/Win32EventLog.h"
#include "platform/win32/Win32Registry.h"
#include "platform/win32/Win32ServiceAccount.h"

namespace outofprocess {
namespace {

// Reports to Wine's event log (where the service's registration put the source) and keeps a
// readable copy, because Wine's log cannot be read back.
class MirroredEventLog final : public platform::EventLog {
 public:
  explicit MirroredEventLog(const std::filesystem::path& textFile)
      : mirror_(textFile, [](DWORD id, const std::vector<std::wstring>& strings) {
          return messages::RenderEventText(id, strings);
        }) {}
  bool InstallSource(const std::wstring& source, const std::wstring& file) override {
    return windows_.InstallSource(source, file);
  }
  bool RemoveSource(const std::wstring& source) override { return windows_.RemoveSource(source); }
  std::wstring SourceMessageFile(const std::wstring& source) const override {
    return windows_.SourceMessageFile(source);
  }
  bool Report(const std::wstring& source, WORD type, DWORD id, const std::vector<std::wstring>& strings) override {
    mirror_.Report(source, type, id, strings);
    return windows_.Report(source, type, id, strings);
  }
  std::vector<platform::EventRecord> Records() const override { return mirror_.Records(); }

 private:
  platform::Win32EventLog windows_;
  platform::EmulatedEventLog mirror_;
};

}  // namespace

void InstallEmulatedServiceSeams(const std::filesystem::path& executableDirectory) {
  const platform::EmulatedHostEndpoint endpoint = platform::ReadEmulatedHostEndpoint(executableDirectory / kEmulatedHostFile);
  platform::RegistrySlot::Install(std::make_unique<platform::Win32Registry>());
  platform::ServiceAccountSlot::Install(std::make_unique<platform::Win32ServiceAccount>());
  platform::StorageDevicesSlot::Install(std::make_unique<platform::EmulatedStorageDevices>(endpoint));
  platform::DsmDeviceSlot::Install(std::make_unique<platform::EmulatedDsmDevice>(endpoint));
  platform::IscsiInitiatorSlot::Install(std::make_unique<platform::EmulatedIscsiInitiator>(endpoint));
  const std::filesystem::path traceDirectory = logger::host::DefaultTraceDirectory();
  std::error_code ignored;
  std::filesystem::create_directories(traceDirectory, ignored);
  platform::EventLogSlot::Install(std::make_unique<MirroredEventLog>(traceDirectory / "events.log"));
}

}  // namespace outofprocess
