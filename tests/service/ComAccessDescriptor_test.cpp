// The descriptor's contents are read back with the Windows security API in the Windows build's
// access tests; here which accounts its bytes name, and that malformed SIDs build nothing.
#include "service/ComAccessDescriptor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

namespace {

using namespace service;

std::size_t Occurrences(const std::vector<std::uint8_t>& haystack, const SidBytes& sid) {
  std::size_t count = 0;
  for (auto it = haystack.begin(); (it = std::search(it, haystack.end(), sid.begin(), sid.end())) != haystack.end(); ++it)
    ++count;
  return count;
}

// Each account once in the access list, plus once more where it is the owner or the group.
TEST(ComAccessDescriptor, AccessListNamesLocalSystemAndAdministratorsOnly) {
  const SidBytes user = {1, 5, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 10, 0, 0, 0, 11, 0, 0, 0, 12, 0, 0, 0, 0xE9, 3, 0, 0};
  const SidBytes backupOperators = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x27, 2, 0, 0};  // S-1-5-32-551
  const SidBytes users = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x21, 2, 0, 0};            // S-1-5-32-545
  const SidBytes everyone = {1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};                         // S-1-1-0
  const auto service = BuildComAccessDescriptor(user, user);
  EXPECT_EQ(Occurrences(service, user), 2u);
  EXPECT_EQ(Occurrences(service, LocalSystemSid()), 1u);
  EXPECT_EQ(Occurrences(service, AdministratorsSid()), 1u);
  const auto appId = AppIdAccessPermission();
  EXPECT_EQ(Occurrences(appId, LocalSystemSid()), 2u);
  EXPECT_EQ(Occurrences(appId, AdministratorsSid()), 2u);
  for (const auto* descriptor : {&service, &appId})
    for (const SidBytes* other : {&backupOperators, &users, &everyone}) EXPECT_EQ(Occurrences(*descriptor, *other), 0u);
}

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
