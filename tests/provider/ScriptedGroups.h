#pragma once
// The provider harness's two groups with a short REST receive timeout in the emulated registry
// and the trace captured: the ground of the provider's abort, journal and restore tests.
#include <string>
#include <vector>

#include "ProviderHarness.h"
#include "discovery/ConfigurationValues.h"

using Operations = std::vector<std::string>;

class ScriptedGroups : public ProviderHarness {
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
    ProviderHarness::SetUp();
  }
  void TearDown() override {
    ProviderHarness::TearDown();
    discovery::ResetConfigurationCaches();
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

  hosttest::TraceCapture trace_;
};
