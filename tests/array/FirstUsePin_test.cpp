// What is never pinned by contact: an address without a credential (reported by the driver
// only), and a configured one whose first contact fails its handshake (nothing is sent then).
// The pin a successful first contact makes: tests/e2e/CertificatePinning_test.cpp.
#include <gtest/gtest.h>

#include "ScriptedArray.h"
#include "array/VantorArray.h"
#include "discovery/CertificatePins.h"

namespace {

class FirstUsePin : public arraytest::OverScriptedArray {};

TEST_F(FirstUsePin, NothingIsPinnedWithoutACredentialOrAHandshake) {
  probed.clear();  // the fixture's own connection met the address already
  array->Session();
  array->Objects(nlohmann::json::array({{{"id", "0011aa"}, {"name", "east"}}}));
  Vantor::Array driverOnly("10.9.8.7", Vantor::LoginInfo());
  EXPECT_TRUE(probed.empty());

  const std::size_t sent = array->Requests().size();
  presented.clear();  // the handshake fails
  EXPECT_THROW(Vantor::Array("10.9.8.7", Vantor::LoginInfo("admin", "s3cr3t-pw")), std::exception);
  EXPECT_EQ(array->Requests().size(), sent);
  EXPECT_EQ(discovery::ReadCertificatePin("10.9.8.7"), "");
}

}  // namespace
