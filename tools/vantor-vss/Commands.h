#pragma once
// The commands that play VSS against the provider, one per file. Each adds its subcommand to
// the command line; the one the user picks becomes the action main runs once the host is set
// up. An action fills the report and returns the exit status: 0 when every provider call
// returned S_OK and the command did what it should, 1 otherwise. It throws DocumentError (exit
// 2) for a document or a name the document does not hold, std::invalid_argument (exit 2) for
// other bad input, before anything reaches an array.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>

#include "Report.h"

namespace vantorvss {

struct CommandContext {
  std::filesystem::path documentFile;  // this host's shadow-copy document
  std::filesystem::path hostDir;       // the emulated host; empty on the real Windows host
};

using CommandAction = std::function<int(const CommandContext&, Report&)>;

void AddDisksCommand(CLI::App& app, CommandAction& chosen);
void AddCreateCommand(CLI::App& app, CommandAction& chosen);
void AddImportCommand(CLI::App& app, CommandAction& chosen);
void AddDeleteCommand(CLI::App& app, CommandAction& chosen);
void AddListCommand(CLI::App& app, CommandAction& chosen);
void AddHideCommand(CLI::App& app, CommandAction& chosen);
void AddEmptyCommand(CLI::App& app, CommandAction& chosen);
void AddResyncCommand(CLI::App& app, CommandAction& chosen);
void AddSnapshotsCommand(CLI::App& app, CommandAction& chosen);
void AddPruneCommand(CLI::App& app, CommandAction& chosen);

}  // namespace vantorvss
