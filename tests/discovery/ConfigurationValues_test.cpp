// The configuration readers against an emulated registry: types that are refused, defaults,
// the process-wide caches of the REST settings, and the trace lines an administrator sees.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "discovery/ConfigurationKeys.h"
#include "discovery/ConfigurationValues.h"
#include "HostTestSupport.h"
#include "platform/emulated/EmulatedRegistry.h"

namespace {

constexpr const char* kHeader = "Windows Registry Editor Version 5.00\n";
constexpr const char* kConfiguration = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n";
constexpr const char* kProduct = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage]\n";

class Configuration : public ::testing::Test {
 protected:
  void SetUp() override { discovery::ResetConfigurationCaches(); }

  // Replaces the registry with `sections` (the .reg text after the header).
  void Load(const std::string& sections) {
    const auto error = registry_.get().LoadText(kHeader + sections);
    ASSERT_FALSE(error) << error->ToString();
  }
  void LoadConfiguration(const std::string& values) { Load(kConfiguration + values); }

  // Trace text written since the previous call.
  std::string NewLines() {
    const std::string all = trace_.Text();
    const std::string fresh = all.substr(std::min(seen_, all.size()));
    seen_ = all.size();
    return fresh;
  }
  static bool Has(const std::string& lines, const std::string& level, const std::string& text) {
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);)
      if (line.find("] " + level + " ConfigurationValues(") != std::string::npos && line.find("): " + text) != std::string::npos)
        return true;
    return false;
  }

  hosttest::TraceCapture trace_;
  hosttest::ScopedEmulatedRegistry registry_;
  std::size_t seen_ = 0;
};

