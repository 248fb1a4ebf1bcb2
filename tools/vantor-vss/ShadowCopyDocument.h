#pragma once
// The shadow-copy document: what VSS keeps of each shadow copy set in its backup components
// document, so that a later run (an import, a release, on this host or another) can call the
// provider with what it was given when the set was made. A versioned JSON file; by default
// HOST_DIR/shadow-copies.json.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "wincompat/VssTypes.h"

namespace vantorvss {

// A document that cannot be used, or a name it does not hold: the user's input is wrong.
class DocumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ShadowCopyVolume {
  std::string snapshotId;   // VSS's id of this volume's shadow copy
  std::string device;       // the volume's device on the host that made the set
  nlohmann::json sourceLun;  // the source LUN as BeginPrepareSnapshot got it
  nlohmann::json targetLun;  // the snapshot LUN as GetTargetLuns gave it

  std::string SourceSerial() const;
  std::string SnapshotSerial() const;
};

struct ShadowCopySet {
  std::string snapshotSetId;  // "{...}"
  LONG context = 0;
  std::string creationTime;   // UTC, "YYYY-MM-DDThh:mm:ssZ"
  std::vector<ShadowCopyVolume> volumes;
};

class ShadowCopyDocument {
 public:
  static constexpr int kVersion = 1;

  // Reads `file`; a file that does not exist is an empty document. Throws DocumentError naming
  // the file and the entry that is wrong; nothing is changed then.
  static ShadowCopyDocument Load(const std::filesystem::path& file);
  // Writes the whole document through a temporary file, so a reader never sees half of it.
  void Save() const;

  const std::filesystem::path& File() const { return file_; }
  const std::vector<ShadowCopySet>& Sets() const { return sets_; }
  // Adds the set; of a set the document already holds, adds the volumes it lacks.
  void Put(const ShadowCopySet& set);
  // Removes one volume of a set; the set goes when it has no volume left.
  void Remove(const std::string& snapshotSetId, const std::string& snapshotSerial);

  // The volumes that `names` (snapshot serial numbers or snapshot set ids) select, grouped by
  // set in document order. Throws DocumentError naming the file and a name it does not hold.
  std::vector<ShadowCopySet> Select(const std::vector<std::string>& names) const;

 private:
  std::filesystem::path file_;
  std::vector<ShadowCopySet> sets_;
};

nlohmann::json ToJson(const ShadowCopySet& set);
// "YYYY-MM-DDThh:mm:ssZ" of now.
std::string UtcNow();

}  // namespace vantorvss
