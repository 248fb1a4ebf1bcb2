#include "provider/ProviderTexts.h"

#include <gtest/gtest.h>

TEST(ProviderTexts, ContextTextReportsTheWholeContextAndEachRecoveryFlag) {
  struct Case {
    LONG context;
    const char* expected;
  };
  const Case cases[] = {
      {0x02400020, "Context=0x2400020. AutoRecovery=1, TxFRecovery=1, Transportable=1"},
      {0, "Context=0x0. AutoRecovery=0, TxFRecovery=0, Transportable=0"},
      {0x00400000, "Context=0x400000. AutoRecovery=1, TxFRecovery=0, Transportable=0"},
      {0x00000020, "Context=0x20. AutoRecovery=0, TxFRecovery=0, Transportable=1"},
      // A negative LONG prints as the unsigned bit pattern VSS passed.
      {static_cast<LONG>(0xFFFFFFFFu), "Context=0xffffffff. AutoRecovery=1, TxFRecovery=1, Transportable=1"},
  };
  for (const auto& c : cases) EXPECT_EQ(provider::ContextText(c.context), c.expected) << c.context;
}

TEST(ProviderTexts, SnapshotSetIdTextIsLowerCaseWithBraces) {
  const VSS_ID id = {0x00000001, 0x0002, 0x0003, {0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B}};
  EXPECT_EQ(provider::SnapshotSetIdText(id), "{00000001-0002-0003-0405-060708090a0b}");
  const VSS_ID high = {0xABCDEF01, 0xFFFF, 0xA0B0, {0xFF, 0xEE, 0xDD, 0xCC, 0xBB, 0xAA, 0x99, 0x88}};
  EXPECT_EQ(provider::SnapshotSetIdText(high), "{abcdef01-ffff-a0b0-ffee-ddccbbaa9988}");
}
