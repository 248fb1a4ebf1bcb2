// The emulated host's storage and DSM seams against the array simulator's host channel: what a
// Windows host would see once it logs in to an array's targets. Its iSCSI seam is exercised by
// the iSCSI steps' tests on the simulator.
#include <gtest/gtest.h>

#include <cstring>
#include <cwctype>

#include "SimulatedHost.h"
#include "platform/StorageDeviceDescriptors.h"

namespace {

using namespace platform;

std::vector<std::uint8_t> FromHex(const std::string& hex) { return *DecodeHex(hex); }

ISCSI_UNIQUE_SESSION_ID Login(const std::string& target, const ISCSI_LOGIN_OPTIONS* options, ISDSC_STATUS* status) {
  ISCSI_UNIQUE_SESSION_ID session{};
  ISCSI_UNIQUE_CONNECTION_ID connection{};
  *status = TheIscsiInitiator().LoginTargetA(target.c_str(), false, nullptr, ISCSI_ANY_INITIATOR_PORT, nullptr, 0,
                                             nullptr, options, 0, nullptr, false, &session, &connection);
  return session;
}

TEST(EmulatedHost, DisksAndTheirIdentifiersFollowTheLoggedInTargets) {
  hosttest::SimulatedHost host;
  const auto group = host.AddGroup();
  const auto volume = host.AddVolume(group.id, "sql-data");

  std::vector<DiskInfo> disks;
  ASSERT_EQ(TheStorageDevices().ListDisks(disks), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_TRUE(disks.empty()) << "no disk before a login";

  ISDSC_STATUS status = 0;
  Login(volume.targetName, nullptr, &status);
  ASSERT_EQ(status, 0u);
  ASSERT_EQ(TheStorageDevices().ListDisks(disks), static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_EQ(disks.size(), 1u);
  EXPECT_EQ(disks[0].vendorId, "Vantor");
  EXPECT_EQ(disks[0].productId, "Server");
  EXPECT_EQ(disks[0].serialNumber, volume.serialNumber);

  std::unique_ptr<StorageDevice> device;
  ASSERT_EQ(TheStorageDevices().OpenDevice(disks[0].devicePath, device), static_cast<DWORD>(ERROR_SUCCESS));
  std::vector<std::uint8_t> buffer(4096);
  DWORD returned = 0;
  ASSERT_EQ(device->QueryDeviceIdProperty(buffer.data(), 4096, &returned), static_cast<DWORD>(ERROR_SUCCESS));
  const auto walk = WalkStorageDeviceIdDescriptor({buffer.data(), returned});
  ASSERT_EQ(walk.status, DeviceIdWalkStatus::Complete);
  std::vector<std::uint8_t> eui = FromHex(volume.vpdIeee0 + volume.vpdIeee1);
  bool sawVendorId = false, sawEui64 = false;
  for (const auto& id : walk.identifiers) {
    if (id.codeSet == StorageIdCodeSetAscii && id.type == StorageIdTypeVendorId) {
      sawVendorId = std::string(id.identifier.begin(), id.identifier.end()) == volume.vpdT10;
    }
    if (id.codeSet == StorageIdCodeSetBinary && id.type == StorageIdTypeEUI64) {
      sawEui64 = std::vector<std::uint8_t>(id.identifier.begin(), id.identifier.end()) == eui;
    }
  }
  EXPECT_TRUE(sawVendorId);
  EXPECT_TRUE(sawEui64);

  // Below the 8-byte descriptor header nothing comes back; above it the beginning does.
  EXPECT_EQ(device->QueryDeviceIdProperty(buffer.data(), 4, &returned), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  ASSERT_EQ(device->QueryDeviceIdProperty(buffer.data(), 20, &returned), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(returned, 20u);
  EXPECT_EQ(WalkStorageDeviceIdDescriptor({buffer.data(), returned}).status, DeviceIdWalkStatus::RecordTruncated);

  // Device paths compare without regard to case, as on Windows.
  std::wstring upper = disks[0].devicePath;
  for (auto& c : upper) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
  EXPECT_EQ(TheStorageDevices().OpenDevice(upper, device), static_cast<DWORD>(ERROR_SUCCESS));
}

TEST(EmulatedHost, DsmDeviceAnswersTheSimulatorsRecordWithDriverBufferRules) {
  hosttest::SimulatedHost host;
  const auto group = host.AddGroup();
  const auto volume = host.AddVolume(group.id, "exchange", "group");

  std::unique_ptr<DsmDeviceHandle> dsm;
  ASSERT_EQ(TheDsmDevice().Open(L"\\\\.\\VDSM", dsm), static_cast<DWORD>(ERROR_SUCCESS));

  std::vector<std::uint8_t> buffer(16384);
  DWORD returned = 99;
  ASSERT_EQ(dsm->IoControl(kDsmGroupManagementIpInfoControlCode, buffer.data(), 16384, &returned),
            static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + returned), (std::vector<std::uint8_t>{1, 0, 0}))
      << "no LUN claimed before a login";

  ISDSC_STATUS status = 0;
  Login(group.targetName, nullptr, &status);
  ASSERT_EQ(status, 0u);
  const std::vector<std::uint8_t> expected = host.sim().hostDsmRecord(host.initiator());
  ASSERT_GT(expected.size(), 8u);
  ASSERT_EQ(dsm->IoControl(kDsmGroupManagementIpInfoControlCode, buffer.data(), 16384, &returned),
            static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + returned), expected);
  EXPECT_NE(std::string(buffer.begin(), buffer.begin() + returned).find(volume.serialNumber), std::string::npos);

  EXPECT_EQ(dsm->IoControl(kDsmGroupManagementIpInfoControlCode, buffer.data(), 6, &returned),
            static_cast<DWORD>(ERROR_MORE_DATA));
  EXPECT_EQ(returned, 6u);
  EXPECT_EQ(dsm->IoControl(kDsmGroupManagementIpInfoControlCode, buffer.data(), 2, &returned),
            static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(dsm->IoControl(0x222164, buffer.data(), 16384, &returned), static_cast<DWORD>(ERROR_INVALID_FUNCTION));
}

}  // namespace
