#include "Report.h"

#include <cstdio>
#include <iomanip>
#include <ostream>

#include "wincompat/WideString.h"

namespace vantorvss {

std::string HresultText(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
  return text;
}

int FinishRun(VssRun& vss, Report& report, bool ok) {
  report.calls = vss.Finish();
  return ok && vss.AllSucceeded() ? 0 : 1;
}

void Report::PrintText(std::ostream& out) const {
  for (const auto& call : calls) {
    out << std::left << std::setw(28) << call.name << " " << HresultText(call.hr) << "  " << std::fixed
        << std::setprecision(1) << std::setw(8) << std::right << call.ms << " ms";
    if (!call.lun.empty()) out << "  " << call.lun;
    if (call.supported) out << (*call.supported ? "  supported" : "  NOT supported");
    out << "\n";
  }
  if (!snapshotSetId.empty()) out << "snapshot set " << snapshotSetId << "\n";
  for (const auto& s : snapshots)
    out << "  " << s.sourceSerial << " -> snapshot " << s.snapshotSerial << "\n";
  if (commitMs >= 0)
    out << "commit took " << std::fixed << std::setprecision(1) << commitMs << " ms of the "
        << static_cast<int>(kHoldWritesWindowMs / 1000) << " s hold-writes window ("
        << std::setprecision(2) << 100.0 * commitMs / kHoldWritesWindowMs << "%)\n";
  for (const auto& note : notes) out << note << "\n";
  for (const auto& e : events) {
    out << "event " << e.eventId << (e.type == 1 ? " error" : e.type == 4 ? " information" : " other");
    for (const auto& s : e.strings) out << " [" << wincompat::ToNarrow(s) << "]";
    out << "\n";
  }
}

void Report::PrintJson(std::ostream& out) const {
  nlohmann::json j = extra;
  j["calls"] = nlohmann::json::array();
  for (const auto& call : calls) {
    nlohmann::json entry = {{"name", call.name}, {"hr", HresultText(call.hr)}, {"ms", call.ms}};
    if (call.supported) entry["supported"] = *call.supported;
    if (!call.lun.empty()) entry["lun"] = call.lun;
    j["calls"].push_back(entry);
  }
  if (!snapshotSetId.empty()) j["snapshot_set_id"] = snapshotSetId;
  if (!j.contains("snapshots")) j["snapshots"] = nlohmann::json::array();
  for (const auto& s : snapshots)
    j["snapshots"].push_back({{"source_serial", s.sourceSerial}, {"snapshot_serial", s.snapshotSerial}});
  if (commitMs >= 0) {
    j["commit_ms"] = commitMs;
    j["hold_writes_window_ms"] = kHoldWritesWindowMs;
  }
  j["events"] = nlohmann::json::array();
  for (const auto& e : events) {
    nlohmann::json strings = nlohmann::json::array();
    for (const auto& s : e.strings) strings.push_back(wincompat::ToNarrow(s));
    j["events"].push_back({{"id", e.eventId}, {"type", e.type}, {"strings", strings}});
  }
  j["notes"] = notes;
  out << j.dump(2) << "\n";
}

}  // namespace vantorvss
