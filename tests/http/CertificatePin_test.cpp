// Fingerprint texts as administrators type them, and the pin's verdict on a presented
// certificate (both builds).
#include <gtest/gtest.h>

#include "http/CertificatePin.h"

namespace {

using namespace std::chrono;
using vantor::http::normalizeSha256Hex;
using vantor::http::pinRefusal;

const std::string kPin(64, 'a');

TEST(CertificatePin, FingerprintTextsAreNormalizedOrRefused) {
  std::string paired;
  for (int i = 0; i < 32; ++i) paired += std::string(i ? ":" : "") + "AB";
  std::string lower;
  for (int i = 0; i < 32; ++i) lower += "ab";
  EXPECT_EQ(normalizeSha256Hex(paired), lower);
  EXPECT_EQ(normalizeSha256Hex(lower), lower);
  EXPECT_EQ(normalizeSha256Hex(std::string(64, 'F')), std::string(64, 'f'));
  for (const std::string& bad : {std::string(), std::string(63, 'a'), std::string(65, 'a'), std::string(64, 'g'),
                                 ":" + lower, lower + ":", "a:" + lower.substr(1), lower.substr(0, 2) + "::" + lower.substr(2),
                                 lower.substr(0, 32) + " " + lower.substr(32), "0x" + lower.substr(2)}) {
    EXPECT_FALSE(normalizeSha256Hex(bad).has_value()) << "'" << bad << "'";
  }
}

TEST(CertificatePin, OnlyThePinnedCertificateWithinItsDatesPasses) {
  const auto now = system_clock::now();
  const auto before = now - hours(24);
  const auto after = now + hours(24);
  EXPECT_EQ(pinRefusal(kPin, kPin, before, after, now), "");
  const std::string other(64, 'b');
  const std::string changed = pinRefusal(other, kPin, before, after, now);
  EXPECT_NE(changed.find(other), std::string::npos) << changed;
  EXPECT_NE(changed.find(kPin), std::string::npos) << changed;
  // (An expired one: tests/restsdk/SimulatorClient_test.cpp, over TLS in both builds.)
  EXPECT_NE(pinRefusal(kPin, kPin, now + seconds(1), after, now).find("not valid before"), std::string::npos);
}

}  // namespace
