// What is never pinned by contact: an address without a credential (reported by the driver
// only), and a configured one whose first contact fails its handshake (nothing is sent then)
// or its login; an address with a stored pin is held to it without a handshake of ours. The
// pin a successful first contact makes: tests/e2e/CertificatePinning_test.cpp.
#include <gtest/gtest.h>

#include "ScriptedArray.h"
#include "array/VantorArray.h"
#include "discovery/CertificatePins.h"

namespace {

class FirstUsePin : public arraytest::OverScriptedArray {
 protected:
  void AnswerGroup() { array->Objects(nlohmann::json::array({{{"id", "0011aa"}, {"name", "east"}}})); }
  const Vantor::LoginInfo login{"admin", "s3cr3t-pw"};
};

TEST_F(FirstUsePin, NothingIsPinnedWithoutACredentialOrASuccessfulFirstContact) {
  const std::string address = "10.9.8.7";
  probed.clear();  // the fixture's own connection met the address already
  array->Session();
  AnswerGroup();
  Vantor::Array driverOnly(address, Vantor::LoginInfo());
  EXPECT_TRUE(probed.empty());

  const std::size_t sent = array->Requests().size();
  presented.clear();  // the handshake fails
  EXPECT_THROW(Vantor::Array(address, login), std::exception);
  EXPECT_EQ(array->Requests().size(), sent);
  presented = std::string(64, 'a');
  array->Error(401, "SM_http_unauthorized");
  EXPECT_THROW(Vantor::Array(address, login), std::exception);
  EXPECT_EQ(discovery::ReadCertificatePin(address), "");

  ASSERT_EQ(discovery::WriteCertificatePin(address, presented), ERROR_SUCCESS);
  probed.clear();
  array->Session();
  AnswerGroup();
  Vantor::Array pinned(address, login);
  EXPECT_TRUE(probed.empty());
  EXPECT_FALSE(discovery::IsPinnedAtFirstUse(address));
}

}  // namespace
