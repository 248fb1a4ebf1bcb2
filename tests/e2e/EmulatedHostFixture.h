#pragma once
// A simulator with groups and volumes, an emulated host folder that vantor-vss runs against,
// and a way to run the tool and read its JSON report.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "arraysim/Simulator.h"

struct ToolRun {
  int status = -1;
  nlohmann::json report;
  std::string output;

  // The HRESULT text of the first call named `name`, or "" when it was not called.
  std::string Hr(const std::string& name) const;
  int CountCalls(const std::string& name) const;
  bool HasEvent(unsigned id) const;
};

class EmulatedHostFixture : public ::testing::Test {
 protected:
  static constexpr const char* kInitiator = "iqn.1991-05.com.microsoft:e2e-host";

  void SetUp() override;
  void TearDown() override;

  // A group with `volumes` volume names; the host is configured for it and logged in to every
  // volume's target.
  arraysim::GroupInfo AddGroup(const std::string& name, const std::vector<std::string>& volumes,
                               const std::string& volcoll = "", const std::string& agentType = "none");
  ToolRun Vss(const std::vector<std::string>& args, const std::string& input = "");

  const arraysim::VolumeInfo& Volume(const std::string& name) const;
  nlohmann::json VolumeState(const std::string& name) const;
  std::size_t SnapshotCount() const;
  std::string Trace() const;

  std::unique_ptr<arraysim::Simulator> sim_;
  std::filesystem::path host_;
  std::vector<arraysim::VolumeInfo> volumes_;
};
