// Commit benchmark: a snapshot set of N volumes on G groups, the simulator adding a round-trip
// delay to every request. Per case it reports the REST requests CommitSnapshots sent to each
// group, the commit's wall time and its ratio to the same volumes on one group, and the
// provider's own time: the wall time less what the simulator accounted for answering the
// slowest group (delays included; the groups are asked side by side), and the CPU time of the
// thread that called CommitSnapshots (which asks the first group itself: on one group that is
// all of the provider's work but the trace writer's). Usage: commit_bench [--delay-ms D]
// [--repeat R] [--volumes N (only this many)] [--groups G (only this many)] [--json]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "arraysim/Simulator.h"
#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/WindowsEventLogWrapper.h"
#include "platform/emulated/EmulatedEventLog.h"
#include "discovery/CertificatePins.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "provider/LunInformation.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

namespace {

struct CaseResult {
  int volumes = 0;
  int groups = 0;
  int requestsPerGroupMax = 0;
  int requestsPerGroupMin = 0;
  double commitMs = 0;
  double ownMs = 0;
  double callerCpuMs = 0;
};

double ThreadCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int TotalRequests(const nlohmann::json& log, const std::string& groupId) {
  int total = 0;
  if (log["groups"].contains(groupId))
    for (const auto& [op, n] : log["groups"][groupId]["counts"].items()) total += n.get<int>();
  return total;
}

// One commit of N volumes spread over G groups; returns its figures.
CaseResult RunOnce(int volumes, int groups, int delayMs) {
  arraysim::Simulator sim;
  std::vector<arraysim::GroupInfo> infos;
  std::map<std::string, Vantor::LoginInfo> discovered;
  for (int g = 0; g < groups; ++g) {
    arraysim::GroupSpec spec;
    spec.name = "g" + std::to_string(g);
    infos.push_back(sim.addGroup(spec));
    discovery::WriteCertificatePin(infos.back().address, infos.back().certificateSha256);
    discovered.emplace(infos.back().address, Vantor::LoginInfo(spec.username, spec.password));
  }
  std::vector<std::string> serials;
  for (int v = 0; v < volumes; ++v) {
    arraysim::VolumeSpec spec;
    spec.name = "vol" + std::to_string(v);
    serials.push_back(sim.addVolume(infos[static_cast<std::size_t>(v % groups)].id, spec).serialNumber);
  }

  IVssHardwareSnapshotProviderEx* hw = nullptr;
  if (CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&hw)) != S_OK)
    throw std::runtime_error("cannot create the provider");
  auto* provider = static_cast<CVaVssHwProvider*>(hw);
  provider::ArrayAccess access = provider::DefaultArrayAccess();
  access.discoverGroups = [discovered] { return discovered; };
  access.groupAddressForSerial = [](const std::string&) { return std::string(); };
  access.restSupport = [](const std::string&) { return provider::RestSupport::Supported; };
  provider->UseArrayAccess(access);

  const VSS_ID set = wincompat::NewGuid();
  for (const auto& serial : serials) {
    provider::OwnedLunInformation lun;
    provider::BuildLunInformation(lun.get(), "Vantor", "Server", "6.1", serial, {});
    hw->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, &lun.get());
  }
  auto& sets = static_cast<IVssProviderCreateSnapshotSet&>(*provider);
  if (sets.EndPrepareSnapshots(set) != S_OK) throw std::runtime_error("EndPrepareSnapshots failed");

  for (const auto& info : infos) {
    for (const char* op : {"bulk_create", "search:snapshots", "search:volumes", "search:groups", "tokens", "debug_log"}) {
      arraysim::FaultSpec delay;
      delay.group = info.id;
      delay.op = op;
      delay.count = 1000000;
      delay.delayMs = delayMs;
      sim.injectFault(delay);
    }
  }
  sim.resetLog();
  const double cpuStart = ThreadCpuMs();
  const auto start = std::chrono::steady_clock::now();
  const HRESULT hr = sets.CommitSnapshots(set);
  const double commitMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  const double callerCpuMs = ThreadCpuMs() - cpuStart;
  if (hr != S_OK) throw std::runtime_error("CommitSnapshots failed");

  CaseResult r{volumes, groups, 0, 1 << 30, commitMs, 0, callerCpuMs};
  const nlohmann::json log = sim.requestLog();
  double slowestGroup = 0;
  for (const auto& info : infos) {
    const int n = TotalRequests(log, info.id);
    if (n == 0) continue;  // a group that holds none of the set's volumes
    r.requestsPerGroupMax = std::max(r.requestsPerGroupMax, n);
    r.requestsPerGroupMin = std::min(r.requestsPerGroupMin, n);
    slowestGroup = std::max(slowestGroup, sim.accountedMs(info.id));
  }
  r.ownMs = commitMs - slowestGroup;
  sets.PostFinalCommitSnapshots(set);
  hw->Release();
  return r;
}

}  // namespace

