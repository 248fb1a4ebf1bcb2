#pragma once
// What a command did, printed as text for a person or as one JSON object for a program.
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ProviderSession.h"
#include "platform/EventLog.h"

namespace vantorvss {

struct SnapshotLine {
  std::string sourceSerial;
  std::string snapshotSerial;
  std::string snapshotName;
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

// "0x%08X"
std::string HresultText(HRESULT hr);

// VSS holds every write on the host for at most this long while the providers commit.
inline constexpr double kHoldWritesWindowMs = 10000.0;

}  // namespace vantorvss
