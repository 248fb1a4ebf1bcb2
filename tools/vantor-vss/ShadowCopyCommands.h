#pragma once
// The commands that drive the provider through VSS's calls: disks, create, import, hide,
// empty and resync. Each fills the report and returns the exit status (0 when every provider
// call returned S_OK, 1 otherwise).
#include <filesystem>
#include <string>
#include <vector>

#include "Report.h"

namespace vantorvss {

struct CreateOptions {
  std::vector<std::string> volumes;
  LONG context = 0;
  std::string abortAfter;  // "", "prepare", "commit" or "postcommit"
};

int RunDisks(Report& report);
int RunCreate(const CreateOptions& options, const std::filesystem::path& stateFile, Report& report);
int RunImport(const std::vector<std::string>& snapshotSerials, const std::filesystem::path& stateFile, Report& report);
int RunHide(const std::vector<std::string>& snapshotSerials, const std::filesystem::path& stateFile, Report& report);
int RunEmpty(const std::vector<std::string>& snapshotSerials, const std::filesystem::path& stateFile, Report& report);
// Each pair is SNAPSHOT_SERIAL=TARGET_SERIAL.
int RunResync(const std::vector<std::string>& pairs, const std::filesystem::path& stateFile, Report& report);

// "transportable,autorecover,txf" -> VSS context bits; throws std::invalid_argument on others.
LONG ParseContextFlags(const std::string& flags);

}  // namespace vantorvss