TEST_F(Configuration, DwordValuesKeepTheirTypeRestrictionAndDefaults) {
  struct Case {
    const char* what;
    std::function<DWORD()> read;
    std::string registry;
    DWORD expected;
  };
  const auto disabled = [] { return discovery::ReadDisableAutomaticGroupDiscovery() ? 1u : 0u; };
  const std::string config = kConfiguration;
  const Case cases[] = {
      {"digest policy", discovery::ReadIscsiGlobalDigestPolicy, config + "\"ISCSIGlobalDigestPolicy\"=dword:00000003\n", 3},
      {"digest policy absent", discovery::ReadIscsiGlobalDigestPolicy, config, 0},
      {"digest policy as text", discovery::ReadIscsiGlobalDigestPolicy, config + "\"ISCSIGlobalDigestPolicy\"=\"3\"\n", 0},
      {"digest policy of no bytes", discovery::ReadIscsiGlobalDigestPolicy, config + "\"ISCSIGlobalDigestPolicy\"=hex(4):\n", 0},
      {"discovery off", disabled, config + "\"DisableAutomaticGroupDiscovery\"=dword:00000001\n", 1},
      {"discovery 2 stays on", disabled, config + "\"DisableAutomaticGroupDiscovery\"=dword:00000002\n", 0},
      {"discovery \"1\" stays on", disabled, config + "\"DisableAutomaticGroupDiscovery\"=\"1\"\n", 0},
      {"discovery of no bytes stays on", disabled, config + "\"DisableAutomaticGroupDiscovery\"=hex(4):\n", 0},
      {"no additional volume", discovery::ReadNoAdditionalVolumeInSnapshot, config + "\"NoAdditionalVolumeInSnapshot\"=dword:00000007\n", 7},
      {"skip version check", discovery::ReadSkipVersionCheck, config + "\"SkipVersionCheck\"=dword:00000001\n", 1},
      // The switch lives under the configuration key, not the product key.
      {"skip version check misplaced", discovery::ReadSkipVersionCheck, std::string(kProduct) + "\"SkipVersionCheck\"=dword:00000001\n", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Load(c.registry);
    EXPECT_EQ(c.read(), c.expected);
  }
}

TEST_F(Configuration, RestReceiveTimeoutWarnsAboutUnusableValues) {
  struct Case {
    std::string registry;
    int expected;
    const char* level;
    const char* line;
  };
  const std::string config = kConfiguration;
  const Case cases[] = {
      {config + "\"RestReceiveTimeout\"=dword:00007530\n", 30000, "DEBUG", "Reading Rest Recv Timeout from Registry..."},
      {config + "\"RestReceiveTimeout\"=dword:00000000\n", 0, "ERROR",
       "Rest Recv Timeout is set to invalid value of 0 msec. Will use default."},
      {config + "\"RestReceiveTimeout\"=dword:ffffff9c\n", 0, "ERROR",
       "Rest Recv Timeout is set to invalid value of -100 msec. Will use default."},
      {config + "\"RestReceiveTimeout\"=\"30000\"\n", 0, "ERROR",
       "Rest Recv Timeout is set to invalid value type. It should be REG_DWORD. Will use default."},
      {config + "\"RestReceiveTimeout\"=\"1\"\n", 0, "ERROR",
       "Rest Recv Timeout is set to invalid value type. It should be REG_DWORD. Will use default."},
      {config, 0, "INFO ", "Rest Recv Timeout is not specified. Keeping default."},
      {kProduct, 0, "INFO ", "Rest Recv Timeout is not specified. Keeping default."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.registry);
    Load(c.registry);
    discovery::ResetConfigurationCaches();
    NewLines();
    EXPECT_EQ(discovery::ReadRestReceiveTimeout(), c.expected);
    const std::string lines = NewLines();
    EXPECT_TRUE(Has(lines, c.level, c.line));
    EXPECT_EQ(Has(lines, "INFO ", "Rest Recv Timeout is not specified"), c.registry.find("RestReceiveTimeout") == std::string::npos);
  }

  // Once read, even a 0 is final: a later value is not seen by this process.
  LoadConfiguration("\"RestReceiveTimeout\"=dword:00001000\n");
  EXPECT_EQ(discovery::ReadRestReceiveTimeout(), 0);
  EXPECT_TRUE(NewLines().empty());
}

TEST_F(Configuration, GmdRestPortIsCachedAndRereadOnlyWhileZero) {
  LoadConfiguration("\"GmdRestPort\"=\"8080\"\n");
  EXPECT_EQ(discovery::ReadGmdRestPort(), 5392u);
  EXPECT_TRUE(Has(NewLines(), "INFO ", "The GMD Rest Port is not specified. Keeping default."));
  LoadConfiguration("\"GmdRestPort\"=dword:00001f90\n");
  EXPECT_EQ(discovery::ReadGmdRestPort(), 5392u);  // the default is cached too

  discovery::ResetConfigurationCaches();
  EXPECT_EQ(discovery::ReadGmdRestPort(), 8080u);
  EXPECT_TRUE(Has(NewLines(), "INFO ", "The GMD Rest Port is set to 8080"));
  LoadConfiguration("\"GmdRestPort\"=dword:00000050\n");
  EXPECT_EQ(discovery::ReadGmdRestPort(), 8080u);
  EXPECT_TRUE(NewLines().empty());

  // A stored 0 is returned as it is and read again on the next call.
  discovery::ResetConfigurationCaches();
  LoadConfiguration("\"GmdRestPort\"=dword:00000000\n");
  EXPECT_EQ(discovery::ReadGmdRestPort(), 0u);
  EXPECT_TRUE(Has(NewLines(), "INFO ", "The GMD Rest Port is set to 0"));
  LoadConfiguration("\"GmdRestPort\"=dword:000004d2\n");
  EXPECT_EQ(discovery::ReadGmdRestPort(), 1234u);

  discovery::ResetConfigurationCaches();
  Load(kProduct);
  EXPECT_EQ(discovery::ReadGmdRestPort(), 5392u);
}

TEST_F(Configuration, GroupMgmtIpsAreReadWhole) {
  std::wstring ips = L"unchanged";
  LoadConfiguration("\"GroupMgmtIps\"=\"10.0.0.1  10.0.0.2 \"\n");
  ASSERT_EQ(discovery::ReadGroupMgmtIps(ips), ERROR_SUCCESS);
  EXPECT_EQ(ips, L"10.0.0.1  10.0.0.2 ");

  std::string many;
  for (int i = 0; i < 300; ++i) many += "10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250) + " ";
  LoadConfiguration("\"GroupMgmtIps\"=\"" + many + "\"\n");
  ASSERT_EQ(discovery::ReadGroupMgmtIps(ips), ERROR_SUCCESS);
  EXPECT_EQ(ips, std::wstring(many.begin(), many.end()));

  LoadConfiguration("\"GroupMgmtIps\"=\"\"\n");
  EXPECT_EQ(discovery::ReadGroupMgmtIps(ips), ERROR_SUCCESS);
  EXPECT_EQ(ips, L"");
  LoadConfiguration("\"GroupMgmtIps\"=dword:0a000001\n");
  EXPECT_EQ(discovery::ReadGroupMgmtIps(ips), ERROR_UNSUPPORTED_TYPE);
  LoadConfiguration("");
  EXPECT_EQ(discovery::ReadGroupMgmtIps(ips), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(ips, L"");
}

TEST_F(Configuration, VersionBoundsAndProfileValues) {
  const std::string longText(300, '9');
  Load(std::string(kProduct) + "\"MinArrayVerSupported\"=\"4.1.0.0-123-opt\"\n\"MaxArrayVerSupported\"=\"" + longText +
       "\"\n");
  EXPECT_EQ(discovery::ReadMinArrayVerSupported(), "4.1.0.0-123-opt");
  EXPECT_EQ(discovery::ReadMaxArrayVerSupported(), std::nullopt);
  EXPECT_TRUE(Has(NewLines(), "WARN ", "MaxArrayVerSupported under SOFTWARE\\Vantor Storage cannot be read (error 234)"));

  const std::string path = discovery::ProfileKeyPath("backup profile");
  EXPECT_EQ(path, "SOFTWARE\\Vantor Storage\\Configuration\\GrpMgmtProfileList\\backup profile");
  // Profiles that read well are read by the group finder's pass (VantorGroupFinder_test); here
  // the values it must not use.
  std::string user = "kept", ip;
  std::vector<BYTE> password;
  Load("[HKEY_LOCAL_MACHINE\\" + path + "]\n\"UserName\"=\"" + longText + "\"\n\"Password\"=\"secret\"\n");
  EXPECT_EQ(discovery::ReadProfileUserName(path, user), ERROR_MORE_DATA);
  EXPECT_EQ(user, "kept");
  EXPECT_EQ(discovery::ReadProfilePassword(path, password), ERROR_UNSUPPORTED_TYPE);
  EXPECT_EQ(discovery::ReadProfileGroupMgmtIP(discovery::ProfileKeyPath("nobody"), ip), ERROR_FILE_NOT_FOUND);
}

}  // namespace
