// Every REST operation that a shadow copy's create, abort, import, hide and resync send,
// crossed with every way an array fails: per cell the provider must answer in time with the
// HRESULTs and events it owes VSS, and a failed or aborted set must leave no snapshot behind.
// The cells of a flow share one simulator, reset between them; the fault strikes the second
// group ("west").
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "MatrixHost.h"
#include "discovery/ConfigurationValues.h"
#include "messages/VantorVssMessages.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "wincompat/VssTypes.h"

namespace {

using faultmatrix::Calls;
using faultmatrix::MatrixHost;

// Short enough that the cells which wait for it keep the suite within a few minutes. A TLS
// read may wait for it twice before it gives up.
constexpr int kReceiveTimeoutMs = 600;
// No cell may take longer: a slow array must not hold a VSS operation for long.
constexpr double kCellBoundSeconds = 12.0;
// When a "delayed" request is carried out: after the provider gave up (twice the timeout at
// most), within the time a restore watches a volume whose offline answer never came.
constexpr int kDelayedMs = 2 * kReceiveTimeoutMs + 400;

bool IsWrite(const std::string& op) {
  return op == "bulk_create" || op == "restore" || op.starts_with("update:") || op.starts_with("delete:");
}

struct FaultKind {
  const char* name;
  std::function<void(arraysim::FaultSpec&)> shape;
};

const std::vector<FaultKind>& FaultKinds() {
  static const std::vector<FaultKind> kinds = {
      {"500", [](auto& f) { f.status = 500, f.code = "SM_internal", f.text = "internal error"; }},
      {"503", [](auto& f) { f.status = 503, f.code = "SM_unavailable", f.text = "busy"; }},
      {"401", [](auto& f) { f.status = 401, f.code = "SM_http_unauthorized", f.text = "session gone"; }},
      {"drop", [](auto& f) { f.drop = true; }},
      {"malformed", [](auto& f) { f.malformed = true; }},
      {"lost", [](auto& f) { f.lost = true; }},
      // The work is done and the headers go out; the body comes after the receive timeout.
      {"late", [](auto& f) { f.trickleMs = 2 * kReceiveTimeoutMs + 800, f.trickleBytes = 1 << 20; }},
      // Each piece well within the receive timeout, most answers as a whole well beyond it.
      {"trickle", [](auto& f) { f.trickleMs = 150, f.trickleBytes = 64; }},
      {"slow", [](auto& f) { f.delayMs = 200; }},
      {"wrong-type", [](auto& f) { f.wrongType = "id"; }},
      {"missing", [](auto& f) { f.omit = "name"; }},
      {"oversize", [](auto& f) { f.oversize = 5000; }},
      {"second", [](auto& f) { f.skip = 1, f.status = 500, f.code = "SM_internal"; }},
      // Write operations only: carried out after the provider gave up waiting for the answer.
      {"delayed", [](auto& f) { f.delayMs = kDelayedMs; }},
  };
  return kinds;
}

enum class Flow { Create, Abort, Import, Hide, Resync };

const char* FlowName(Flow flow) {
  switch (flow) {
    case Flow::Create: return "create";
    case Flow::Abort: return "abort";
    case Flow::Import: return "import";
    case Flow::Hide: return "hide";
    case Flow::Resync: return "resync";
  }
  return "?";
}

bool IsVeto(HRESULT hr) { return hr == VSS_E_PROVIDER_VETO; }

struct Cell {
  std::string op;
  const FaultKind* kind = nullptr;
  arraysim::FaultSpec fault;
};

struct Outcome {
  Calls calls;
  double seconds = 0;
  bool struck = false;        // the fault met a request
  bool setFailed = false;     // a create that vetoed, or an abort
  std::size_t leftBehind = 0;
  std::size_t leftAfterNextCreate = 0;  // snapshots of the failed set that the next create left
  std::vector<std::string> problems;
};

class FaultMatrix : public ::testing::Test {
 protected:
  void SetUp() override {
    discovery::ResetConfigurationCaches();
    auto& emulated = static_cast<platform::EmulatedRegistry&>(registry_.get());
    std::ostringstream reg;
    reg << "Windows Registry Editor Version 5.00\r\n\r\n"
        << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\r\n"
        << "\"RestReceiveTimeout\"=dword:" << std::hex << kReceiveTimeoutMs << "\r\n";
    ASSERT_FALSE(emulated.LoadText(reg.str()).has_value());
  }
  void TearDown() override { discovery::ResetConfigurationCaches(); }

