#pragma once
// What a command did, printed as text for a person or as one JSON object for a program.
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "VssRun.h"
#include "platform/EventLog.h"

namespace vantorvss {

struct SnapshotLine {
  std::string sourceSerial;
  std::string snapshotSerial;
};

struct Report {
  std::vector<CallRecord> calls;
  std::vector<platform::EventRecord> events;
  std::string snapshotSetId;
  std::vector<SnapshotLine> snapshots;
  double commitMs = -1;  // negative: no commit ran
  std::vector<std::string> notes;  // lines for a person; in JSON under "notes"
  nlohmann::json extra = nlohmann::json::object();  // command-specific facts

  void PrintText(std::ostream& out) const;
  void PrintJson(std::ostream& out) const;
};

// Ends a run of VSS: what was called goes into the report; the exit status is 0 when every
// call returned S_OK and `ok` holds, 1 otherwise.
int FinishRun(VssRun& vss, Report& report, bool ok = true);

// "0x%08X"
std::string HresultText(HRESULT hr);

// VSS holds every write on the host for at most this long while the providers commit.
inline constexpr double kHoldWritesWindowMs = 10000.0;

}  // namespace vantorvss
