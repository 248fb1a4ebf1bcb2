#include "HostChecks.h"

#include <fstream>
#include <cwchar>
#include <random>

#include "Report.h"
#include "logger/FileLog.h"
#include "platform/Registry.h"
#include "service/ServiceIdentity.h"
#include "wincompat/WideString.h"

#ifndef _WIN32
#include <sys/stat.h>

#include "common/emulated/HostSecretCipher.h"
#endif

namespace vantorvss {
namespace {

const std::wstring kServiceKey = std::wstring(L"SYSTEM\\CurrentControlSet\\Services\\") + service::kServiceName;
// Where VSS keeps the providers registered with it.
const std::wstring kVssProviderKey =
    L"SYSTEM\\CurrentControlSet\\Services\\VSS\\Providers\\" + wincompat::GuidToWString(service::kVssProviderId);
const std::wstring kClassKey = std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + service::kClassIdText;
const std::wstring kAppIdKey = std::wstring(L"SOFTWARE\\Classes\\AppID\\") + service::kAppIdText;

std::optional<std::wstring> ReadText(const std::wstring& key, const wchar_t* value) {
  wchar_t data[1024];
  DWORD size = sizeof data;
  if (platform::TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, RRF_RT_REG_SZ,
                                        nullptr, data, &size) != ERROR_SUCCESS)
    return std::nullopt;
  return std::wstring(data, wcsnlen(data, size / sizeof(wchar_t)));
}

bool KeyExists(const std::wstring& key) {
  platform::RegKey opened;
  return platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, opened.out()) ==
         ERROR_SUCCESS;
}

constexpr const char* kReinstall = "run 'VantorVssProvider.exe /install' (or repair the installation) as an administrator";

HostCheck ComRegistration() {
  HostCheck check{"COM registration", Verdict::Ok, "", ""};
  const auto server = ReadText(kClassKey + L"\\LocalServer32", L"");
  const auto localService = ReadText(kAppIdKey, L"LocalService");
  if (!server) {
    check = {check.name, Verdict::Fail, "the provider's class is not registered with COM", kReinstall};
  } else if (!localService || *localService != service::kServiceName) {
    check = {check.name, Verdict::Fail, "the class is registered but its AppID does not name the service, so COM cannot start it",
             kReinstall};
  } else {
    check.detail = "class registered, served by " + wincompat::ToNarrow(*server);
  }
  return check;
}

HostCheck VssRegistration() {
  if (KeyExists(kVssProviderKey))
    return {"VSS registration", Verdict::Ok, "registered as \"" + wincompat::ToNarrow(service::kVssProviderName) + "\"", ""};
  return {"VSS registration", Verdict::Fail, "VSS does not know the provider: shadow copies of array volumes use the system provider",
          kReinstall};
}

HostCheck ServiceCheck(bool emulatedHost) {
  const ServiceState state = emulatedHost ? QueryProviderServiceKey() : QueryProviderService();
  if (!state.error.empty())
    return {"service", Verdict::Warning, "cannot ask the service control manager: " + state.error,
            "run doctor as an administrator"};
  if (!state.installed) return {"service", Verdict::Fail, "the service is not installed", kReinstall};
  const DWORD start = state.startType.value_or(0);
  const std::string startText = start == 2 ? "automatic" : start == 3 ? "on demand" : start == 4 ? "disabled" : "unknown";
  const std::string runText = !state.running ? "running state unknown" : *state.running ? "running" : "stopped";
  const std::string detail = "installed, start " + startText + ", " + runText;
  if (start == 4)
    return {"service", Verdict::Fail, detail + ": COM cannot start it when VSS calls",
            "set its start type to manual: sc config \"" + wincompat::ToNarrow(service::kServiceName) + "\" start= demand"};
  if (start != 2 && start != 3) return {"service", Verdict::Warning, detail, "check the service's configuration"};
  return {"service", Verdict::Ok, detail + (state.running == false ? " (COM starts it when VSS calls)" : ""), ""};
}

