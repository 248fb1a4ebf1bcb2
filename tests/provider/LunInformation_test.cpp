#include "provider/LunInformation.h"

#include <gtest/gtest.h>

#include <cstring>

using provider::LunIdentifier;

namespace {
std::vector<LunIdentifier> TwoIdentifiers() {
  return {{VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId, std::vector<std::uint8_t>(56, 'v')},
          {VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64, std::vector<std::uint8_t>(16, 0xEE)}};
}
}  // namespace

// Run under ASan, these catch leaks and double frees of the task-memory blocks.
TEST(LunInformation, DeepCopyIsIndependentOfTheOriginal) {
  provider::OwnedLunInformation original;
  ASSERT_TRUE(provider::BuildLunInformation(original.get(), "Vantor", "Server", "1.0", "abc123", TwoIdentifiers()));

  provider::OwnedLunInformation copy;
  ASSERT_TRUE(provider::CopyLunInformation(original.get(), copy.get()));
  provider::FreeLunInformation(original.get());

  const VDS_LUN_INFORMATION& lun = copy.get();
  EXPECT_STREQ(lun.m_szVendorId, "Vantor");
  EXPECT_STREQ(lun.m_szSerialNumber, "abc123");
  EXPECT_EQ(lun.m_deviceIdDescriptor.m_version, 16u);
  ASSERT_EQ(lun.m_deviceIdDescriptor.m_cIdentifiers, 2u);
  EXPECT_EQ(lun.m_deviceIdDescriptor.m_rgIdentifiers[0].m_cbIdentifier, 56u);
  EXPECT_EQ(lun.m_deviceIdDescriptor.m_rgIdentifiers[1].m_Type, VDSStorageIdTypeEUI64);
  EXPECT_EQ(lun.m_deviceIdDescriptor.m_rgIdentifiers[1].m_rgbIdentifier[15], 0xEE);
}

TEST(LunInformation, ReplacingIdentifierBytesFreesTheOldBlockAndTakesTheNewSize) {
  provider::OwnedLunInformation lun;
  ASSERT_TRUE(provider::BuildLunInformation(lun.get(), "Vantor", "Server", "1.0", "s", TwoIdentifiers()));
  VDS_STORAGE_IDENTIFIER& id = lun.get().m_deviceIdDescriptor.m_rgIdentifiers[0];
  const std::uint8_t shorter[3] = {1, 2, 3};
  ASSERT_TRUE(provider::ReplaceIdentifierBytes(id, shorter, 3));
  EXPECT_EQ(id.m_cbIdentifier, 3u);
  EXPECT_EQ(std::memcmp(id.m_rgbIdentifier, shorter, 3), 0);
}

TEST(LunInformation, NullStringsStayNullAndNeverMatch) {
  VDS_LUN_INFORMATION empty{};
  provider::OwnedLunInformation copy;
  ASSERT_TRUE(provider::CopyLunInformation(empty, copy.get()));
  EXPECT_EQ(copy.get().m_szVendorId, nullptr);
  EXPECT_FALSE(provider::LunStringIs(copy.get().m_szVendorId, "Vantor"));
  EXPECT_FALSE(provider::LunStringIs("Vantor ", "Vantor"));
  EXPECT_FALSE(provider::LunStringIs("vantor", "Vantor"));
  EXPECT_TRUE(provider::LunStringIs("Vantor", "Vantor"));
}
