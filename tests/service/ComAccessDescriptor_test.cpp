// The descriptor's contents are read back with the Windows security API in the Windows build's
// access tests; here only what no Windows call shows: malformed SIDs build nothing.
#include "service/ComAccessDescriptor.h"

#include <gtest/gtest.h>

namespace {

using namespace service;

TEST(ComAccessDescriptor, MalformedSidsBuildNoDescriptor) {
  EXPECT_FALSE(BuildComAccessDescriptor(AdministratorsSid(), LocalSystemSid()).empty());
  EXPECT_TRUE(BuildComAccessDescriptor({}, LocalSystemSid()).empty());
  SidBytes wrongRevision = LocalSystemSid();
  wrongRevision[0] = 2;
  EXPECT_TRUE(BuildComAccessDescriptor(wrongRevision, LocalSystemSid()).empty());
  SidBytes tooShort = AdministratorsSid();
  tooShort.pop_back();  // claims two sub-authorities, holds one and a half
  EXPECT_TRUE(BuildComAccessDescriptor(LocalSystemSid(), tooShort).empty());
}

}  // namespace
