// import: makes the snapshot LUNs of shadow copies appear on this host, as VSS imports a
// (transportable) shadow copy set: LocateLuns, a rescan of the host's disks, FillInLunInfo on
// each disk that arrived, and the comparison of each arrived disk with what GetTargetLuns gave.
#include <algorithm>
#include <memory>

#include "Commands.h"
#include "LunCatalog.h"
#include "LunJson.h"
#include "ShadowCopyDocument.h"
#include "wincompat/WideString.h"

namespace vantorvss {
namespace {

struct ImportOptions {
  std::string document;  // empty: this host's
  std::vector<std::string> names;
};

int RunImport(const ImportOptions& options, const CommandContext& where, Report& report) {
  ShadowCopyDocument own = ShadowCopyDocument::Load(where.documentFile);
  const ShadowCopyDocument source = options.document.empty() ? own : ShadowCopyDocument::Load(options.document);
  const auto selected = source.Select(options.names);

  VssRun vss;
  const auto before = ListHostDisks();
  LunArray targets;
  for (const auto& set : selected)
    for (const auto& volume : set.volumes) targets.Add(LunFromJson(volume.targetLun));
  const HRESULT located =
      vss.Call("LocateLuns", [&] { return vss.Hardware().LocateLuns(targets.count(), targets.data()); });

  // The rescan: every disk that was not there before has arrived, and VSS asks the provider
  // about each of them.
  const auto after = ListHostDisks();
  nlohmann::json filled = nlohmann::json::array();  // what FillInLunInfo made of each arrived disk
  for (const auto& disk : after) {
    const bool arrived = std::none_of(before.begin(), before.end(), [&](const HostDisk& d) { return d.device == disk.device; });
    if (!arrived) continue;
    LunArray lun;
    lun.Add(ToLunInformation(disk));
    std::wstring device = disk.device;
    if (vss.FillInLunInfo(device.data(), lun[0]))
      filled.push_back({{"device", wincompat::ToNarrow(disk.device)}, {"lun", LunToJson(lun[0])}});
  }

  nlohmann::json imported = nlohmann::json::array();
  nlohmann::json notImported = nlohmann::json::array();
  std::size_t index = 0;
  for (const auto& set : selected) {
    ShadowCopySet kept{set.snapshotSetId, set.context, set.creationTime, {}};
    for (const auto& volume : set.volumes) {
      const std::string serial = volume.SnapshotSerial();
      const auto disk = FindDisk(after, serial);
      const VDS_LUN_INFORMATION& target = targets[index++];
      // The identity the storage stack reports, as the disk itself gives it.
      const std::string difference = disk ? IdentityDifference(*disk, target) : std::string();
      std::string reason;
      if (!disk) {
        reason = "its disk did not arrive";
      } else if (!difference.empty()) {
        reason = "its disk reports another identity than GetTargetLuns gave: " + difference;
      }
      if (!reason.empty()) {
        report.notes.push_back("snapshot " + serial + " not imported: " + reason);
        notImported.push_back({{"snapshot_serial", serial}, {"reason", reason}});
        continue;
      }
      const std::string device = wincompat::ToNarrow(disk->device);
      report.notes.push_back("snapshot " + serial + " imported as " + device + ", identity as GetTargetLuns gave it");
      imported.push_back({{"snapshot_serial", serial}, {"device", device}, {"identity_matches", true}});
      kept.volumes.push_back(volume);
    }
    // A set from another host's document now belongs to this host too, so that it can be
    // released here.
    if (!options.document.empty() && !kept.volumes.empty()) own.Put(kept);
  }
  if (!notImported.empty())
    report.notes.push_back("VSS_S_SOME_SNAPSHOTS_NOT_IMPORTED: " + std::to_string(notImported.size()) + " of " +
                           std::to_string(targets.size()) + " snapshots");
  report.extra["imported"] = imported;
  report.extra["filled"] = filled;
  report.extra["not_imported"] = notImported;
  if (!options.document.empty()) own.Save();
  return FinishRun(vss, report, located == S_OK && notImported.empty());
}

}  // namespace

void AddImportCommand(CLI::App& app, CommandAction& chosen) {
  auto options = std::make_shared<ImportOptions>();
  auto* command = app.add_subcommand(
      "import", "LocateLuns, a rescan, FillInLunInfo on each disk that arrived, and the identity check of VSS");
  command->add_option("--document", options->document, "another host's shadow-copy document (a transportable import)");
  command->add_option("SNAPSHOT_SERIAL|SNAPSHOT_SET_ID", options->names)->required();
  command->callback([options, &chosen] {
    chosen = [options](const CommandContext& where, Report& report) { return RunImport(*options, where, report); };
  });
}

}  // namespace vantorvss