int main(int argc, char** argv) {
  int delayMs = 2;
  int repeat = 5;
  bool json = false;
  std::vector<int> volumeCounts{1, 8, 64};
  std::vector<int> groupCounts{1, 2, 4};
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--delay-ms") && i + 1 < argc) delayMs = std::atoi(argv[++i]);
    else if (!std::strcmp(argv[i], "--repeat") && i + 1 < argc) repeat = std::max(1, std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "--json")) json = true;
    else if (!std::strcmp(argv[i], "--volumes") && i + 1 < argc) volumeCounts = {std::max(1, std::atoi(argv[++i]))};
    else if (!std::strcmp(argv[i], "--groups") && i + 1 < argc) groupCounts = {std::clamp(std::atoi(argv[++i]), 1, 16)};
    else {
      std::cerr << "usage: commit_bench [--delay-ms D] [--repeat R] [--volumes N] [--groups G] [--json]\n";
      return 2;
    }
  }

  // The emulated host the provider runs on: an empty registry (defaults everywhere), an event
  // log in memory, and the trace in a scratch folder (the trace is part of the provider's cost).
  const std::filesystem::path scratch = std::filesystem::temp_directory_path() / ("vantor-bench-" + std::to_string(std::random_device{}()));
  std::filesystem::create_directories(scratch);
  platform::RegistrySlot::Install(std::make_unique<platform::EmulatedRegistry>());
  platform::EventLogSlot::Install(std::make_unique<platform::EmulatedEventLog>());
  CFileLog::SetTraceDirectory(scratch);
  if (CFileLog* log = CFileLog::GetInstance()) log->InitializeLogging(L"VSSTrace");
  CWindowsEventLogWrapper events;
  events.Init(L"Vantor VSS Hardware Provider", L"VantorVssProvider.exe");
  logger::SetProcessEventLog(&events);

  nlohmann::json rows = nlohmann::json::array();
  if (!json)
    std::printf("%-8s %-7s %-16s %-11s %-10s %-9s %-9s\n", "volumes", "groups", "requests/group", "commit ms",
                "x 1 group", "own ms", "cpu ms");
  std::map<int, double> oneGroupMs;  // volumes -> commit ms on one group
  for (const int groups : groupCounts) {
    for (const int volumes : volumeCounts) {
      std::vector<double> commits, owns, cpus;
      CaseResult last;
      for (int i = 0; i < repeat; ++i) {
        last = RunOnce(volumes, groups, delayMs);
        commits.push_back(last.commitMs);
        owns.push_back(last.ownMs);
        cpus.push_back(last.callerCpuMs);
      }
      const double commit = Median(commits), own = Median(owns), cpu = Median(cpus);
      if (groups == 1) oneGroupMs[volumes] = commit;
      const double ratio = oneGroupMs.count(volumes) ? commit / oneGroupMs[volumes] : 0.0;
      if (!json)
        std::printf("%-8d %-7d %-16s %-11.2f %-10.2f %-9.3f %-9.3f\n", volumes, groups,
                    (std::to_string(last.requestsPerGroupMin) + (last.requestsPerGroupMin == last.requestsPerGroupMax
                                                                     ? ""
                                                                     : "-" + std::to_string(last.requestsPerGroupMax)))
                        .c_str(),
                    commit, ratio, own, cpu);
      rows.push_back({{"volumes", volumes}, {"groups", groups}, {"requests_per_group_min", last.requestsPerGroupMin},
                      {"requests_per_group_max", last.requestsPerGroupMax}, {"commit_ms", commit}, {"ratio_to_one_group", ratio}, {"own_ms", own},
                      {"caller_cpu_ms", cpu}});
    }
  }
  if (json) std::cout << nlohmann::json{{"delay_ms", delayMs}, {"repeat", repeat}, {"cases", rows}}.dump(2) << "\n";
  logger::SetProcessEventLog(nullptr);
  if (CFileLog* log = CFileLog::GetInstance()) log->Flush();
  std::error_code ignored;
  std::filesystem::remove_all(scratch, ignored);
  return 0;
}
