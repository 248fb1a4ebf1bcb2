// hide: OnLunStateChange with the mask flag for snapshot LUNs of the document.
#include <memory>

#include "Commands.h"
#include "LunCatalog.h"
#include "LunJson.h"
#include "ShadowCopyDocument.h"

namespace vantorvss {
namespace {

struct HideOptions {
  std::vector<std::string> names;
};

int RunHide(const HideOptions& options, const CommandContext& where, Report& report) {
  const auto selected = ShadowCopyDocument::Load(where.documentFile).Select(options.names);
  VssRun vss;
  LunArray snapshots;
  LunArray originals;
  for (const auto& set : selected) {
    for (const auto& volume : set.volumes) {
      snapshots.Add(LunFromJson(volume.targetLun));
      originals.Add(LunFromJson(volume.sourceLun));
    }
  }
  vss.Call("OnLunStateChange", [&] {
    return vss.Hardware().OnLunStateChange(snapshots.data(), originals.data(), static_cast<DWORD>(snapshots.size()),
                                           VSS_ONLUNSTATECHANGE_DO_MASK_LUNS);
  });
  return FinishRun(vss, report);
}

}  // namespace

void AddHideCommand(CLI::App& app, CommandAction& chosen) {
  auto options = std::make_shared<HideOptions>();
  auto* command = app.add_subcommand("hide", "OnLunStateChange with the mask flag");
  command->add_option("SNAPSHOT_SERIAL|SNAPSHOT_SET_ID", options->names)->required();
  command->callback([options, &chosen] {
    chosen = [options](const CommandContext& where, Report& report) { return RunHide(*options, where, report); };
  });
}

}  // namespace vantorvss
