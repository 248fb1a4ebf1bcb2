#pragma once
// Who may call the provider through COM: LocalSystem (VSS itself) and Administrators, and
// nobody else. A descriptor without an access list would admit every caller, any local user
// among them, to calls that delete snapshots or overwrite volumes with the array credentials
// the service holds. Backup Operators are left out on purpose: VSS calls the provider as
// LocalSystem, and a member of that group must not roll back any volume of a configured group
// through it.
//
// The same descriptor serves twice: the running service hands it to CoInitializeSecurity, and
// the registration writes it as the AppID's AccessPermission, which COM applies to a server
// it starts itself. Built here in the binary layout Windows uses (a self-relative security
// descriptor), so that both builds make the same bytes.
#include <cstdint>
#include <span>
#include <vector>

namespace service {

using SidBytes = std::vector<std::uint8_t>;

// COM_RIGHTS_EXECUTE | COM_RIGHTS_EXECUTE_LOCAL: calls from this machine; VSS is always local.
inline constexpr std::uint32_t kComAccessMask = 0x1 | 0x2;

SidBytes LocalSystemSid();      // S-1-5-18
SidBytes AdministratorsSid();   // S-1-5-32-544

// Owner and group are kept as given; the access list admits exactly the two accounts above
// with kComAccessMask. Empty when a SID is malformed.
std::vector<std::uint8_t> BuildComAccessDescriptor(std::span<const std::uint8_t> owner,
                                                   std::span<const std::uint8_t> group);

// The AppID's value: owner Administrators, group LocalSystem (a LocalSystem service's own
// token carries these), and the same access list.
std::vector<std::uint8_t> AppIdAccessPermission();

}  // namespace service
