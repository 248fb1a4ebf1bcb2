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
std::uint32_t Get16(std::span<const std::uint8_t> in, std::size_t at) {
  return static_cast<std::uint32_t>(in[at]) | static_cast<std::uint32_t>(in[at + 1]) << 8;
}
std::uint32_t Get32(std::span<const std::uint8_t> in, std::size_t at) { return Get16(in, at) | Get16(in, at + 2) << 16; }

void Append(std::vector<std::uint8_t>& out, std::span<const std::uint8_t> bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

// The SID that starts at `offset`, or "" when it does not fit.
std::optional<std::string> SidAt(std::span<const std::uint8_t> in, std::size_t offset) {
  if (offset == 0) return std::string();
  if (offset >= in.size()) return std::nullopt;
  const std::size_t length = SidLength(in.subspan(offset));
  if (length == 0) return std::nullopt;
  return SidText(in.subspan(offset, length));
}

}  // namespace

SidBytes LocalSystemSid() { return MakeSid(5, {18}); }
SidBytes AdministratorsSid() { return MakeSid(5, {32, 544}); }

std::string SidText(std::span<const std::uint8_t> sid) {
  const std::size_t length = SidLength(sid);
  if (length == 0) return {};
  std::uint64_t authority = 0;
  for (std::size_t i = 2; i < kSidHeader; ++i) authority = authority << 8 | sid[i];
  std::string text = "S-1-" + std::to_string(authority);
  for (std::size_t at = kSidHeader; at < length; at += 4) text += "-" + std::to_string(Get32(sid, at));
  return text;
}

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

std::optional<DescriptorContents> ReadComAccessDescriptor(std::span<const std::uint8_t> in) {
  if (in.size() < kDescriptorHeader || in[0] != kDescriptorRevision) return std::nullopt;
  const std::uint32_t control = Get16(in, 2);
  if ((control & kSelfRelative) == 0) return std::nullopt;
  DescriptorContents contents;
  const auto owner = SidAt(in, Get32(in, 4));
  const auto group = SidAt(in, Get32(in, 8));
  if (!owner || !group) return std::nullopt;
  contents.owner = *owner;
  contents.group = *group;
  contents.daclPresent = (control & kDaclPresent) != 0;
  const std::size_t daclOffset = Get32(in, 16);
  if (!contents.daclPresent || daclOffset == 0) return contents;
  if (daclOffset > in.size() || in.size() - daclOffset < kAclHeader) return std::nullopt;
  const auto acl = in.subspan(daclOffset);
  const std::size_t aclSize = Get16(acl, 2);
  const std::size_t aceCount = Get16(acl, 4);
  if (acl[0] < kAclRevision || aclSize < kAclHeader || aclSize > acl.size()) return std::nullopt;
  std::size_t at = kAclHeader;
  for (std::size_t i = 0; i < aceCount; ++i) {
    if (aclSize - at < kAceHeader) return std::nullopt;
    const std::size_t aceSize = Get16(acl, at + 2);
    if (aceSize < kAceHeader || aceSize > aclSize - at) return std::nullopt;
    DescriptorContents::Ace ace;
    ace.type = acl[at];
    ace.flags = acl[at + 1];
    ace.mask = Get32(acl, at + 4);
    const auto sid = acl.subspan(at + kAceHeader, aceSize - kAceHeader);
    if (SidLength(sid) == 0) return std::nullopt;
    ace.sid = SidText(sid);
    contents.dacl.push_back(std::move(ace));
    at += aceSize;
  }
  return contents;
}

}  // namespace service
