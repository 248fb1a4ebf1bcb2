// delete: releases shadow copies as VSS does: for each snapshot LUN that is a disk of this
// host, FillInLunInfo and then OnLunEmpty; what was released leaves the shadow-copy document.
#include <memory>

#include "Commands.h"
#include "LunCatalog.h"
#include "ShadowCopyDocument.h"

namespace vantorvss {
namespace {

struct DeleteOptions {
  std::vector<std::string> names;
};

int RunDelete(const DeleteOptions& options, const CommandContext& where, Report& report) {
  ShadowCopyDocument document = ShadowCopyDocument::Load(where.documentFile);
  const auto selected = document.Select(options.names);
  VssRun vss;
  const auto disks = ListHostDisks();
  bool allReleased = true;
  for (const auto& set : selected) {
    for (const auto& volume : set.volumes) {
      const std::string serial = volume.SnapshotSerial();
      const auto disk = FindDisk(disks, serial);
      if (!disk) {
        // Never imported here (or hidden since): nothing of it is this host's to release.
        report.notes.push_back("snapshot " + serial + " is no disk of this host: nothing to release");
        document.Remove(set.snapshotSetId, serial);
        continue;
      }
      LunArray lun;
      lun.Add(ToLunInformation(*disk));
      std::wstring device = disk->device;
      vss.FillInLunInfo(device.data(), lun[0]);
      const HRESULT emptied =
          vss.Call("OnLunEmpty", [&] { return vss.Hardware().OnLunEmpty(device.data(), &lun[0]); }, serial);
      if (emptied == S_OK) {
        report.notes.push_back("snapshot " + serial + " released");
        document.Remove(set.snapshotSetId, serial);
      } else {
        report.notes.push_back("snapshot " + serial + " could not be released; it stays in the document");
        allReleased = false;
      }
    }
  }
  document.Save();
  return FinishRun(vss, report, allReleased);
}

}  // namespace

void AddDeleteCommand(CLI::App& app, CommandAction& chosen) {
  auto options = std::make_shared<DeleteOptions>();
  auto* command = app.add_subcommand("delete", "releases shadow copies: FillInLunInfo, then OnLunEmpty per disk of this host");
  command->add_option("SNAPSHOT_SERIAL|SNAPSHOT_SET_ID", options->names)->required();
  command->callback([options, &chosen] {
    chosen = [options](const CommandContext& where, Report& report) { return RunDelete(*options, where, report); };
  });
}

}  // namespace vantorvss
