// The version check of an array group against the bounds and the skip switch of the emulated
// registry: the answer, the reason in the trace and the capabilities that follow.
#include <gtest/gtest.h>

#include <string>

#include "SimulatedArray.h"
#include "array/VantorArray.h"

namespace {

constexpr const char* kProductKey = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage]\r\n";
constexpr const char* kConfigurationKey = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\r\n";
constexpr const char* kSkip = "\"SkipVersionCheck\"=dword:00000001\r\n";

using VersionPolicy = arraytest::OverSimulatedArray;

TEST_F(VersionPolicy, RangeSkipSwitchAndCapabilities) {
  struct Case {
    std::string version;
    std::string registry;
    bool supported;
    Vantor::CapabilitySet capabilities;
    std::string traced;
  };
  const std::string skip = std::string(kConfigurationKey) + kSkip;
  const Case cases[] = {
      {"3.0.0.0-00001-opt", "", true, {}, ""},
      {"2.9.9.9-0-opt", "", false, {},
       "The reason: \"The version is not in the supported range [3.0.0.0-00001-opt to "
       "2147483647.0.0.0-0000-opt]\"."},
      {"0.1.2.3-x-opt", "", true, {0, 1, 2}, ""},
      {"5.0.1.0-12345-dbg", "", true, {2}, ""},
      {"6.0.0.0-1-opt", "", true, {0, 1, 2}, ""},
      {"5.1", "", false, {}, "The reason: \"Failed to set current version.\"."},
      {"5.1", skip, true, {0, 1, 2},
       "Found Skip Version Checking flag: 1. Registry location: \"SOFTWARE\\Vantor Storage\"."},
      {"4.0.0.0-1-opt", std::string(kProductKey) + "\"MinArrayVerSupported\"=\"4.5.0.0-0-opt\"\r\n\r\n" + skip, true,
       {}, "However, the user has selected to skip version checking!"},
      {"6.1.0.0-1-opt", std::string(kProductKey) + "\"MaxArrayVerSupported\"=\"6.0.9.9-0-opt\"\r\n", false, {},
       "[3.0.0.0-00001-opt to 6.0.9.9-0-opt]"},
      // The bounds hold themselves; the build tag does not count.
      {"6.0.9.9-7-opt", std::string(kProductKey) + "\"MaxArrayVerSupported\"=\"6.0.9.9-0-opt\"\r\n", true, {0, 1, 2}, ""},
      {"6.1.0.0-1-opt", std::string(kProductKey) + "\"MinArrayVerSupported\"=\"six\"\r\n", false, {},
       "The reason: \"Failed to set MIN version.\"."},
      {"6.1.0.0-1-opt", std::string(kProductKey) + "\"MaxArrayVerSupported\"=\"6.1\"\r\n", false, {},
       "The reason: \"Failed to set MAX version.\"."},
  };
  Vantor::Array::InitRest("array-tests");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version + " with " + c.registry);
    SetRegistry(c.registry);
    const auto target = AddGroup(c.version);
    Vantor::Array array(target.address, Vantor::LoginInfo(arraytest::kArrayUser, arraytest::kArrayPassword));
    // The refusal is logged whenever the version is out of range, also when the skip switch
    // then lets the array through.
    const std::string refused = "Current array version [" + c.version + "] is not supported.";
    const bool refusedExpected = !c.supported || c.registry.find(kSkip) != std::string::npos;
    const std::size_t refusedBefore = trace.Count(refused);
    std::string reported;
    EXPECT_EQ(array.CheckArrayVersion(reported), c.supported);
    EXPECT_EQ(trace.Count(refused) - refusedBefore, refusedExpected ? 1u : 0u) << trace.LinesWith("version");
    EXPECT_EQ(reported, c.version);
    EXPECT_EQ(array.GetCapabilities(), c.capabilities);
    EXPECT_TRUE(trace.Contains("The version of the array (" + target.address + ") is: [" + c.version + "]."));
    if (!c.traced.empty()) {
      EXPECT_TRUE(trace.Contains(c.traced)) << trace.LinesWith("version");
    }
  }
}

TEST_F(VersionPolicy, ArrayThatCannotTellItsVersionIsNotSupported) {
  Vantor::Array::InitRest("array-tests");
  Vantor::Array array(group.address, Vantor::LoginInfo(arraytest::kArrayUser, arraytest::kArrayPassword));
  sim().injectFault({group.id, "search:groups", 500, "SM_internal", "down", 1});
  std::string reported = "untouched";
  EXPECT_FALSE(array.CheckArrayVersion(reported));
  EXPECT_EQ(reported, "untouched");
  EXPECT_TRUE(trace.Contains("Failed to get the version of the array " + group.address + ". Do not support the array"));
}

}  // namespace
