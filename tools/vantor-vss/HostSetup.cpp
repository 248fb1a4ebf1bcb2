#include "HostSetup.h"

#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "credstore/CredentialVault.h"
#include "logger/EventReporter.h"
#include "logger/TraceFolderCheck.h"
#include "logger/FileLog.h"
#include "logger/WindowsEventLogWrapper.h"
#include "messages/EventText.h"
#include "platform/DsmDevice.h"
#include "platform/IscsiInitiator.h"
#include "platform/Registry.h"
#include "platform/ServiceAccount.h"
#include "platform/StorageDevices.h"
#include "platform/emulated/EmulatedDsmDevice.h"
#include "platform/emulated/EmulatedEventLog.h"
#include "platform/emulated/EmulatedHostChannel.h"
#include "platform/emulated/EmulatedIscsiInitiator.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "platform/emulated/EmulatedServiceAccount.h"
#include "platform/emulated/EmulatedStorageDevices.h"
#ifdef _WIN32
// Windows: the credential store and host security use their Win32 defaults (registry, DPAPI).
#include "platform/win32/Win32DsmDevice.h"
#include "platform/win32/Win32EventLog.h"
#include "platform/win32/Win32FibreChannelPorts.h"
#include "platform/win32/Win32IscsiInitiator.h"
#include "platform/win32/Win32Registry.h"
#include "platform/win32/Win32ServiceAccount.h"
#include "platform/win32/Win32StorageDevices.h"
#else
#include "common/DataProtection.h"
#include "common/HostSecurity.h"
#include "common/emulated/EmulatedHostSecurity.h"
#include "common/emulated/HostKeyDataProtection.h"
#include "credstore/RegistryCredentialVault.h"
#endif

namespace vantorvss {

namespace {
constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";
}  // namespace

// Forwards to the installed event log and keeps a copy of every report of this run.
class InstalledHost::RecordingEventLog final : public platform::EventLog {
 public:
  explicit RecordingEventLog(std::unique_ptr<platform::EventLog> inner) : inner_(std::move(inner)) {}
  bool InstallSource(const std::wstring& source, const std::wstring& file) override {
    return inner_->InstallSource(source, file);
  }
  bool RemoveSource(const std::wstring& source) override { return inner_->RemoveSource(source); }
  std::wstring SourceMessageFile(const std::wstring& source) const override { return inner_->SourceMessageFile(source); }
  bool Report(const std::wstring& source, WORD type, DWORD id, const std::vector<std::wstring>& strings) override {
    {
      const std::lock_guard lock(mutex_);
      records_.push_back({type, id, strings, source});
    }
    return inner_->Report(source, type, id, strings);
  }
  std::vector<platform::EventRecord> Records() const override {
    const std::lock_guard lock(mutex_);
    return records_;
  }

