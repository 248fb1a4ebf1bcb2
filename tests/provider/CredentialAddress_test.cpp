// A stored credential goes only to the address it was stored for: an address that only the
// multipath driver reports, answering with a configured group's id, shares the group's one
// wrapper but never receives a login with that group's password. Real wrappers over a
// transport that answers every address as the same group and records each login.
#include <gtest/gtest.h>

#include "HostTestSupport.h"
#include "array/VaVssArrayWrapper.h"
#include "discovery/ConfigurationValues.h"
#include "http/Transport.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "provider/LunInformation.h"
#include "provider/VaVssHwProvider.h"
#include "restsdk/ApiLibrary.h"
#include "wincompat/Guid.h"

namespace {

constexpr const char* kDriverOnly = "10.0.0.1";  // walked first: address order
constexpr const char* kConfigured = "10.0.0.2";
constexpr const char* kPassword = "Gr0up-s3cret";

struct Login {
  std::string host;
  std::string body;
};

class SameGroupEverywhere final : public vantor::http::Connection {
 public:
  explicit SameGroupEverywhere(std::vector<Login>& logins) : mLogins(logins) {}
  vantor::http::Response send(const vantor::http::Request& request) override {
    vantor::http::Response response;
    response.status = 200;
    response.body = R"({"data":[],"total":0})";
    if (request.method == "POST" && request.path == "/v1/tokens") {
      mLogins.push_back({request.host, request.body});
      response.status = 201;
      response.body = R"({"data":{"id":"t1","session_token":"tok","username":"admin"}})";
    } else if (request.path.rfind("/v1/groups", 0) == 0) {
      response.body = R"({"data":[{"id":"0011aa","name":"east"}],"total":1})";
    } else if (request.method == "DELETE") {
      response.body = "{}";
    }
    return response;
  }
  void setTimeouts(const vantor::http::Timeouts& timeouts) override { mTimeouts = timeouts; }
  vantor::http::Timeouts getTimeouts() const override { return mTimeouts; }
  void setTlsOptions(const vantor::http::TlsOptions&) override {}
  void close() override {}

 private:
  std::vector<Login>& mLogins;
  vantor::http::Timeouts mTimeouts;
};

class CredentialAddress : public ::testing::Test {
 protected:
  void SetUp() override {
    discovery::ResetConfigurationCaches();
    auto& library = VantorStorage::WS::ApiLibrary::getInstance();
    library.setTransportFactory([this] { return std::make_unique<SameGroupEverywhere>(logins); });
    library.setCertificateProbe([](const std::string&, std::uint16_t) { return std::string(64, 'c'); });
    ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&hw)),
              S_OK);
    static_cast<CVaVssHwProvider*>(hw)->UseArrayAccess(provider::ArrayAccess{
        [] {
          return std::map<std::string, Vantor::LoginInfo>{{kDriverOnly, Vantor::LoginInfo()},
                                                          {kConfigured, Vantor::LoginInfo("admin", kPassword)}};
        },
        [](const std::string&) { return std::string(); },
        [](const std::string&) { return provider::RestSupport::Supported; },
        [](const std::string& address, const Vantor::LoginInfo& login) {
          return std::make_shared<VaVssArrayWrapper>(address, login);
        }});
  }
  void TearDown() override {
    hw->Release();
    VantorStorage::WS::ApiLibrary::getInstance().setTransportFactory({});
    VantorStorage::WS::ApiLibrary::getInstance().setCertificateProbe({});
  }
  // A set over one LUN: the refresh, then a volume search on the group's wrapper.
  void PrepareSet() {
    provider::OwnedLunInformation lun;
    ASSERT_TRUE(provider::BuildLunInformation(lun.get(), "Vantor", "Server", "1.0", "aaa1", {}));
    const VSS_ID set = wincompat::NewGuid();
    ASSERT_EQ(hw->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, &lun.get()), S_OK);
    static_cast<CVaVssHwProvider*>(hw)->EndPrepareSnapshots(set);  // vetoes: no group holds the LUN
  }
  std::size_t LoginsWithPassword(const std::string& host) const {
    std::size_t n = 0;
    for (const auto& login : logins) n += login.host == host && login.body.find(kPassword) != std::string::npos;
    return n;
  }

  hosttest::TraceCapture trace;
  hosttest::EventCapture events;
  hosttest::ScopedSeam<platform::Registry> registry{std::make_unique<platform::EmulatedRegistry>()};
  std::vector<Login> logins;
  IVssHardwareSnapshotProviderEx* hw = nullptr;
};

TEST_F(CredentialAddress, DriverOnlyAddressOfAConfiguredGroupNeverGetsItsPassword) {
  PrepareSet();
  PrepareSet();  // the second refresh updates both addresses in place
  EXPECT_EQ(static_cast<CVaVssHwProvider*>(hw)->CachedGroupUids(), std::vector<std::string>{"0011aa"});
  EXPECT_EQ(LoginsWithPassword(kDriverOnly), 0u);
  EXPECT_GE(LoginsWithPassword(kConfigured), 1u);
  EXPECT_TRUE(trace.Contains("the session of configured address 10.0.0.2 replaces the one with 10.0.0.1"));

  // The wrapper itself refuses a credential for another address than its session's.
  VaVssArrayWrapper wrapper(kDriverOnly, Vantor::LoginInfo());
  wrapper.SetConfiguredAddress(kConfigured);
  wrapper.SetLoginInfo(Vantor::LoginInfo("admin", kPassword));
  std::shared_ptr<Vantor::VolumeRecord> volume;
  wrapper.FindVolume("aaa1", true, volume);
  EXPECT_EQ(LoginsWithPassword(kDriverOnly), 0u);
  EXPECT_TRUE(wrapper.GetLoginInfo().IsEmpty());
}

}  // namespace
