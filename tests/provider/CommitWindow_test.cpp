// The provider's commit against simulated array groups over real HTTPS: VSS holds the host's
// writes for at most 10 seconds while CommitSnapshots runs, so a slow array must make the
// provider veto the set within that window, and the abort that follows must still reach the
// arrays and remove what they made, also what the slow one made after the provider gave up.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "SimulatedArray.h"
#include "provider/LunInformation.h"
#include "provider/VaVssHwProvider.h"
#include "wincompat/Guid.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class CommitWindowTest : public arraytest::OverSimulatedArray {
 protected:
  void SetUp() override {
    OverSimulatedArray::SetUp();
    ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&hw)),
              S_OK);
    provider = static_cast<CVaVssHwProvider*>(hw);
    provider->UseArrayAccess(provider::ArrayAccess{
        [this] {
          std::map<std::string, Vantor::LoginInfo> groups;
          for (const auto& [address, uid] : addresses)
            groups.emplace(address, Vantor::LoginInfo(arraytest::kArrayUser, arraytest::kArrayPassword));
          return groups;
        },
        [this](const std::string& serial) {
          const auto found = serialToAddress.find(serial);
          return found == serialToAddress.end() ? std::string() : found->second;
        },
        [](const std::string&) { return provider::RestSupport::Supported; },
        [this](const std::string& address, const Vantor::LoginInfo& login) {
          auto wrapper = std::make_shared<VaVssArrayWrapper>(address, login);
          wrappers[address] = wrapper;
          return wrapper;
        }});
  }
  void TearDown() override {
    if (hw) hw->Release();
  }

  arraysim::VolumeInfo AddVolumeTo(const arraysim::GroupInfo& target, const std::string& name) {
    const arraysim::VolumeInfo volume = host.AddVolume(target.id, name);
    serialToAddress[volume.serialNumber] = target.address;
    addresses[target.address] = target.id;
    return volume;
  }
  std::size_t SnapshotsOf(const std::string& groupId) {
    const nlohmann::json state = sim().state();
    for (const auto& g : state["groups"]) {
      if (g["id"] == groupId) return g["snapshots"].size();
    }
    return 0;
  }

  IVssHardwareSnapshotProviderEx* hw = nullptr;
  CVaVssHwProvider* provider = nullptr;
  std::map<std::string, std::string> addresses;        // group address -> group id
  std::map<std::string, std::string> serialToAddress;  // what the multipath driver would say
  std::map<std::string, std::shared_ptr<VaVssArrayWrapper>> wrappers;
};

TEST_F(CommitWindowTest, SlowArrayIsVetoedAtTheWindowsEndAndAbortLeavesNothing) {
  const arraysim::GroupInfo second = AddGroup("6.1.0.0-12345-opt");
  const arraysim::VolumeInfo a = AddVolumeTo(group, "vol-prompt");
  const arraysim::VolumeInfo b = AddVolumeTo(second, "vol-slow");
  // The commit walks the groups in the serial order of the set's LUNs: the slow group must
  // come second, so that the first one has snapshots for the abort to remove.
  const bool groupFirst = a.serialNumber < b.serialNumber;
  const arraysim::GroupInfo& prompt = groupFirst ? group : second;
  const arraysim::GroupInfo& slow = groupFirst ? second : group;

  const VSS_ID set = wincompat::NewGuid();
  std::vector<provider::OwnedLunInformation> owned(2);
  ASSERT_TRUE(provider::BuildLunInformation(owned[0].get(), "Vantor", "Server", "1.0", a.serialNumber, {}));
  ASSERT_TRUE(provider::BuildLunInformation(owned[1].get(), "Vantor", "Server", "1.0", b.serialNumber, {}));
  std::vector<VDS_LUN_INFORMATION> view{owned[0].get(), owned[1].get()};
  ASSERT_EQ(hw->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 2, nullptr, view.data()), S_OK);
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
  std::string version;
  EXPECT_TRUE(wrappers.at(slow.address)->IsArraySupported(version));
}

}  // namespace
