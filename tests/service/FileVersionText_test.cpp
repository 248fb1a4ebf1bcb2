#include "service/FileVersionText.h"

#include <gtest/gtest.h>

namespace {

using service::FileVersionText;
using service::kFixedFileInfoSignature;

TEST(FileVersionText, UsesBothHalvesOfBothWordsAndFallsBackWithoutASignature) {
  EXPECT_EQ(FileVersionText({kFixedFileInfoSignature, 0x0001'0000u, 0x0000'0000u}), L"1.0.0.0");
  EXPECT_EQ(FileVersionText({kFixedFileInfoSignature, 0x000A'0002u, 0x0003'0FFFu}), L"10.2.3.4095");
  EXPECT_EQ(FileVersionText({kFixedFileInfoSignature, 0xFFFF'FFFEu, 0x8000'0001u}), L"65535.65534.32768.1");
  EXPECT_EQ(FileVersionText({0xFEEF04BCu, 0x0005'0006u, 0x0007'0008u}), L"");

  EXPECT_EQ(service::VersionTextOrDefault(L""), L"1.0.0.0");
  EXPECT_EQ(service::VersionTextOrDefault(L"5.6.7.8"), L"5.6.7.8");
}

}  // namespace
