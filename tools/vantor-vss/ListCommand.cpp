// list: the shadow copy sets this host's document holds.
#include <cstdio>

#include "Commands.h"
#include "ShadowCopyDocument.h"

namespace vantorvss {
namespace {

int RunList(const CommandContext& where, Report& report) {
  const ShadowCopyDocument document = ShadowCopyDocument::Load(where.documentFile);
  nlohmann::json sets = nlohmann::json::array();
  for (const auto& set : document.Sets()) {
    char context[16];
    std::snprintf(context, sizeof context, "0x%08x", static_cast<unsigned>(set.context));
    report.notes.push_back("set " + set.snapshotSetId + "  context " + context + "  created " + set.creationTime);
    nlohmann::json volumes = nlohmann::json::array();
    for (const auto& volume : set.volumes) {
      report.notes.push_back("  " + volume.SourceSerial() + " -> snapshot " + volume.SnapshotSerial());
      volumes.push_back({{"snapshot_id", volume.snapshotId},
                         {"device", volume.device},
                         {"source_serial", volume.SourceSerial()},
                         {"snapshot_serial", volume.SnapshotSerial()}});
    }
    sets.push_back({{"snapshot_set_id", set.snapshotSetId},
                    {"context", set.context},
                    {"creation_time", set.creationTime},
                    {"volumes", volumes}});
  }
  report.extra["sets"] = sets;
  return 0;
}

}  // namespace

void AddListCommand(CLI::App& app, CommandAction& chosen) {
  auto* command = app.add_subcommand("list", "the shadow copy sets this host's document holds");
  command->callback([&chosen] {
    chosen = [](const CommandContext& where, Report& report) { return RunList(where, report); };
  });
}

}  // namespace vantorvss
