#pragma once
// Which snapshot sets a shadow copy of this host still refers to. On Windows VSS itself knows
// (the shadow copies it lists carry their snapshot set's id); on the emulated host the
// shadow-copy document of the host folder stands for VSS's own store.
#include <filesystem>
#include <memory>
#include <set>
#include <string>

namespace vantorvss {

class SnapshotSetReferences {
 public:
  virtual ~SnapshotSetReferences() = default;
  // Set ids as "{...}" in lower case. Throws std::runtime_error when the answer cannot be
  // had: nothing may then be taken for unreferenced.
  virtual std::set<std::string> ReferencedSets() const = 0;
};

// The shadow-copy document of the emulated host.
std::unique_ptr<SnapshotSetReferences> DocumentReferences(std::filesystem::path stateFile);
#ifdef _WIN32
// The shadow copies VSS lists on this machine, in every context.
std::unique_ptr<SnapshotSetReferences> VssReferences();
#endif

}  // namespace vantorvss
