// Version strings and the accepted range, without an array (the capability table is checked
// with the version policy against the simulator).
#include <gtest/gtest.h>

#include <string>

#include "array/ArrayVersion.h"

namespace {

using Vantor::ArrayVersion;

ArrayVersion Parsed(const std::string& text) {
  ArrayVersion version;
  EXPECT_TRUE(Vantor::ParseArrayVersion(text, version)) << text;
  return version;
}

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
      {"6.1.0.0-1-optx", false, {}},
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

TEST(ArrayVersion, RangeComparesFieldByFieldAndLetsMajorZeroThrough) {
  const ArrayVersion min = Parsed("3.0.0.0-00001-opt");
  EXPECT_TRUE(Vantor::IsVersionSupported(Parsed("0.1.2.3-x-opt"), Parsed("9.0.0.0-1-opt"), Parsed("9.0.0.0-1-opt")));
  EXPECT_FALSE(Vantor::IsVersionSupported(Parsed("2.99.99.99-x-opt"), min, Parsed("9.0.0.0-1-opt")));

  const ArrayVersion lowMax = Parsed("6.1.0.0-0-opt");
  EXPECT_TRUE(Vantor::IsVersionSupported(Parsed("6.1.0.0-7-opt"), min, lowMax));  // build tag does not count
  EXPECT_FALSE(Vantor::IsVersionSupported(Parsed("6.1.0.1-0-opt"), min, lowMax));
  EXPECT_FALSE(Vantor::IsVersionSupported(Parsed("6.2.0.0-0-opt"), min, lowMax));
  EXPECT_TRUE(Vantor::IsVersionSupported(Parsed("6.0.99.99-0-opt"), min, lowMax));
}

}  // namespace
