#include "service/ComAccessDescriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace service;

const SidBytes kUserSid = {1, 5, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 0x0A, 0, 0, 0, 0x0B, 0, 0, 0, 0x0C, 0, 0, 0,
                           0xE9, 0x03, 0, 0};  // S-1-5-21-10-11-12-1001

TEST(ComAccessDescriptor, KeepsOwnerAndGroupAndAdmitsExactlyLocalSystemAndAdministrators) {
  const std::vector<std::uint8_t> descriptor = BuildComAccessDescriptor(kUserSid, LocalSystemSid());
  const auto contents = ReadComAccessDescriptor(descriptor);
  ASSERT_TRUE(contents.has_value());
  EXPECT_EQ(contents->owner, "S-1-5-21-10-11-12-1001");
  EXPECT_EQ(contents->group, "S-1-5-18");
  ASSERT_TRUE(contents->daclPresent);
  std::vector<std::string> admitted;
  for (const auto& ace : contents->dacl) {
    EXPECT_EQ(ace.type, 0) << ace.sid;  // allowed, never denied
    EXPECT_EQ(ace.flags, 0) << ace.sid;
    EXPECT_EQ(ace.mask, 0x3u) << ace.sid;  // local calls only
    admitted.push_back(ace.sid);
  }
  EXPECT_EQ(admitted, (std::vector<std::string>{"S-1-5-18", "S-1-5-32-544"}));  // no Backup Operators

  // The AppID's value admits the same, owned by Administrators with the group LocalSystem.
  const auto appId = ReadComAccessDescriptor(AppIdAccessPermission());
  ASSERT_TRUE(appId.has_value());
  EXPECT_EQ(appId->owner, "S-1-5-32-544");
  EXPECT_EQ(appId->group, "S-1-5-18");
  ASSERT_EQ(appId->dacl.size(), contents->dacl.size());
  for (std::size_t i = 0; i < appId->dacl.size(); ++i) EXPECT_EQ(appId->dacl[i].sid, contents->dacl[i].sid);
}

TEST(ComAccessDescriptor, LayoutIsTheSelfRelativeOneWindowsReads) {
  const std::vector<std::uint8_t> d = AppIdAccessPermission();
  // Header: revision 1, control SE_SELF_RELATIVE | SE_DACL_PRESENT, then the four offsets.
  ASSERT_GE(d.size(), 20u);
  EXPECT_EQ(d[0], 1);
  EXPECT_EQ(d[2] | d[3] << 8, 0x8004);
  EXPECT_EQ(d[4], 20);                  // owner right after the header
  EXPECT_EQ(d[8], 20 + 16);             // S-1-5-32-544 is 16 bytes
  EXPECT_EQ(d[12] | d[13] << 8, 0);     // no SACL
  EXPECT_EQ(d[16], 20 + 16 + 12);       // S-1-5-18 is 12 bytes
  // ACL: revision 2, size 8 + 2 ACEs (20 + 24), two ACEs; everything 4-byte aligned.
  const std::size_t acl = 48;
  EXPECT_EQ(d[acl], 2);
  EXPECT_EQ(d[acl + 2] | d[acl + 3] << 8, 8 + 20 + 24);
  EXPECT_EQ(d[acl + 4], 2);
  EXPECT_EQ(d.size(), acl + 8 + 20 + 24);
  EXPECT_EQ(d.size() % 4, 0u);
}

TEST(ComAccessDescriptor, MalformedSidsAndDescriptorsAreRefused) {
  EXPECT_TRUE(BuildComAccessDescriptor({}, LocalSystemSid()).empty());
  SidBytes wrongRevision = LocalSystemSid();
  wrongRevision[0] = 2;
  EXPECT_TRUE(BuildComAccessDescriptor(wrongRevision, LocalSystemSid()).empty());
  SidBytes tooShort = AdministratorsSid();
  tooShort.pop_back();  // claims two sub-authorities, holds one and a half
  EXPECT_TRUE(BuildComAccessDescriptor(LocalSystemSid(), tooShort).empty());
  EXPECT_EQ(SidText(tooShort), "");

  const std::vector<std::uint8_t> good = AppIdAccessPermission();
  ASSERT_TRUE(ReadComAccessDescriptor(good).has_value());
  // Every cut of the buffer is refused rather than read past its end.
  for (std::size_t length = 0; length < good.size(); ++length) {
    EXPECT_FALSE(ReadComAccessDescriptor(std::span(good).first(length)).has_value()) << length;
  }
  std::vector<std::uint8_t> badOffset = good;
  badOffset[4] = 0xF0;  // owner beyond the end
  EXPECT_FALSE(ReadComAccessDescriptor(badOffset).has_value());
  std::vector<std::uint8_t> badAce = good;
  badAce[48 + 8 + 2] = 4;  // an ACE shorter than its own header
  EXPECT_FALSE(ReadComAccessDescriptor(badAce).has_value());
  std::vector<std::uint8_t> absolute = good;
  absolute[3] = 0;  // not self-relative: its offsets would be pointers
  EXPECT_FALSE(ReadComAccessDescriptor(absolute).has_value());
}

}  // namespace
