// empty: OnLunEmpty for snapshot LUNs of the document, preceded by FillInLunInfo when the LUN is
// a disk of this host (as VSS calls them); the document keeps the shadow copies.
#include <memory>

#include "Commands.h"
#include "LunCatalog.h"
#include "LunJson.h"
#include "ShadowCopyDocument.h"

namespace vantorvss {
namespace {

struct EmptyOptions {
  std::vector<std::string> names;
};

int RunEmpty(const EmptyOptions& options, const CommandContext& where, Report& report) {
  const auto selected = ShadowCopyDocument::Load(where.documentFile).Select(options.names);
  VssRun vss;
  const auto disks = ListHostDisks();
  for (const auto& set : selected) {
    for (const auto& volume : set.volumes) {
      const std::string serial = volume.SnapshotSerial();
      const auto disk = FindDisk(disks, serial);
      LunArray lun;
      std::wstring device;
      if (disk) {
        lun.Add(ToLunInformation(*disk));
        device = disk->device;
        vss.FillInLunInfo(device.data(), lun[0]);
      } else {
        lun.Add(LunFromJson(volume.targetLun));
      }
      vss.Call("OnLunEmpty", [&] { return vss.Hardware().OnLunEmpty(device.data(), &lun[0]); }, serial);
    }
  }
  return FinishRun(vss, report);
}

}  // namespace

void AddEmptyCommand(CLI::App& app, CommandAction& chosen) {
  auto options = std::make_shared<EmptyOptions>();
  auto* command = app.add_subcommand("empty", "OnLunEmpty (after FillInLunInfo on a disk of this host)");
  command->add_option("SNAPSHOT_SERIAL|SNAPSHOT_SET_ID", options->names)->required();
  command->callback([options, &chosen] {
    chosen = [options](const CommandContext& where, Report& report) { return RunEmpty(*options, where, report); };
  });
}

}  // namespace vantorvss
