// Version strings, without an array (the accepted range and the capability table are checked
// with the version policy against the simulator).
#include <gtest/gtest.h>

#include <string>

#include "array/ArrayVersion.h"

namespace {

using Vantor::ArrayVersion;

TEST(ArrayVersion, ParsesOnlyTheWholeFormat) {
  struct Case {
    const char* text;
    bool ok;
    ArrayVersion expected;
  };
  const Case cases[] = {
      {"3.0.0.0-00001-opt", true, {3, 0, 0, 0}},
      {"6.1.2.345-abcDEF9-dbg", true, {6, 1, 2, 345}},
      {"2147483647.0.0.0-0000-opt", true, {2147483647, 0, 0, 0}},
      // Overflow wraps instead of failing: the digits are converted without a check.
      {"4294967297.0.0.0-0-opt", true, {1, 0, 0, 0}},
      {"5.1", false, {}},
      {"6.1.0.0", false, {}},
      {"6.1.0.0-1-rel", false, {}},
      {"6.1.0.0-1-opt ", false, {}},
      {" 6.1.0.0-1-opt", false, {}},
      {"6.1.0.0--opt", false, {}},
      {"6.1.0.0-a_b-opt", false, {}},
      {"6.1.0.0.1-1-opt", false, {}},
      {"6.-1.0.0-1-opt", false, {}},
      {"", false, {}},
  };
  for (const auto& c : cases) {
    ArrayVersion version{9, 9, 9, 9};
    EXPECT_EQ(Vantor::ParseArrayVersion(c.text, version), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(version, c.expected) << c.text;
    }
  }
  ArrayVersion version;
  EXPECT_FALSE(Vantor::ParseArrayVersion(std::string("6.1.0.0-1-opt\0", 14), version));
}

}  // namespace