HostCheck TraceFolder(const std::filesystem::path& traceDir) {
  if (const CFileLog* log = CFileLog::GetInstance(); log != nullptr && !log->TraceRefusal().empty())
    return {"trace folder", Verdict::Fail, "refused, no trace is written: " + log->TraceRefusal(),
            "remove the folder (or link) that was put in its place; the installer makes it again"};
  if (traceDir.empty()) return {"trace folder", Verdict::Warning, "no trace folder is set", "reinstall the provider"};
  const std::filesystem::path probe = traceDir / (".doctor-" + std::to_string(std::random_device{}()));
  bool written = false;
  {
    std::ofstream out(probe);
    written = static_cast<bool>(out << "probe\n");
  }
  std::error_code ignored;
  std::filesystem::remove(probe, ignored);
  if (!written)
    return {"trace folder", Verdict::Fail, traceDir.string() + " is not writable: the provider's trace is lost",
            "give the service's account write access to " + traceDir.string()};
  return {"trace folder", Verdict::Ok, traceDir.string() + " is writable", ""};
}

// A file of the emulated host: present, readable, and for secrets, readable by its owner only.
HostCheck HostFile(const std::filesystem::path& file, bool required, bool secret, const std::string& purpose) {
  const std::string name = "host file " + file.filename().string();
  std::error_code error;
  if (!std::filesystem::exists(file, error)) {
    if (!required) return {name, Verdict::Ok, "absent (" + purpose + " not set up yet)", ""};
    return {name, Verdict::Fail, file.string() + " is missing (" + purpose + ")", "create the emulated host again"};
  }
  if (!std::ifstream(file)) return {name, Verdict::Fail, file.string() + " cannot be read", "check its permissions"};
#ifndef _WIN32
  struct stat info {};
  if (secret && ::stat(file.c_str(), &info) == 0 && (info.st_mode & 077) != 0)
    return {name, Verdict::Fail, file.string() + " can be read by other users (" + purpose + ")",
            "chmod 600 " + file.string()};
#else
  (void)secret;
#endif
  return {name, Verdict::Ok, purpose, ""};
}

}  // namespace

const char* VerdictText(Verdict verdict) {
  switch (verdict) {
    case Verdict::Ok: return "ok";
    case Verdict::Warning: return "warning";
    case Verdict::Fail: return "fail";
  }
  return "fail";
}

nlohmann::json CheckJson(const HostCheck& check) {
  return {{"check", check.name}, {"verdict", VerdictText(check.verdict)}, {"detail", check.detail}, {"action", check.action}};
}

ServiceState QueryProviderServiceKey() {
  ServiceState state;
  state.installed = ReadText(kServiceKey, L"ImagePath").has_value();
  DWORD start = 0;
  DWORD size = sizeof start;
  if (platform::TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, kServiceKey.c_str(), L"Start", RRF_RT_REG_DWORD, nullptr,
                                        &start, &size) == ERROR_SUCCESS)
    state.startType = start;
  return state;
}

#ifndef _WIN32
ServiceState QueryProviderService() { return QueryProviderServiceKey(); }
#endif

std::vector<HostCheck> CheckHost(const std::filesystem::path& hostDir, const std::filesystem::path& traceDir) {
  std::vector<HostCheck> checks = {ComRegistration(), VssRegistration(), ServiceCheck(!hostDir.empty()),
                                   TraceFolder(traceDir)};
  if (!hostDir.empty()) {
    checks.push_back(HostFile(hostDir / "host.json", true, false, "the initiator name and the simulator's address"));
#ifndef _WIN32
    checks.push_back(HostFile(hostDir / "registry.reg", true, true, "the host's registry, with the sealed credentials"));
    checks.push_back(HostFile(hostDir / common::HostSecretCipher::kSecretFileName, false, true,
                              "the host's secret that seals credentials"));
#endif
  }
  return checks;
}

int RunHostChecks(const std::filesystem::path& hostDir, const std::filesystem::path& traceDir, Report& report) {
  nlohmann::json list = nlohmann::json::array();
  bool failed = false;
  for (const auto& check : CheckHost(hostDir, traceDir)) {
    std::string line = check.name + ": " + VerdictText(check.verdict) + " -- " + check.detail;
    if (!check.action.empty()) line += "; to do: " + check.action;
    report.notes.push_back(line);
    list.push_back(CheckJson(check));
    failed = failed || check.verdict == Verdict::Fail;
  }
  report.extra["checks"] = list;
  return failed ? 1 : 0;
}

}  // namespace vantorvss
