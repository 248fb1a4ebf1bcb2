#pragma once
// A simulator with groups and volumes, emulated host folders that vantor-vss runs against (host
// A, and host B for transportable imports), and a way to run the tool and read its JSON report.
#include <gtest/gtest.h>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "arraysim/Simulator.h"

// A file's text; the NUL bytes of a UTF-16 file are left out.
std::string ReadText(const std::filesystem::path& file);

struct ToolRun {
  int status = -1;
  nlohmann::json report;  // standard output
  std::string output;     // standard output and error, for messages
  long peakRssKb = 0;     // the tool's own peak memory (its rusage, by wait4)
  std::chrono::milliseconds elapsed{0};

  // The HRESULT text of the first call named `name`, or "" when it was not called.
  std::string Hr(const std::string& name) const;
  int CountCalls(const std::string& name) const;
  // The calls named `name`, in order.
  std::vector<nlohmann::json> Calls(const std::string& name) const;
  bool HasEvent(unsigned id) const;
};

struct EmulatedHost {
  std::filesystem::path dir;
  std::string initiator;
};

class EmulatedHostFixture : public ::testing::Test {
 protected:
  static constexpr const char* kInitiator = "iqn.1991-05.com.microsoft:e2e-host";
  static constexpr const char* kInitiatorB = "iqn.1991-05.com.microsoft:e2e-host-b";

  void SetUp() override;
  void TearDown() override;

  // A group with `volumes` volume names, each reachable over iSCSI by hosts A and B (the ACL
  // names both); host A is logged in to every volume's target, and configured for the group
  // when it speaks REST.
  arraysim::GroupInfo AddGroup(const std::string& name, const std::vector<std::string>& volumes, bool rest = true);
  // Host A, or B, is configured for the group (GroupMgmtIps and the credential).
  void Configure(const EmulatedHost& host, const arraysim::GroupInfo& group);
  // Appends values to the host's registry under the provider's configuration key.
  void SetConfiguration(const EmulatedHost& host, const std::string& regLines);

  ToolRun Vss(const std::vector<std::string>& args, const std::string& input = "") { return VssOn(hostA_, args, input); }
  // vantor-vss on `host`, started without a shell so that its pid and its own rusage are ours;
  // `whileRunning` is called with its pid once it runs.
  ToolRun VssOn(const EmulatedHost& host, const std::vector<std::string>& args, const std::string& input = "",
                const std::function<void(pid_t)>& whileRunning = {});

  const arraysim::VolumeInfo& Volume(const std::string& name) const;
  nlohmann::json VolumeState(const std::string& name) const;
  std::set<std::string> SnapshotSerials() const;
  std::size_t SnapshotCount() const { return SnapshotSerials().size(); }
  std::string RegistryText(const EmulatedHost& host) const { return ReadText(host.dir / "registry.reg"); }
  std::vector<std::string> DiskSerials(const EmulatedHost& host) const;
  std::vector<std::string> SessionTargets(const EmulatedHost& host) const;
  std::string Trace() const;

  std::unique_ptr<arraysim::Simulator> sim_;
  EmulatedHost hostA_;
  EmulatedHost hostB_;
  std::vector<arraysim::VolumeInfo> volumes_;

 private:
  EmulatedHost MakeHost(const std::string& folder, const std::string& initiator);
  std::filesystem::path root_;
};
