// The provider's commit against simulated array groups over real HTTPS: VSS holds the host's
// writes for at most 10 seconds while CommitSnapshots runs, so a slow array must make the
// provider veto the set within that window, and the abort that follows must still reach the
// arrays and remove what they made, also what the slow one made after the provider gave up.
// The groups are asked at the same time, so the prompt one has its snapshot when the window ends.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "ProviderHarness.h"
#include "SimulatedArray.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class CommitWindowTest : public arraytest::OverSimulatedArray {
 protected:
  std::size_t SnapshotsOf(const std::string& groupId) {
    const nlohmann::json state = sim().state();
    for (const auto& g : state["groups"]) {
      if (g["id"] == groupId) return g["snapshots"].size();
    }
    return 0;
  }
};

TEST_F(CommitWindowTest, SlowArrayIsVetoedAtTheWindowsEndAndAbortLeavesNothing) {
  const arraysim::GroupInfo& prompt = group;
  const arraysim::GroupInfo slow = AddGroup("6.1.0.0-12345-opt");
  const Vantor::LoginInfo login(arraytest::kArrayUser, arraytest::kArrayPassword);
  const ProviderPtr provider = WireProvider(OverWrappers({{prompt.address, login}, {slow.address, login}}));
  const VSS_ID set = wincompat::NewGuid();
  Luns luns{{"Vantor", "Server", AddVolume("vol-prompt").serialNumber},
            {"Vantor", "Server", host.AddVolume(slow.id, "vol-slow").serialNumber}};
  ASSERT_EQ(provider->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 2, nullptr, luns.data()), S_OK);
  ASSERT_EQ(provider->EndPrepareSnapshots(set), S_OK);

  // The slow array answers well after the window: a commit that waited for it instead of
  // giving up at the window's end takes 16 s or more, however loaded the machine.
  constexpr auto kSlowAnswer = seconds(16);
  arraysim::FaultSpec slowCreate;
  slowCreate.group = slow.id;
  slowCreate.op = "bulk_create";
  slowCreate.delayMs = static_cast<int>(milliseconds(kSlowAnswer).count());
  sim().injectFault(slowCreate);

  const auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(provider->CommitSnapshots(set), VSS_E_PROVIDER_VETO);
  const auto took = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - started);
  // It waited for the array as long as the window allowed (9 s of VSS's 10, kept from the
  // call on), not less; and gave up then, not when the array answered. The upper bound leaves
  // the work after the window's end room for a loaded machine; the window itself is fixed by
  // the lower bound, which no load can make shorter.
  EXPECT_GE(took, milliseconds(8500));
  EXPECT_LT(took, kSlowAnswer - seconds(3));
  EXPECT_EQ(SnapshotsOf(slow.id), 0u) << "the commit returned only after the slow array answered";
  EXPECT_TRUE(trace.Contains("the arrays did not finish within the 10 seconds that VSS holds the writes"))
      << trace.LinesWith("CommitSnapshots");
  EXPECT_EQ(SnapshotsOf(prompt.id), 1u);

  // The slow array carries the create out after the provider stopped waiting.
  const auto giveUp = started + kSlowAnswer + seconds(8);
  while (SnapshotsOf(slow.id) == 0 && std::chrono::steady_clock::now() < giveUp)
    std::this_thread::sleep_for(milliseconds(100));
  ASSERT_EQ(SnapshotsOf(slow.id), 1u);

  // The window ended with the commit: the abort's requests get the arrays' usual time, and
  // the abort leaves nothing on either group.
  EXPECT_EQ(provider->AbortSnapshots(set), S_OK);
  EXPECT_EQ(SnapshotsOf(prompt.id), 0u);
  EXPECT_EQ(SnapshotsOf(slow.id), 0u);
}

}  // namespace
