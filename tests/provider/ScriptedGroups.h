#pragma once
// Two scripted groups ("uid-a" at 127.1.0.1 with vol-a1 and vol-a2, "uid-b" at 127.2.0.1 with
// vol-b1) behind a provider object, with the trace, the events and an emulated registry
// captured: the ground of the provider's abort, journal and restore tests.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "FakeArray.h"
#include "HostTestSupport.h"
#include "discovery/ConfigurationValues.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "provider/LunInformation.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

using Operations = std::vector<std::string>;

class ScriptedGroups : public ::testing::Test {
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
    groupA_->AddVolume("aaa1", "vol-a1");
    groupA_->AddVolume("aaa2", "vol-a2");
    groupB_->AddVolume("bbb1", "vol-b1");
    hw_ = NewProvider();
    provider_ = static_cast<CVaVssHwProvider*>(hw_);
  }
  void TearDown() override {
    hw_->Release();
    discovery::ResetConfigurationCaches();
  }

  // A provider object over the two groups, as VSS makes one per run, with short restore waits.
  IVssHardwareSnapshotProviderEx* NewProvider() {
    IVssHardwareSnapshotProviderEx* hw = nullptr;
    EXPECT_EQ(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&hw)),
              S_OK);
    auto* provider = static_cast<CVaVssHwProvider*>(hw);
    provider->UseArrayAccess(provider::ArrayAccess{
        [] {
          return std::map<std::string, Vantor::LoginInfo>{{"127.1.0.1", Vantor::LoginInfo("admin", "pw")},
                                                          {"127.2.0.1", Vantor::LoginInfo("admin", "pw")}};
        },
        [](const std::string&) { return std::string(); },
        [](const std::string&) { return provider::RestSupport::Supported; },
        [this](const std::string& address, const Vantor::LoginInfo&) -> std::shared_ptr<VaVssArrayWrapper> {
          if (address == "127.1.0.1") return groupA_;
          return groupB_;
        }});
    provider::RestoreSettings restore;
    restore.onlineDeadline = std::chrono::milliseconds(300);
    restore.retryPause = std::chrono::milliseconds(5);
    restore.hostInitiators = [] { return std::vector<std::string>{FakeArray::kThisHost}; };
    provider->UseRestoreSettings(restore);
    return hw;
  }

  // A set over `serials` that got as far as the commit; returns the commit's answer.
  HRESULT Commit(VSS_ID& set, const std::vector<std::string>& serials) {
    set = wincompat::NewGuid();
    for (const auto& serial : serials) {
      provider::OwnedLunInformation lun;
      EXPECT_TRUE(provider::BuildLunInformation(lun.get(), "Vantor", "Server", "1.0", serial, {}));
      VDS_LUN_INFORMATION view = lun.get();
      EXPECT_EQ(hw_->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, &view), S_OK);
    }
    EXPECT_EQ(provider_->EndPrepareSnapshots(set), S_OK);
    return provider_->CommitSnapshots(set);
  }
  void ForgetOperations() {
    groupA_->operations.clear();
    groupB_->operations.clear();
  }

  hosttest::TraceCapture trace_;
  hosttest::EventCapture events_;
  hosttest::ScopedSeam<platform::Registry> registry_{std::make_unique<platform::EmulatedRegistry>()};
  std::shared_ptr<FakeArray> groupA_ = std::make_shared<FakeArray>("uid-a", "127.1.0.1");
  std::shared_ptr<FakeArray> groupB_ = std::make_shared<FakeArray>("uid-b", "127.2.0.1");
  IVssHardwareSnapshotProviderEx* hw_ = nullptr;
  CVaVssHwProvider* provider_ = nullptr;
};
