// Lifecycle benchmark: one shadow copy of N volumes spread over G groups, created, imported and
// deleted through the provider on the emulated host (its registry, sealed credentials,
// multipath driver, disks and iSCSI initiator, all against the in-process simulator), the way
// VSS calls it. Each case runs in a fresh process, as a backup meets a freshly started
// service. Per call it records the wall time and the time the simulator accounted for
// answering during the call (injected delay included); the difference is the provider's own.
// Usage: lifecycle_bench [--delay-ms D] [--repeat R] [--json]
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "HostSetup.h"
#include "LunCatalog.h"
#include "arraysim/Simulator.h"
#include "credstore/CredentialVault.h"
#include "discovery/CertificatePins.h"
#include "provider/LunInformation.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

namespace {

constexpr const char* kInitiator = "iqn.1991-05.com.microsoft:bench-host";
const char* const kPhases[] = {"create", "import", "delete"};

struct CallFigures {
  int count = 0;
  double wallMs = 0;
  double arrayMs = 0;
};

// Phase -> call name -> figures, for one run.
using RunFigures = std::map<std::string, std::map<std::string, CallFigures>>;

class Recorder {
 public:
  Recorder(const arraysim::Simulator& sim, std::vector<std::string> groups) : sim_(sim), groups_(std::move(groups)) {}

  template <class Call>
  HRESULT Run(const std::string& phase, const std::string& name, Call&& call) {
    const double arrayBefore = Accounted();
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr = call();
    const double wall = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    CallFigures& f = figures_[phase][name];
    ++f.count;
    f.wallMs += wall;
    f.arrayMs += Accounted() - arrayBefore;
    if (hr != S_OK) throw std::runtime_error(phase + ": " + name + " failed");
    return hr;
  }
  const RunFigures& Figures() const { return figures_; }

 private:
  double Accounted() const {
    double total = 0;
    for (const auto& g : groups_) total += sim_.accountedMs(g);
    return total;
  }
  const arraysim::Simulator& sim_;
  std::vector<std::string> groups_;
  RunFigures figures_;
};

std::string RegistryFile(const std::vector<arraysim::GroupInfo>& groups) {
  std::string ips;
  for (const auto& g : groups) ips += (ips.empty() ? "" : " ") + g.address;
  return "Windows Registry Editor Version 5.00\n\n"
         "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n"
         "\"GroupMgmtIps\"=\"" + ips + "\"\n";
}

// One case in this process: prints its figures as one JSON object.
int RunCase(int volumes, int groupCount, int delayMs) {
  arraysim::Simulator sim;
  std::vector<arraysim::GroupInfo> groups;
  std::vector<std::string> groupIds;
  for (int g = 0; g < groupCount; ++g) {
    arraysim::GroupSpec spec;
    spec.name = "g" + std::to_string(g);
    spec.password = "bench-pw-" + std::to_string(g);
    groups.push_back(sim.addGroup(spec));
    groupIds.push_back(groups.back().id);
  }
  std::vector<std::string> serials;
  for (int v = 0; v < volumes; ++v) {
    arraysim::VolumeSpec spec;
    spec.name = "vol" + std::to_string(v);
    spec.acl.push_back({"iscsi", kInitiator});
    const auto info = sim.addVolume(groups[static_cast<std::size_t>(v % groupCount)].id, spec);
    serials.push_back(info.serialNumber);
    if (sim.iscsiLogin(kInitiator, info.targetName).status != 0) throw std::runtime_error("cannot log in");
  }

  const std::filesystem::path hostDir =
      std::filesystem::temp_directory_path() / ("vantor-lifecycle-" + std::to_string(std::random_device{}()));
  std::filesystem::create_directories(hostDir);
  std::ofstream(hostDir / "host.json") << nlohmann::json{{"initiator", kInitiator}, {"control", sim.controlUrl()}}.dump();
  std::ofstream(hostDir / "registry.reg") << RegistryFile(groups);
  nlohmann::json result;
  {
    const vantorvss::InstalledHost host({hostDir, hostDir / "logs"});
    for (int g = 0; g < groupCount; ++g)
      if (credstore::StoreArrayCredential(groups[static_cast<std::size_t>(g)].address, "admin",
                                          "bench-pw-" + std::to_string(g)) != ERROR_SUCCESS)
        throw std::runtime_error("cannot store a credential");
    for (const auto& g : groups)
      if (discovery::WriteCertificatePin(g.address, g.certificateSha256) != ERROR_SUCCESS)
        throw std::runtime_error("cannot pin a certificate");
    for (const auto& id : groupIds) {
      for (const char* op : {"tokens", "search:volumes", "search:snapshots", "search:groups", "bulk_create",
                             "update:snapshots", "debug_log", "soap"}) {
        arraysim::FaultSpec delay;
        delay.group = id;
        delay.op = op;
        delay.count = 1000000;
        delay.delayMs = delayMs;
        sim.injectFault(delay);
      }
    }

    IVssHardwareSnapshotProviderEx* hw = nullptr;
    if (CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&hw)) != S_OK)
      throw std::runtime_error("cannot create the provider");
    auto* provider = static_cast<CVaVssHwProvider*>(hw);
    auto& sets = static_cast<IVssProviderCreateSnapshotSet&>(*provider);
    Recorder r(sim, groupIds);
    provider->OnLoad(nullptr);

