// A configured address without a pin: the certificate met at the first contact holds that
// session from the start and becomes the address's pin once the array answered; an address
// without a credential is never pinned by contact, and a failed first contact pins nothing.
#include <gtest/gtest.h>

#include "ScriptedArray.h"
#include "array/VantorArray.h"
#include "discovery/CertificatePins.h"
#include "messages/VantorVssMessages.h"

namespace {

class FirstUsePin : public arraytest::OverScriptedArray {
 protected:
  void AnswerGroup() { array->Objects(nlohmann::json::array({{{"id", "0011aa"}, {"name", "east"}}})); }
  std::string Pin() const { return discovery::ReadCertificatePin(kAddress); }

  static constexpr const char* kAddress = "10.9.8.7";
  const Vantor::LoginInfo login{"admin", "s3cr3t-pw"};
  hosttest::EventCapture events;
};

TEST_F(FirstUsePin, ConfiguredAddressIsPinnedAfterItsFirstSuccessfulContactOnly) {
  probed.clear();  // the fixture's own connection met the address already
  array->Session();
  AnswerGroup();
  Vantor::Array driverOnly(kAddress, Vantor::LoginInfo());
  EXPECT_TRUE(probed.empty());
  EXPECT_EQ(Pin(), "");

  // A handshake that fails: no request, no pin.
  const std::size_t sent = array->Requests().size();
  presented.clear();
  EXPECT_THROW(Vantor::Array(kAddress, login), std::exception);
  EXPECT_EQ(array->Requests().size(), sent);
  // A login the array refuses: no pin either.
  presented = std::string(64, 'a');
  array->Error(401, "SM_http_unauthorized");
  EXPECT_THROW(Vantor::Array(kAddress, login), std::exception);
  EXPECT_EQ(array->Unanswered(), 0u);
  EXPECT_EQ(Pin(), "");
  EXPECT_TRUE(events.WithId(VA_MSG_CERTIFICATE_PINNED_AT_FIRST_USE).empty());

  array->Session();
  AnswerGroup();
  Vantor::Array first(kAddress, login);
  EXPECT_EQ(Pin(), presented);
  EXPECT_TRUE(discovery::IsPinnedAtFirstUse(kAddress));
  const auto pinned = events.WithId(VA_MSG_CERTIFICATE_PINNED_AT_FIRST_USE);
  ASSERT_EQ(pinned.size(), 1u);
  EXPECT_EQ(pinned[0].type, EVENTLOG_INFORMATION_TYPE);
  EXPECT_EQ(pinned[0].strings, (std::vector<std::wstring>{L"10.9.8.7", std::wstring(64, L'a')}));
  EXPECT_TRUE(trace.Contains("Pinned the certificate of 10.9.8.7 at first use: SHA-256 " + presented));

  // From now on the stored pin holds: no handshake of ours. An administrator's pin is no
  // longer one made at first use.
  probed.clear();
  array->Session();
  AnswerGroup();
  Vantor::Array second(kAddress, login);
  EXPECT_TRUE(probed.empty());
  ASSERT_EQ(discovery::WriteCertificatePin(kAddress, std::string(64, 'b')), ERROR_SUCCESS);
  EXPECT_FALSE(discovery::IsPinnedAtFirstUse(kAddress));
}

}  // namespace
