// A stored credential goes only to the address it was stored for: an address that only the
// multipath driver reports, answering with a configured group's id, shares the group's one
// wrapper but never receives a login with that group's password.
#include <gtest/gtest.h>

#include <algorithm>

#include "ProviderHarness.h"
#include "ScriptedArray.h"

namespace {

constexpr const char* kPassword = "Gr0up-s3cret";

// Every address answers as group 0011aa; each login that carries the password is recorded
// with the address it went to.
class AnswersAsOneGroup final : public vantor::http::Connection {
 public:
  explicit AnswersAsOneGroup(std::vector<std::string>& logins) : mLogins(logins) {}
  vantor::http::Response send(const vantor::http::Request& r) override {
    if (r.path != "/v1/tokens")
      return {200, {}, r.path.starts_with("/v1/groups") ? R"({"data":[{"id":"0011aa","name":"east"}],"total":1})"
                                                        : R"({"data":[],"total":0})"};
    if (r.body.find(kPassword) != std::string::npos) mLogins.push_back(r.host);
    return {201, {}, R"({"data":{"id":"t","session_token":"k","username":"admin"}})"};
  }
  void setTimeouts(const vantor::http::Timeouts&) override {}
  vantor::http::Timeouts getTimeouts() const override { return {}; }
  void setTlsOptions(const vantor::http::TlsOptions&) override {}
  void close() override {}

 private:
  std::vector<std::string>& mLogins;
};

class CredentialAddress : public arraytest::OverScriptedArray {};

TEST_F(CredentialAddress, DriverOnlyAddressOfAConfiguredGroupNeverGetsItsPassword) {
  std::vector<std::string> logins;
  VantorStorage::WS::ApiLibrary::getInstance().setTransportFactory(
      [&] { return std::make_unique<AnswersAsOneGroup>(logins); });
  // The driver-only address comes first in address order.
  ProviderPtr provider = WireProvider(OverWrappers({{"10.0.0.1", {}}, {"10.0.0.2", {"admin", kPassword}}}));
  for (int refresh = 0; refresh < 2; ++refresh) {  // an add, then an update of both addresses
    const VSS_ID set = wincompat::NewGuid();
    ASSERT_EQ(provider->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, Luns{{"Vantor", "Server", "aaa1"}}.data()),
              S_OK);
    provider->EndPrepareSnapshots(set);  // searches the group, then vetoes: no group holds the LUN
  }
  EXPECT_EQ(provider->CachedGroupUids(), std::vector<std::string>{"0011aa"});
  provider.reset();
  EXPECT_EQ(std::count(logins.begin(), logins.end(), "10.0.0.1"), 0);
  EXPECT_GE(std::count(logins.begin(), logins.end(), "10.0.0.2"), 1);
  EXPECT_TRUE(trace.Contains("the session of configured address 10.0.0.2 replaces the one with 10.0.0.1"));
  // The wrapper itself refuses a credential stored for another address than its session's.
  VaVssArrayWrapper wrapper("10.0.0.1", Vantor::LoginInfo());
  wrapper.SetConfiguredAddress("10.0.0.2");
  wrapper.SetLoginInfo(Vantor::LoginInfo("admin", kPassword));
  EXPECT_TRUE(wrapper.GetLoginInfo().IsEmpty());
}

}  // namespace