    // create
    const auto disks = vantorvss::ListHostDisks();
    std::vector<provider::OwnedLunInformation> owned;
    std::vector<std::wstring> names;
    for (const auto& serial : serials) {
      const auto disk = vantorvss::FindDisk(disks, serial);
      if (!disk) throw std::runtime_error("the host does not see volume " + serial);
      owned.push_back(vantorvss::ToLunInformation(*disk));
      names.push_back(disk->device);
    }
    std::vector<VDS_LUN_INFORMATION> luns;
    for (auto& lun : owned) luns.push_back(lun.get());
    std::vector<VSS_PWSZ> devices;
    for (auto& name : names) devices.push_back(name.data());
    const auto count = static_cast<LONG>(luns.size());
    WINBOOL supported = FALSE;
    r.Run("create", "AreLunsSupported", [&] { return hw->AreLunsSupported(count, 0, devices.data(), luns.data(), &supported); });
    for (LONG i = 0; i < count; ++i) {
      WINBOOL filled = FALSE;
      r.Run("create", "FillInLunInfo", [&] { return hw->FillInLunInfo(devices[i], &luns[i], &filled); });
    }
    const VSS_ID set = wincompat::NewGuid();
    for (LONG i = 0; i < count; ++i)
      r.Run("create", "BeginPrepareSnapshot",
            [&] { return hw->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, &devices[i], &luns[i]); });
    r.Run("create", "EndPrepareSnapshots", [&] { return sets.EndPrepareSnapshots(set); });
    r.Run("create", "PreCommitSnapshots", [&] { return sets.PreCommitSnapshots(set); });
    r.Run("create", "CommitSnapshots", [&] { return sets.CommitSnapshots(set); });
    r.Run("create", "PostCommitSnapshots", [&] { return sets.PostCommitSnapshots(set, count); });
    std::vector<VDS_LUN_INFORMATION> targets(luns.size());
    r.Run("create", "GetTargetLuns", [&] { return hw->GetTargetLuns(count, devices.data(), luns.data(), targets.data()); });
    r.Run("create", "PreFinalCommitSnapshots", [&] { return sets.PreFinalCommitSnapshots(set); });
    r.Run("create", "PostFinalCommitSnapshots", [&] { return sets.PostFinalCommitSnapshots(set); });
    for (std::size_t i = 0; i < luns.size(); ++i) owned[i].get() = luns[i];  // the owners free what the provider filled

    // import: the snapshot LUNs as GetTargetLuns described them, then each disk that appeared
    std::vector<provider::OwnedLunInformation> snapshotOwned(targets.size());
    for (std::size_t i = 0; i < targets.size(); ++i) snapshotOwned[i].get() = targets[i];  // freed by the owners
    r.Run("import", "LocateLuns", [&] { return hw->LocateLuns(count, targets.data()); });
    const auto seen = vantorvss::ListHostDisks();
    for (auto& target : targets) {
      const auto disk = vantorvss::FindDisk(seen, target.m_szSerialNumber);
      if (!disk) throw std::runtime_error("a snapshot did not appear on the host");
      auto diskLun = vantorvss::ToLunInformation(*disk);
      std::wstring device = disk->device;
      WINBOOL filled = FALSE;
      r.Run("import", "FillInLunInfo", [&] { return hw->FillInLunInfo(device.data(), &diskLun.get(), &filled); });
    }

    // delete: VSS empties each snapshot LUN of a released shadow copy
    for (auto& target : targets) {
      std::wstring device;
      r.Run("delete", "OnLunEmpty", [&] { return hw->OnLunEmpty(device.data(), &target); });
    }
    hw->Release();

    for (const auto& [phase, calls] : r.Figures())
      for (const auto& [name, f] : calls)
        result[phase][name] = {{"count", f.count}, {"wall_ms", f.wallMs}, {"array_ms", f.arrayMs}};
  }
  std::error_code ignored;
  std::filesystem::remove_all(hostDir, ignored);
  std::cout << result.dump() << "\n";
  return 0;
}

