#pragma once
// Who made a snapshot. Many hosts share an array group (cluster nodes, backup servers that
// import transportable copies, several servers on one group), so every snapshot the provider
// creates carries, next to the snapshot set's id, a second metadata pair naming the host that
// made it and the set's VSS context: housekeeping on one host then acts only on that host's
// snapshots, and can tell a transportable set (whose backup document lives with the backup
// application, not with VSS on this host) from the others.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Vantor {

inline constexpr const char* kSnapshotOwnerKey = "vss_vs_snapshot_owner";

struct SnapshotOwner {
  std::string host;           // the computer name of the host that made the snapshot
  std::uint32_t context = 0;  // the snapshot set's VSS context bits

  bool IsTransportable() const;
  // Computer names compare without regard to case.
  bool IsHost(std::string_view otherHost) const;
};

// The pair's value: "host=NAME;context=0x0000001d". Empty when `host` cannot be named there
// (empty, longer than 63 characters, or holding a character other than a letter, a digit,
// '-', '_' or '.'): such a snapshot is made without an owner, and housekeeping keeps it.
std::string OwnerTagText(std::string_view host, std::uint32_t context);
// The owner a value names; none for anything that is not exactly the form above. A malformed
// tag never makes a snapshot this host's.
std::optional<SnapshotOwner> ParseOwnerTag(std::string_view text);

// This computer's name (the service-account seam); empty, after a log line, when it cannot be
// read.
std::string ThisHostName();

}  // namespace Vantor
