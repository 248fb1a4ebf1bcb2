#pragma once
// The journal of abandoned snapshot sets: the sets the provider gave up (vetoed or aborted)
// after it had asked a group to create them. An array may finish such a create after the
// provider stopped waiting, and the abort's search then ran too early to see its snapshots;
// the journal remembers the set so that the provider searches the group again later.
//
// It lives with the provider's other protected state, under
// HKEY_LOCAL_MACHINE\SOFTWARE\Vantor Storage\AbandonedSets (SYSTEM and Administrators only):
// one REG_SZ value per set and group, named "{set id} group-id", holding the time the set was
// given up in seconds since 1970 UTC. A journal that cannot be read or written costs a trace
// line and event 4460, never a shadow copy.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace provider {

struct AbandonedSet {
  std::string valueName;  // the entry's name in the journal
  std::string setId;      // "{xxxxxxxx-...}"
  std::string groupUid;
  std::int64_t givenUpAt = 0;  // seconds since 1970 UTC
  bool malformed = false;      // the name or the time could not be read; only its age counts
};

struct JournalSettings {
  // An entry goes once a search made this long after the set was given up finds nothing of it:
  // by then an array has finished or dropped any create it was still working on.
  std::chrono::seconds margin{std::chrono::minutes(10)};
  // Entries that cannot be swept (malformed, or naming a group this host no longer reaches)
  // are removed at this age.
  std::chrono::seconds maxAge{std::chrono::hours(24 * 30)};
};

// Seconds since 1970 UTC now.
std::int64_t JournalNow();

// Parses one entry; `malformed` is set when the name or the time cannot be read.
AbandonedSet ParseAbandonedSet(const std::string& valueName, const std::string& data);

// Records the set as given up at `now` on each of `groupUids`; false after a failure was
// logged and reported.
bool RecordAbandonedSet(const std::string& setId, const std::vector<std::string>& groupUids, std::int64_t now);
// Every entry (at most a few thousand are read); nullopt after a failure was logged and
// reported. A journal that was never written is empty.
std::optional<std::vector<AbandonedSet>> ReadAbandonedSets();
// False after a failure was logged and reported.
bool RemoveAbandonedSet(const std::string& valueName);

}  // namespace provider