// Runs one case in a child process and reads its figures.
nlohmann::json RunChild(const std::string& self, int volumes, int groups, int delayMs) {
  const std::string command = "'" + self + "' --case " + std::to_string(volumes) + " " + std::to_string(groups) +
                              " --delay-ms " + std::to_string(delayMs);
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot start " + self);
  std::string output;
  std::array<char, 4096> chunk{};
  while (const std::size_t n = fread(chunk.data(), 1, chunk.size(), pipe)) output.append(chunk.data(), n);
  const int status = pclose(pipe);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error("case failed: " + command);
  return nlohmann::json::parse(output.substr(output.find('{')));
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  int delayMs = 2;
  int repeat = 3;
  bool json = false;
  int caseVolumes = 0;
  int caseGroups = 0;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--delay-ms") && i + 1 < argc) delayMs = std::atoi(argv[++i]);
    else if (!std::strcmp(argv[i], "--repeat") && i + 1 < argc) repeat = std::max(1, std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "--json")) json = true;
    else if (!std::strcmp(argv[i], "--case") && i + 2 < argc) {
      caseVolumes = std::atoi(argv[++i]);
      caseGroups = std::atoi(argv[++i]);
    } else {
      std::cerr << "usage: lifecycle_bench [--delay-ms D] [--repeat R] [--json]\n";
      return 2;
    }
  }
  try {
    if (caseVolumes > 0) return RunCase(caseVolumes, std::max(1, caseGroups), delayMs);

    const std::string self = std::filesystem::canonical("/proc/self/exe").string();
    nlohmann::json cases = nlohmann::json::array();
    if (!json)
      std::printf("%-7s %-6s %-7s %-24s %5s %10s %10s %10s %12s\n", "volumes", "groups", "phase", "call", "calls",
                  "wall ms", "array ms", "own ms", "own ms/call");
    for (const int groups : {1, 4}) {
      for (const int volumes : {1, 8, 64}) {
        std::vector<nlohmann::json> runs;
        for (int i = 0; i < repeat; ++i) runs.push_back(RunChild(self, volumes, groups, delayMs));
        nlohmann::json row = {{"volumes", volumes}, {"groups", groups}, {"phases", nlohmann::json::object()}};
        for (const char* phase : kPhases) {
          double phaseWall = 0, phaseArray = 0;
          for (const auto& [name, first] : runs[0][phase].items()) {
            std::vector<double> walls, arrays;
            for (const auto& run : runs) {
              walls.push_back(run[phase][name]["wall_ms"].get<double>());
              arrays.push_back(run[phase][name]["array_ms"].get<double>());
            }
            const double wall = Median(walls), array = Median(arrays);
            const int calls = first["count"].get<int>();
            phaseWall += wall;
            phaseArray += array;
            row["phases"][phase][name] = {{"calls", calls}, {"wall_ms", wall}, {"array_ms", array},
                                          {"own_ms", wall - array}, {"own_ms_per_call", (wall - array) / calls}};
            if (!json)
              std::printf("%-7d %-6d %-7s %-24s %5d %10.2f %10.2f %10.2f %12.3f\n", volumes, groups, phase,
                          name.c_str(), calls, wall, array, wall - array, (wall - array) / calls);
          }
          row["phases"][phase]["total"] = {{"wall_ms", phaseWall}, {"array_ms", phaseArray}, {"own_ms", phaseWall - phaseArray}};
          if (!json)
            std::printf("%-7d %-6d %-7s %-24s %5s %10.2f %10.2f %10.2f\n", volumes, groups, phase, "(phase)", "",
                        phaseWall, phaseArray, phaseWall - phaseArray);
        }
        cases.push_back(row);
      }
    }
    if (json) std::cout << nlohmann::json{{"delay_ms", delayMs}, {"repeat", repeat}, {"cases", cases}}.dump(2) << "\n";
  } catch (const std::exception& e) {
    std::cerr << "lifecycle_bench: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
