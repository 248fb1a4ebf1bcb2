#pragma once
// An array group in the in-process simulator, reached over real HTTPS, with the emulated host
// (registry, iSCSI initiator, event log) around it and the trace captured.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>

#include "HostTestSupport.h"
#include "SimulatedHost.h"
#include "array/VaVssArrayWrapper.h"
#include "discovery/CertificatePins.h"
#include "discovery/ConfigurationValues.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"

namespace arraytest {

inline constexpr const char* kArrayUser = "backup-operator";
inline constexpr const char* kArrayPassword = "Gr0up-Pa55word-7731";

class OverSimulatedArray : public ::testing::Test {
 protected:
  void SetUp() override {
    discovery::ResetConfigurationCaches();
    group = AddGroup("6.1.0.0-12345-opt");
  }

  arraysim::GroupInfo AddGroup(const std::string& version) {
    arraysim::GroupSpec definition;
    definition.version = version;
    definition.username = kArrayUser;
    definition.password = kArrayPassword;
    const arraysim::GroupInfo added = sim().addGroup(definition);
    mGroups.push_back(added);
    Pin(added);
    return added;
  }
  // Trusts the certificate the group presents, as `config add-group` does.
  static void Pin(const arraysim::GroupInfo& target) {
    ASSERT_EQ(discovery::WriteCertificatePin(target.address, target.certificateSha256), ERROR_SUCCESS);
  }
  // Replaces the emulated registry's contents; `values` are .reg lines after the header. The
  // groups' certificate pins stay.
  void SetRegistry(const std::string& values) {
    ASSERT_FALSE(registryImpl().LoadText("Windows Registry Editor Version 5.00\r\n\r\n" + values).has_value());
    for (const auto& added : mGroups) Pin(added);
  }
  std::unique_ptr<VaVssArrayWrapper> Connect(const arraysim::GroupInfo& target) {
    return std::make_unique<VaVssArrayWrapper>(target.address, Vantor::LoginInfo(kArrayUser, kArrayPassword));
  }
  arraysim::VolumeInfo AddVolume(const std::string& name, const std::string& scope = "volume") {
    return host.AddVolume(group.id, name, scope);
  }

  arraysim::Simulator& sim() { return host.sim(); }
  // The simulator's record of one object of `group`.
  nlohmann::json GroupState() {
    const nlohmann::json state = sim().state();
    for (const auto& g : state["groups"]) {
      if (g["id"] == group.id) return g;
    }
    return nullptr;
  }
  nlohmann::json Find(const char* collection, const std::string& id) {
    const nlohmann::json objects = GroupState()[collection];
    for (const auto& object : objects) {
      if (object["id"] == id) return object;
    }
    return nullptr;
  }
  nlohmann::json Snapshots() { return GroupState()["snapshots"]; }
  platform::EmulatedRegistry& registryImpl() { return static_cast<platform::EmulatedRegistry&>(registry.get()); }

  hosttest::TraceCapture trace;
  hosttest::EventCapture events;
  hosttest::ScopedSeam<platform::Registry> registry{std::make_unique<platform::EmulatedRegistry>()};
  hosttest::SimulatedHost host;
  std::vector<arraysim::GroupInfo> mGroups;
  arraysim::GroupInfo group;
};

}  // namespace arraytest