 private:
  std::unique_ptr<platform::EventLog> inner_;
  mutable std::mutex mutex_;
  std::vector<platform::EventRecord> records_;
};

InstalledHost::InstalledHost(const HostOptions& options) : hostDir_(options.hostDir) {
  std::filesystem::path traceDir = options.traceDir;
  std::unique_ptr<platform::EventLog> events;

  if (!hostDir_.empty()) {
    if (!std::filesystem::is_directory(hostDir_)) throw std::runtime_error("host folder " + hostDir_.string() + " does not exist");
    if (traceDir.empty()) traceDir = hostDir_ / "logs";
    std::error_code ignored;
    std::filesystem::create_directories(traceDir, ignored);
    const platform::EmulatedHostEndpoint endpoint = platform::ReadEmulatedHostEndpoint(hostDir_ / "host.json");
    platform::StorageDevicesSlot::Install(std::make_unique<platform::EmulatedStorageDevices>(endpoint));
    platform::DsmDeviceSlot::Install(std::make_unique<platform::EmulatedDsmDevice>(endpoint));
    platform::IscsiInitiatorSlot::Install(std::make_unique<platform::EmulatedIscsiInitiator>(endpoint));
#ifdef _WIN32
    // Under Wine the registry, event log and service manager are real; only what Wine lacks
    // (the storage stack, the multipath driver, the initiator) comes from the emulated host.
    platform::RegistrySlot::Install(std::make_unique<platform::Win32Registry>());
    platform::ServiceAccountSlot::Install(std::make_unique<platform::Win32ServiceAccount>());
    events = std::make_unique<platform::Win32EventLog>();
#else
    auto registry = std::make_unique<platform::EmulatedRegistry>();
    const std::filesystem::path regFile = hostDir_ / "registry.reg";
    if (std::filesystem::exists(regFile)) {
      if (const auto error = registry->LoadFile(regFile))
        throw std::runtime_error(regFile.string() + ": " + error->ToString());
    }
    registry->PersistTo(regFile);
    platform::RegistrySlot::Install(std::move(registry));
    platform::ServiceAccountSlot::Install(std::make_unique<platform::EmulatedServiceAccount>());
    events = std::make_unique<platform::EmulatedEventLog>(
        traceDir / "events.log",
        [](DWORD id, const std::vector<std::wstring>& strings) { return messages::RenderEventText(id, strings); });
    // The machine store in the emulated registry, sealed with the host's own key as DPAPI seals
    // it in machine scope on Windows; host.json says who is an administrator.
    credstore::CredentialVaultSlot::Install(std::make_unique<credstore::RegistryCredentialVault>(
        std::make_unique<common::HostKeyDataProtection>(hostDir_, common::kMachineCredentialPurpose)));
    common::HostSecuritySlot::Install(common::EmulatedHostSecurity::FromHostFile(hostDir_ / "host.json"));
    // Profile passwords are sealed with the host's own key, as DPAPI seals them on Windows.
    common::DataProtectionSlot::Install(std::make_unique<common::HostKeyDataProtection>(hostDir_));
#endif
  } else {
#ifdef _WIN32
    platform::RegistrySlot::Install(std::make_unique<platform::Win32Registry>());
    platform::ServiceAccountSlot::Install(std::make_unique<platform::Win32ServiceAccount>());
    platform::StorageDevicesSlot::Install(std::make_unique<platform::Win32StorageDevices>());
    platform::DsmDeviceSlot::Install(std::make_unique<platform::Win32DsmDevice>());
    platform::IscsiInitiatorSlot::Install(std::make_unique<platform::Win32IscsiInitiator>());
    platform::FibreChannelPortsSlot::Install(std::make_unique<platform::Win32FibreChannelPorts>());
    events = std::make_unique<platform::Win32EventLog>();
#else
    throw std::runtime_error("--host-dir is required outside Windows (the emulated host to run against)");
#endif
  }

  auto recorder = std::make_unique<RecordingEventLog>(std::move(events));
  recorder_ = recorder.get();
  platform::EventLogSlot::Install(std::move(recorder));

  if (!traceDir.empty()) CFileLog::SetTraceDirectory(traceDir);
  if (CFileLog* log = CFileLog::GetInstance()) log->InitializeLogging(L"VSSTrace");
  eventLog_ = std::make_unique<CWindowsEventLogWrapper>();
  eventLog_->Init(kServiceName, L"VantorVssProvider.exe");
  logger::SetProcessEventLog(eventLog_.get());
  logger::ReportRefusedTraceFolder();
}

InstalledHost::~InstalledHost() {
  logger::SetProcessEventLog(nullptr);
  if (CFileLog* log = CFileLog::GetInstance()) log->Flush();
}

std::vector<platform::EventRecord> InstalledHost::Events() const { return recorder_->Records(); }

std::filesystem::path InstalledHost::TracePath() const {
  CFileLog* log = CFileLog::GetInstance();
  return log ? log->TracePath() : std::filesystem::path{};
}

}  // namespace vantorvss
