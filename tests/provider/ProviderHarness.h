#pragma once
// The provider object as the tests wire it to arrays: fake groups (ProviderHarness) or real
// wrappers over HTTPS (OverWrappers). ProviderHarness's two scripted groups sit over an emulated
// registry (with a short REST receive timeout), event log and captured trace: group A
// (127.1.0.1, also reached as 127.1.0.2) holds aaa1 and aaa2, group B (127.2.0.1) holds bbb1.
// Tests change what discovery, the multipath driver and the protocol query say.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "FakeArray.h"
#include "HostTestSupport.h"
#include "discovery/ConfigurationValues.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "provider/LunInformation.h"
#include "provider/VolumeOnline.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

// LUN descriptions side by side, as VSS passes them.
class Luns {
 public:
  using Spec = std::array<std::string, 3>;  // vendor, product, serial
  Luns(std::initializer_list<Spec> luns) : Luns(std::vector<Spec>(luns)) {}
  explicit Luns(const std::vector<Spec>& luns) : owned_(luns.size()) {
    for (std::size_t i = 0; i < luns.size(); ++i)
      EXPECT_TRUE(provider::BuildLunInformation(owned_[i].get(), luns[i][0], luns[i][1], "1.0", luns[i][2], {}));
    for (auto& lun : owned_) view_.push_back(lun.get());
  }
  VDS_LUN_INFORMATION* data() { return view_.data(); }

 private:
  std::vector<provider::OwnedLunInformation> owned_;
  std::vector<VDS_LUN_INFORMATION> view_;
};

struct ReleaseProvider {
  void operator()(CVaVssHwProvider* p) const {
    if (p != nullptr) static_cast<IVssHardwareSnapshotProviderEx*>(p)->Release();
  }
};
using ProviderPtr = std::unique_ptr<CVaVssHwProvider, ReleaseProvider>;

// A provider object, as VSS makes one per run, that reaches the arrays through `access`.
inline ProviderPtr WireProvider(provider::ArrayAccess access,
                                const provider::RestoreSettings& restore = provider::DefaultRestoreSettings()) {
  void* object = nullptr;
  EXPECT_EQ(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, &object), S_OK);
  ProviderPtr wired(static_cast<CVaVssHwProvider*>(static_cast<IVssHardwareSnapshotProviderEx*>(object)));
  wired->UseArrayAccess(std::move(access));
  wired->UseRestoreSettings(restore);
  return wired;
}

// The groups `discovered` gives, each reached through a real wrapper; the multipath driver
// knows no LUN and every group speaks REST.
inline provider::ArrayAccess OverWrappers(std::map<std::string, Vantor::LoginInfo> discovered) {
  return {[discovered] { return discovered; }, [](const std::string&) { return std::string(); },
          [](const std::string&) { return provider::RestSupport::Supported; },
          [](const std::string& address, const Vantor::LoginInfo& login) {
            return std::make_shared<VaVssArrayWrapper>(address, login);
          }};
}

using Operations = std::vector<std::string>;

class ProviderHarness : public ::testing::Test {
 protected:
  // The REST receive timeout the restore's watch takes as the lost request's timeout.
  static constexpr int kReceiveTimeoutMs = 100;

  void SetUp() override {
    discovery::ResetConfigurationCaches();
    ASSERT_FALSE(static_cast<platform::EmulatedRegistry&>(registry_.get())
                     .LoadText("Windows Registry Editor Version 5.00\r\n\r\n"
                               "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\r\n"
                               "\"RestReceiveTimeout\"=dword:00000064\r\n")
                     .has_value());
    groupA_ = std::make_shared<FakeArray>("uid-a", "127.1.0.1");
    groupB_ = std::make_shared<FakeArray>("uid-b", "127.2.0.1");
    groupA_->AddVolume("aaa1", "vol-a1");
    groupA_->AddVolume("aaa2", "vol-a2");
    groupB_->AddVolume("bbb1", "vol-b1");
    discovered_ = {{"127.1.0.1", Vantor::LoginInfo("admin", "pw")}, {"127.2.0.1", Vantor::LoginInfo("admin", "pw")}};

    provider_ = NewProvider();
    hw_ = provider_.get();
  }
  void TearDown() override {
    provider_.reset();
    discovery::ResetConfigurationCaches();
  }

  // A provider object over the two groups, as VSS makes one per run, with short restore waits.
  ProviderPtr NewProvider() {
    provider::RestoreSettings restore;
    restore.onlineDeadline = std::chrono::milliseconds(300);
    restore.retryPause = std::chrono::milliseconds(5);
    restore.hostInitiators = [] { return std::vector<std::string>{FakeArray::kThisHost}; };
    return WireProvider(
        provider::ArrayAccess{
            [this] {
              ++discoveries_;
              return discovered_;
            },
            [this](const std::string& serial) {
              const auto it = driverMap_.find(serial);
              return it == driverMap_.end() ? std::string() : it->second;
            },
            [this](const std::string& address) {
              const auto it = restSupport_.find(address);
              return it == restSupport_.end() ? provider::RestSupport::Supported : it->second;
            },
            [this](const std::string& address, const Vantor::LoginInfo&) -> std::shared_ptr<VaVssArrayWrapper> {
              ++connects_;
              if (address == "127.1.0.1" || address == "127.1.0.2") return groupA_;
              return groupB_;
            }},
        restore);
  }

  int EventCount(DWORD id) const { return static_cast<int>(events_.WithId(id).size()); }

  // Prepares and groups a set over `serials`, one BeginPrepareSnapshot each.
  VSS_ID Prepare(const std::vector<std::string>& serials) {
    const VSS_ID set = wincompat::NewGuid();
    for (const auto& serial : serials)
      EXPECT_EQ(hw_->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, Luns{{"Vantor", "Server", serial}}.data()),
                S_OK);
    return set;
  }
  // A set over `serials` that got as far as the commit; returns the commit's answer.
  HRESULT Commit(VSS_ID& set, const std::vector<std::string>& serials) {
    set = Prepare(serials);
    EXPECT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
    return provider_->CommitSnapshots(set);
  }
  void ForgetOperations() {
    groupA_->operations.clear();
    groupB_->operations.clear();
  }

  hosttest::ScopedSeam<platform::Registry> registry_{std::make_unique<platform::EmulatedRegistry>()};
  hosttest::EventCapture events_;
  hosttest::TraceCapture trace_;
  std::shared_ptr<FakeArray> groupA_;
  std::shared_ptr<FakeArray> groupB_;
  std::map<std::string, Vantor::LoginInfo> discovered_;
  std::map<std::string, std::string> driverMap_;  // what the multipath driver says serves a LUN
  std::map<std::string, provider::RestSupport> restSupport_;  // the protocol query's answers
  int connects_ = 0;
  int discoveries_ = 0;
  ProviderPtr provider_;
  IVssHardwareSnapshotProviderEx* hw_ = nullptr;  // provider_ as VSS holds it
};