  void RunMatrix(Flow flow);

 private:
  // What happens before the fault is armed; false when that failed (the cell cannot run).
  bool Prepare(Flow flow, MatrixHost& host, faultmatrix::ProviderPtr& provider, VSS_ID& set);
  Calls Act(Flow flow, MatrixHost& host, faultmatrix::ProviderPtr& provider, const VSS_ID& set);
  Outcome RunCell(MatrixHost& host, Flow flow, const Cell* cell);
  void Check(Flow flow, const MatrixHost& host, std::size_t eventsBefore, Outcome& outcome);

  hosttest::ScopedSeam<platform::Registry> registry_{std::make_unique<platform::EmulatedRegistry>()};
};

bool FaultMatrix::Prepare(Flow flow, MatrixHost& host, faultmatrix::ProviderPtr& provider, VSS_ID& set) {
  set = wincompat::NewGuid();
  if (flow == Flow::Create) return true;
  provider = host.NewProvider();
  if (!host.CreateSet(*provider, set, flow != Flow::Abort).AllSucceeded()) return false;
  if (flow == Flow::Abort) return true;
  if (flow == Flow::Hide && !host.Import(*host.NewProvider()).AllSucceeded()) return false;
  if (flow == Flow::Resync) host.sim().writeVolume(host.volumes().back().id);  // so the restore has work
  provider = host.NewProvider();  // the action is a run of VSS of its own
  return true;
}

Calls FaultMatrix::Act(Flow flow, MatrixHost& host, faultmatrix::ProviderPtr& provider, const VSS_ID& set) {
  switch (flow) {
    case Flow::Create: {
      provider = host.NewProvider();
      return host.CreateSet(*provider, set, true);
    }
    case Flow::Abort: {
      Calls calls;
      calls.Add("AbortSnapshots", provider->AbortSnapshots(set));
      return calls;
    }
    case Flow::Import: return host.Import(*provider);
    case Flow::Hide: return host.Hide(*provider);
    case Flow::Resync: return host.Resync(*provider);
  }
  return {};
}

void FaultMatrix::Check(Flow flow, const MatrixHost& host, std::size_t eventsBefore, Outcome& outcome) {
  const auto problem = [&](const std::string& text) { outcome.problems.push_back(text); };
  const auto records = host.events().Records();
  const auto events = [&](DWORD id, WORD type) {
    int n = 0;
    for (std::size_t i = eventsBefore; i < records.size(); ++i) {
      if (records[i].eventId != id) continue;
      if (records[i].type != type)
        problem("event " + std::to_string(id) + " has type " + std::to_string(records[i].type));
      ++n;
    }
    return n;
  };
  const Calls& calls = outcome.calls;
  for (const auto& [name, hr] : calls.list) {
    // LocateLuns passes on what the last exposure answered; a resync's async object reports
    // that it finished, whatever became of the restore.
    const bool allowed = hr == S_OK || IsVeto(hr) || (name == "LocateLuns" && hr == E_FAIL) ||
                         (name == "ResyncLuns.status" && hr == VSS_S_ASYNC_FINISHED);
    if (!allowed) problem(name + " answered an HRESULT it must not: " + calls.Text());
  }
  if (outcome.seconds > kCellBoundSeconds) problem("took " + std::to_string(outcome.seconds) + " s");
  const std::size_t volumes = host.volumes().size();
  const std::size_t snapshots = host.SnapshotCount();

  switch (flow) {
    case Flow::Create:
      if (calls.AllSucceeded()) {
        if (events(VA_MSG_SET_COMMITTED, EVENTLOG_INFORMATION_TYPE) != 1) problem("no commit event 4260");
        if (snapshots != volumes) problem("committed set has " + std::to_string(snapshots) + " snapshots");
        break;
      }
      outcome.setFailed = true;
      if (!calls.Called("AbortSnapshots")) problem("failed set was not aborted");
      if (events(VA_MSG_ABORTING_SET, EVENTLOG_INFORMATION_TYPE) != 1) problem("no abort event 4230");
      if (events(VA_MSG_SET_COMMITTED, EVENTLOG_INFORMATION_TYPE) != 0) problem("commit event of a failed set");
      outcome.leftBehind = snapshots;
      break;
    case Flow::Abort:
      outcome.setFailed = true;
      if (events(VA_MSG_ABORTING_SET, EVENTLOG_INFORMATION_TYPE) != 1) problem("no abort event 4230");
      outcome.leftBehind = snapshots;
      break;
    case Flow::Import:
      if (calls.AllSucceeded() &&
          events(VA_MSG_SNAPSHOT_IMPORTED, EVENTLOG_INFORMATION_TYPE) != static_cast<int>(volumes))
        problem("import answered S_OK without an event 4280 per LUN");
      if (IsVeto(calls.list.front().second) && events(VA_MSG_LOCATE_NO_OWNING_GROUP, EVENTLOG_ERROR_TYPE) != 1)
        problem("import vetoed without event 4120");
      if (snapshots != volumes) problem("import changed the snapshot count to " + std::to_string(snapshots));
      break;
    case Flow::Hide:
      if (!calls.AllSucceeded()) problem("hiding answered a failure: " + calls.Text());
      if (snapshots != volumes) problem("hiding changed the snapshot count to " + std::to_string(snapshots));
      break;
    case Flow::Resync:
      if (snapshots != volumes) problem("resync changed the snapshot count to " + std::to_string(snapshots));
      // Every volume ends online. Only an array that refuses every online may leave one offline
      // (with event 4320); no fault of the matrix lasts that long.
      for (const auto& volume : host.Records("volumes"))
        if (volume["online"] != true) problem("volume " + volume["name"].get<std::string>() + " left offline");
      if (events(VA_MSG_VOLUME_ONLINE_FAILED, EVENTLOG_ERROR_TYPE) != 0) problem("event 4320 for a volume the array put online");
      break;
  }
  if (outcome.leftBehind != 0) problem(std::to_string(outcome.leftBehind) + " snapshots left behind");
}

Outcome FaultMatrix::RunCell(MatrixHost& host, Flow flow, const Cell* cell) {
  Outcome outcome;
  host.Reset();
  faultmatrix::ProviderPtr provider;
  VSS_ID set{};
  if (!Prepare(flow, host, provider, set)) {
    outcome.problems.push_back("the steps before the fault failed");
    return outcome;
  }
  host.sim().resetLog();
  if (cell != nullptr) {
    arraysim::FaultSpec fault = cell->fault;
    fault.group = host.groups().back().id;
    host.sim().injectFault(fault);
  }
  const std::size_t eventsBefore = host.events().Records().size();
  const auto start = std::chrono::steady_clock::now();
  outcome.calls = Act(flow, host, provider, set);
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  provider.reset();
  outcome.struck = cell != nullptr && host.sim().state()["faults"].empty();
  // A delayed request is judged once the array carried it out; what a failed set leaves is
  // judged at once (the abort's own work) and after the next create (the late snapshots).
  const auto waitForDelayed = [&] {
    if (cell != nullptr && cell->fault.delayMs == kDelayedMs)
      std::this_thread::sleep_until(start + std::chrono::milliseconds(kDelayedMs + 300));
  };
  if (flow != Flow::Create && flow != Flow::Abort) waitForDelayed();
  Check(flow, host, eventsBefore, outcome);
  if (outcome.setFailed && cell != nullptr) {  // (the baseline's request log lists the flow's own operations)
    waitForDelayed();
    host.sim().clearFaults();  // a fault that never struck is not the next create's
    // What is left of a failed set must be gone after the next create of the same volumes.
    faultmatrix::ProviderPtr next = host.NewProvider();
    const Calls created = host.CreateSet(*next, wincompat::NewGuid(), true);
    if (!created.AllSucceeded()) outcome.problems.push_back("the next create failed: " + created.Text());
    const std::size_t snapshots = host.SnapshotCount();
    outcome.leftAfterNextCreate = snapshots > host.volumes().size() ? snapshots - host.volumes().size() : 0;
    if (outcome.leftAfterNextCreate != 0)
      outcome.problems.push_back(std::to_string(outcome.leftAfterNextCreate) + " snapshots of the failed set left after the next create");
  }

  // Cells whose fault the provider must ride out: a slow answer, a log line the array refused,
  // an expired session (renewed once), and a fault that never met its request. A new
  // connection's first request (the group search) already spent its one session refresh on
  // the first login, so a 401 there fails it.
  if (cell != nullptr) {
    const std::string kind = cell->kind->name;
    const bool renewable = kind == "401" && cell->op != "tokens" && cell->op != "search:groups";
    const bool mustSucceed = kind == "slow" || cell->op == "debug_log" || renewable || !outcome.struck;
    if (mustSucceed && !outcome.calls.AllSucceeded()) {
      std::string requests;
      const nlohmann::json log = host.sim().requestLog();
      for (const auto& r : log["requests"]) {
        if (r["group"] == host.groups().back().id)
          requests += r["op"].get<std::string>() + "=" + std::to_string(r["status"].get<int>()) + " ";
      }
      outcome.problems.push_back("must ride out this fault but answered " + outcome.calls.Text() + "; requests " +
                                 requests);
    }
  }
  if (cell == nullptr) {
    // The baseline lists the operations the matrix crosses with the faults.
    if (!outcome.calls.AllSucceeded()) outcome.problems.push_back("baseline failed: " + outcome.calls.Text());
  }
  return outcome;
}

void FaultMatrix::RunMatrix(Flow flow) {
  // The operations this flow sends to the faulted group, found by running it once unharmed.
  MatrixHost host;
  const Outcome baseline = RunCell(host, flow, nullptr);
  ASSERT_TRUE(baseline.problems.empty()) << baseline.problems.front();
  std::set<std::string> ops;
  const nlohmann::json log = host.sim().requestLog();
  for (const auto& request : log["requests"]) {
    const std::string op = request["op"];
    // REST operations only: the host channel's iSCSI calls and the SOAP query are no part of it.
    const bool rest = op != "delete:tokens" && op != "unknown" && op != "soap" && !op.starts_with("iscsi_");
    if (request["group"] == host.groups().back().id && rest) ops.insert(op);
  }
  ASSERT_FALSE(ops.empty());

  std::size_t cells = 0, passed = 0, leftBehind = 0, leftAfterNext = 0, failedSets = 0, struck = 0;
  double slowest = 0;
  std::map<std::string, std::pair<int, int>> byKind;  // kind: (succeeded, failed)
  for (const auto& op : ops) {
    for (const auto& kind : FaultKinds()) {
      if (kind.name == std::string("delayed") && !IsWrite(op)) continue;  // a late read is a drop
      Cell cell;
      cell.op = op;
      cell.kind = &kind;
      cell.fault.op = op;
      kind.shape(cell.fault);
      const Outcome outcome = RunCell(host, flow, &cell);
      ++cells;
      passed += outcome.problems.empty() ? 1 : 0;
      leftBehind += outcome.leftBehind;
      leftAfterNext += outcome.leftAfterNextCreate;
      failedSets += outcome.setFailed ? 1 : 0;
      struck += outcome.struck ? 1 : 0;
      slowest = std::max(slowest, outcome.seconds);
      auto& tally = byKind[kind.name];
      (outcome.calls.AllSucceeded() ? tally.first : tally.second)++;
      for (const auto& p : outcome.problems)
        ADD_FAILURE() << FlowName(flow) << " x " << op << " x " << kind.name << ": " << p << " ["
                      << outcome.calls.Text() << "]";
    }
  }
  std::ostringstream summary;
  summary << "fault-matrix " << FlowName(flow) << ": operations";
  for (const auto& op : ops) summary << ' ' << op;
  summary << "; cells " << cells << ", passed " << passed << ", struck " << struck << ", failed or aborted sets "
          << failedSets << ", snapshots left behind " << leftBehind << " (after the next create " << leftAfterNext
          << "), slowest cell " << slowest << " s\n";
  for (const auto& [kind, tally] : byKind)
    summary << "  " << kind << ": succeeded " << tally.first << ", failed " << tally.second << "\n";
  std::cout << summary.str();
  EXPECT_EQ(leftAfterNext, 0u);
  EXPECT_EQ(passed, cells);
}

}  // namespace

TEST_F(FaultMatrix, Create) { RunMatrix(Flow::Create); }
TEST_F(FaultMatrix, Abort) { RunMatrix(Flow::Abort); }
TEST_F(FaultMatrix, Import) { RunMatrix(Flow::Import); }
TEST_F(FaultMatrix, Hide) { RunMatrix(Flow::Hide); }
TEST_F(FaultMatrix, Resync) { RunMatrix(Flow::Resync); }
