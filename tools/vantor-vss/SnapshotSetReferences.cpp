#include "SnapshotSetReferences.h"

#include "ShadowCopyDocument.h"
#include "wincompat/Guid.h"

namespace vantorvss {
namespace {

class DocumentSetReferences final : public SnapshotSetReferences {
 public:
  explicit DocumentSetReferences(std::filesystem::path stateFile) : stateFile_(std::move(stateFile)) {}

  std::set<std::string> ReferencedSets() const override {
    std::set<std::string> sets;
    const ShadowCopyDocument document = ShadowCopyDocument::Load(stateFile_);
    for (const auto& set : document.Sets()) {
      GUID setId{};
      if (wincompat::GuidFromString(set.snapshotSetId, setId)) sets.insert(wincompat::GuidToString(setId));
    }
    return sets;
  }

 private:
  std::filesystem::path stateFile_;
};

}  // namespace

std::unique_ptr<SnapshotSetReferences> DocumentReferences(std::filesystem::path stateFile) {
  return std::make_unique<DocumentSetReferences>(std::move(stateFile));
}

}  // namespace vantorvss
