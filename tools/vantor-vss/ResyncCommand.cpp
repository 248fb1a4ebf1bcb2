// resync: ResyncLuns, restoring volumes in place from snapshots of the document.
#include <memory>

#include "Commands.h"
#include "LunCatalog.h"
#include "LunJson.h"
#include "ShadowCopyDocument.h"

namespace vantorvss {
namespace {

struct ResyncOptions {
  std::vector<std::string> pairs;  // SNAPSHOT_SERIAL=TARGET_SERIAL
};

int RunResync(const ResyncOptions& options, const CommandContext& where, Report& report) {
  std::vector<std::string> snapshotSerials;
  std::vector<std::string> targetSerials;
  for (const auto& pair : options.pairs) {
    const auto eq = pair.find('=');
    if (eq == std::string::npos || eq == 0 || eq + 1 == pair.size())
      throw std::invalid_argument("resync takes SNAPSHOT_SERIAL=TARGET_SERIAL, not '" + pair + "'");
    snapshotSerials.push_back(pair.substr(0, eq));
    targetSerials.push_back(pair.substr(eq + 1));
  }
  const ShadowCopyDocument document = ShadowCopyDocument::Load(where.documentFile);
  LunArray sources;
  for (const auto& serial : snapshotSerials)
    for (const auto& set : document.Select({serial}))
      for (const auto& volume : set.volumes) sources.Add(LunFromJson(volume.targetLun));
  if (sources.size() != targetSerials.size())
    throw std::invalid_argument("resync pairs one snapshot LUN with one volume; a set id names several");

  VssRun vss;
  const auto disks = ListHostDisks();
  LunArray targets;
  for (const auto& serial : targetSerials) {
    const auto disk = FindDisk(disks, serial);
    // A volume this host does not see is described by its serial number alone, as VSS would.
    targets.Add(ToLunInformation(disk ? *disk : HostDisk{L"", "Vantor", "Server", "", serial, {}}));
  }
  IVssAsync* async = nullptr;
  vss.Call("ResyncLuns", [&] {
    return vss.Hardware().ResyncLuns(sources.data(), targets.data(), static_cast<DWORD>(sources.size()), &async);
  });
  if (async != nullptr) {
    HRESULT status = S_OK;
    async->Wait(INFINITE);
    async->QueryStatus(&status, nullptr);
    report.notes.push_back("resync status " + HresultText(status));
    async->Release();
  }
  return FinishRun(vss, report);
}

}  // namespace

void AddResyncCommand(CLI::App& app, CommandAction& chosen) {
  auto options = std::make_shared<ResyncOptions>();
  auto* command = app.add_subcommand("resync", "ResyncLuns, in place");
  command->add_option("PAIR", options->pairs, "SNAPSHOT_SERIAL=TARGET_SERIAL")->required();
  command->callback([options, &chosen] {
    chosen = [options](const CommandContext& where, Report& report) { return RunResync(*options, where, report); };
  });
}

}  // namespace vantorvss
