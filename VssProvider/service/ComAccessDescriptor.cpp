#include "service/ComAccessDescriptor.h"

#include <array>

namespace service {
namespace {

constexpr std::uint8_t kSidRevision = 1;
constexpr std::size_t kSidHeader = 8;  // revision, count, six bytes of authority
constexpr std::size_t kMaxSubAuthorities = 15;
constexpr std::uint8_t kDescriptorRevision = 1;
constexpr std::uint16_t kSelfRelative = 0x8000;
constexpr std::uint16_t kDaclPresent = 0x0004;
constexpr std::size_t kDescriptorHeader = 20;
constexpr std::uint8_t kAclRevision = 2;
constexpr std::size_t kAclHeader = 8;
constexpr std::size_t kAceHeader = 8;  // type, flags, size, mask
constexpr std::uint8_t kAccessAllowed = 0;

SidBytes MakeSid(std::uint8_t authority, std::initializer_list<std::uint32_t> subAuthorities) {
  SidBytes sid{kSidRevision, static_cast<std::uint8_t>(subAuthorities.size()), 0, 0, 0, 0, 0, authority};
  for (const std::uint32_t part : subAuthorities) {
    for (int shift = 0; shift < 32; shift += 8) sid.push_back(static_cast<std::uint8_t>(part >> shift));
  }
  return sid;
}

std::size_t SidLength(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kSidHeader || bytes[0] != kSidRevision || bytes[1] > kMaxSubAuthorities) return 0;
  const std::size_t length = kSidHeader + 4u * bytes[1];
  return length <= bytes.size() ? length : 0;
}

void Put16(std::vector<std::uint8_t>& out, std::size_t at, std::uint32_t value) {
  out[at] = static_cast<std::uint8_t>(value);
  out[at + 1] = static_cast<std::uint8_t>(value >> 8);
}
void Put32(std::vector<std::uint8_t>& out, std::size_t at, std::uint32_t value) {
  Put16(out, at, value & 0xFFFFu);
  Put16(out, at + 2, value >> 16);
}

void Append(std::vector<std::uint8_t>& out, std::span<const std::uint8_t> bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace

SidBytes LocalSystemSid() { return MakeSid(5, {18}); }
SidBytes AdministratorsSid() { return MakeSid(5, {32, 544}); }

std::vector<std::uint8_t> BuildComAccessDescriptor(std::span<const std::uint8_t> owner,
                                                   std::span<const std::uint8_t> group) {
  const std::size_t ownerLength = SidLength(owner);
  const std::size_t groupLength = SidLength(group);
  if (ownerLength == 0 || groupLength == 0) return {};
  const std::array<SidBytes, 2> admitted{LocalSystemSid(), AdministratorsSid()};

  std::vector<std::uint8_t> acl(kAclHeader, 0);
  for (const SidBytes& sid : admitted) {
    const std::size_t at = acl.size();
    acl.resize(at + kAceHeader);
    acl[at] = kAccessAllowed;
    Put16(acl, at + 2, static_cast<std::uint32_t>(kAceHeader + sid.size()));
    Put32(acl, at + 4, kComAccessMask);
    Append(acl, sid);
  }
  acl[0] = kAclRevision;
  Put16(acl, 2, static_cast<std::uint32_t>(acl.size()));
  Put16(acl, 4, static_cast<std::uint32_t>(admitted.size()));

  std::vector<std::uint8_t> out(kDescriptorHeader, 0);
  out[0] = kDescriptorRevision;
  Put16(out, 2, kSelfRelative | kDaclPresent);
  Put32(out, 4, static_cast<std::uint32_t>(out.size()));
  Append(out, owner.first(ownerLength));
  Put32(out, 8, static_cast<std::uint32_t>(out.size()));
  Append(out, group.first(groupLength));
  Put32(out, 16, static_cast<std::uint32_t>(out.size()));
  Append(out, acl);
  return out;
}

std::vector<std::uint8_t> AppIdAccessPermission() {
  return BuildComAccessDescriptor(AdministratorsSid(), LocalSystemSid());
}

}  // namespace service
