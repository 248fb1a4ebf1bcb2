#include "PruneCommand.h"

#include <iostream>
#include <memory>

#ifdef _WIN32
#include <io.h>
#define VANTOR_ISATTY _isatty
#define VANTOR_FILENO _fileno
#else
#include <unistd.h>
#define VANTOR_ISATTY isatty
#define VANTOR_FILENO fileno
#endif

#include "Commands.h"
#include "Duration.h"

#include "ShadowCopyInventory.h"
#include "SnapshotsCommand.h"
#include "restsdk/Exceptions.h"

namespace vantorvss {
namespace {

// More candidates than this and a progress line goes out for each deletion.
constexpr std::size_t kProgressFrom = 10;

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// The array refused this one snapshot (it is gone, or in use now): the others may still go.
// Anything else -- the array unreachable, unavailable, the session refused -- ends the prune.
bool OnlyThisSnapshotFailed(const std::exception& e) {
  const auto* server = dynamic_cast<const VantorStorage::WS::GroupMgmtServerException*>(&e);
  return server != nullptr && (server->getHttpStatus() == 404 || server->getHttpStatus() == 409);
}

}  // namespace

int RunPrune(const PruneOptions& options, const SnapshotSetReferences& references, Report& report) {
  ShadowCopyInventory inventory(options.group);
  inventory.Load(references);
  const std::int64_t now = Now();
  std::vector<const ShadowCopySnapshot*> candidates;
  for (const auto& s : inventory.Snapshots())
    if (!ReasonToKeep(s, now, s.abandoned ? std::chrono::seconds(0) : options.olderThan, options.scope))
      candidates.push_back(&s);

  nlohmann::json candidateSerials = nlohmann::json::array();
  nlohmann::json deleted = nlohmann::json::array();
  nlohmann::json failed = nlohmann::json::array();
  for (const auto* s : candidates) candidateSerials.push_back(s->snapshot.mSerialNumber);
  bool ok = inventory.Failures().empty();
  for (const auto& failure : inventory.Failures())
    report.notes.push_back("cannot read group " + failure.group + ": " + failure.reason);

  if (!options.apply) {
    report.notes.push_back(std::to_string(candidates.size()) + " snapshot(s) would be deleted (run with --apply to delete):");
    for (const auto* s : candidates) report.notes.push_back("  " + SnapshotTableLine(*s));
  } else {
    std::size_t done = 0;
    for (const auto* s : candidates) {
      const std::string& serial = s->snapshot.mSerialNumber;
      try {
        inventory.Delete(*s);
        deleted.push_back(serial);
        report.notes.push_back("deleted " + serial + " (" + s->snapshot.mVolName + ", group " + s->group + ")");
      } catch (const std::exception& e) {
        ok = false;
        failed.push_back({{"serial_number", serial}, {"reason", e.what()}});
        report.notes.push_back("could not delete " + serial + ": " + e.what());
        if (!OnlyThisSnapshotFailed(e)) {
          report.notes.push_back("stopped: the array failed; " + std::to_string(candidates.size() - done - 1) +
                                 " snapshot(s) not tried");
          break;
        }
      }
      ++done;
      if (options.progress && candidates.size() > kProgressFrom)
        std::cerr << "prune: " << done << "/" << candidates.size() << "\n";
    }
    report.notes.push_back(std::to_string(deleted.size()) + " of " + std::to_string(candidates.size()) +
                           " snapshot(s) deleted");
  }
  report.extra["candidates"] = candidateSerials;
  report.extra["deleted"] = deleted;
  report.extra["failed"] = failed;
  return ok ? 0 : 1;
}

void AddPruneCommand(CLI::App& app, CommandAction& chosen) {
  struct Arguments {
    std::string group;
    std::string olderThan = "24h";
    bool apply = false;
    bool includeUnowned = false;
    bool includeTransportable = false;
  };
  auto arguments = std::make_shared<Arguments>();
  auto* command =
      app.add_subcommand("prune", "deletes snapshots that this host's shadow copies left behind and nothing uses");
  command->add_option("--older-than", arguments->olderThan, "only snapshots at least this old, e.g. 30m, 24h, 7d (default 24h)");
  command->add_option("--group", arguments->group, "only this group (management address)");
  command->add_flag("--include-unowned", arguments->includeUnowned,
                    "also snapshots that name no owner host (made by earlier versions)");
  command->add_flag("--include-transportable", arguments->includeTransportable,
                    "also this host's snapshots of transportable shadow copies");
  command->add_flag("--apply", arguments->apply, "delete them (without it, only list them)");
  command->callback([arguments, &chosen] {
    chosen = [arguments](const CommandContext& where, Report& report) {
      PruneOptions options;
      options.olderThan = ParseDuration(arguments->olderThan);  // before anything reaches an array
      if (!arguments->group.empty()) options.group = arguments->group;
      options.apply = arguments->apply;
      options.scope = {arguments->includeUnowned, arguments->includeTransportable};
      // Progress is for a person watching, never mixed into output a program reads.
      options.progress = VANTOR_ISATTY(VANTOR_FILENO(stderr)) != 0;
      return RunPrune(options, *HostReferences(where), report);
    };
  });
}

}  // namespace vantorvss
