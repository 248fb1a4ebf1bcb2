// Every REST operation that a shadow copy's create, abort, import, hide and resync send,
// crossed with every way an array fails: per cell the provider must answer in time with the
// HRESULTs and events it owes VSS, and a failed or aborted set must leave no snapshot behind.
// The cells of a flow share one simulator, reset between them; the fault strikes the second
// group. And the commit's window against an array slower than VSS allows.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "ProviderHarness.h"
#include "SimTestClient.h"
#include "SimulatedArray.h"
#include "messages/VantorVssMessages.h"
#include "wincompat/VssTypes.h"

namespace {

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
  constexpr const char* kNames[] = {"create", "abort", "import", "hide", "resync"};
  return kNames[static_cast<int>(flow)];
}

bool IsVeto(HRESULT hr) { return hr == VSS_E_PROVIDER_VETO; }

// The calls of one VSS run and what each answered.
struct Calls {
  std::vector<std::pair<std::string, HRESULT>> list;

  HRESULT Add(const std::string& name, HRESULT hr) {
    list.emplace_back(name, hr);
    return hr;
  }
  bool AllSucceeded() const {
    return std::ranges::all_of(list, [](const auto& c) { return c.second == S_OK || c.second == VSS_S_ASYNC_FINISHED; });
  }
  bool Called(const std::string& name) const {
    return std::ranges::any_of(list, [&](const auto& call) { return call.first == name; });
  }
  std::string Text() const {  // "Name=0x........ ..." for failure messages
    std::ostringstream out;
    for (const auto& [name, hr] : list) out << name << "=0x" << std::hex << static_cast<unsigned>(hr) << std::dec << ' ';
    return out.str();
  }
};

struct Cell {
  const FaultKind* kind = nullptr;
  arraysim::FaultSpec fault;
};

struct Outcome {
  Calls calls;
  double seconds = 0;
  bool struck = false;        // the fault met a request
  bool setFailed = false;     // a create that vetoed, or an abort
  std::vector<std::string> problems;
};

// Two groups of one volume each in the simulator, the emulated host around them; the
// providers reach the groups through the real array layer over HTTPS, only the discovery of
// the groups is given (both groups, with their credentials).
class FaultMatrix : public arraytest::OverSimulatedArray {
 protected:
  void SetUp() override {
    OverSimulatedArray::SetUp();
    AddGroup("6.1.0.0-12345-opt");
    for (const auto& g : mGroups) volumes_.push_back(host.AddVolume(g.id, g.address + "-data"));
  }
  void TearDown() override { discovery::ResetConfigurationCaches(); }

  void RunMatrix(Flow flow);
  // Back to the state SetUp left: no faults, snapshots, iSCSI sessions or log, every volume
  // online. Cheaper than a new simulator, whose servers take a while to stop.
  void Reset();
  // A new provider object, as VSS makes one per run; a volume the array will not put online
  // is given up within the cell's time.
  ProviderPtr NewProvider() const {
    std::map<std::string, Vantor::LoginInfo> discovered;
    for (const auto& g : mGroups) discovered.emplace(g.address, Vantor::LoginInfo(arraytest::kArrayUser, arraytest::kArrayPassword));
    provider::RestoreSettings restore = provider::DefaultRestoreSettings();
    restore.onlineDeadline = std::chrono::seconds(3);
    restore.retryPause = std::chrono::milliseconds(100);
    return WireProvider(OverWrappers(discovered), restore);
  }
  // Prepares and commits a set over both volumes; a step that fails is followed by
  // AbortSnapshots, as VSS does. With `finish` a committed set is also closed (GetTargetLuns,
  // PostFinalCommitSnapshots), otherwise it is left committed.
  Calls CreateSet(CVaVssHwProvider& provider, const VSS_ID& set, bool finish) const;
  // ResyncLuns of the last volume from its snapshot, waited for.
  Calls Resync(CVaVssHwProvider& provider);
  // LocateLuns over every snapshot; with `hide`, OnLunStateChange(mask) over them.
  Calls Import(CVaVssHwProvider& provider, bool hide = false);
  // The simulator's records of `kind` ("volumes", "snapshots") over every group.
  std::vector<nlohmann::json> Records(const char* kind);
  std::size_t SnapshotCount() { return Records("snapshots").size(); }

 private:
  // What happens before the fault is armed; false when that failed (the cell cannot run).
  bool Prepare(Flow flow, ProviderPtr& provider, VSS_ID& set);
  Calls Act(Flow flow, ProviderPtr& provider, const VSS_ID& set);
  Outcome RunCell(Flow flow, const Cell* cell);
  void Check(Flow flow, std::size_t eventsBefore, Outcome& outcome);

 protected:
  std::vector<arraysim::VolumeInfo> volumes_;
};

void FaultMatrix::Reset() {
  sim().clearFaults();
  for (const auto& session : sim().hostSessions(host.initiator())) sim().iscsiLogout(host.initiator(), session["session_id"]);
  // The host's journal of abandoned sets goes with the array state it describes.
  platform::TheRegistry().DeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\AbandonedSets");
  for (const auto& g : mGroups) {
    simtest::RestClient client(g.address, g.restPort);
    ASSERT_EQ(client.login(arraytest::kArrayUser, arraytest::kArrayPassword).status, 201);
    const nlohmann::json found = client.rest("POST", "/v1/snapshots/search", {{"fields", {"id"}}}).json();
    for (const auto& snapshot : found["data"]) {
      const std::string path = "/v1/snapshots/" + snapshot["id"].get<std::string>();
      client.rest("PUT", path, {{"data", {{"online", false}}}});
      ASSERT_EQ(client.rest("DELETE", path).status, 200) << path;
    }
    for (const auto& volume : volumes_) client.rest("PUT", "/v1/volumes/" + volume.id, {{"data", {{"online", true}}}});
  }
  sim().resetLog();
}

Calls FaultMatrix::CreateSet(CVaVssHwProvider& provider, const VSS_ID& set, bool finish) const {
  Calls calls;
  std::vector<Luns::Spec> specs;
  for (const auto& v : volumes_) specs.push_back({"Vantor", "Server", v.serialNumber});
  Luns luns(specs);
  const LONG count = static_cast<LONG>(specs.size());
  const auto abort = [&] {
    calls.Add("AbortSnapshots", provider.AbortSnapshots(set));
    return calls;
  };
  for (LONG i = 0; i < count; ++i) {
    if (calls.Add("BeginPrepareSnapshot", provider.BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, luns.data() + i)) != S_OK)
      return abort();
  }
  if (calls.Add("EndPrepareSnapshots", provider.EndPrepareSnapshots(set)) != S_OK ||
      calls.Add("PreCommitSnapshots", provider.PreCommitSnapshots(set)) != S_OK ||
      calls.Add("CommitSnapshots", provider.CommitSnapshots(set)) != S_OK)
    return abort();
  if (!finish) return calls;
  if (calls.Add("PostCommitSnapshots", provider.PostCommitSnapshots(set, count)) != S_OK) return abort();
  std::vector<provider::OwnedLunInformation> targets(specs.size());  // frees what the provider allocated
  std::vector<VDS_LUN_INFORMATION> answered(specs.size());
  const HRESULT described = provider.GetTargetLuns(count, nullptr, luns.data(), answered.data());
  for (std::size_t i = 0; i < answered.size(); ++i) targets[i].get() = answered[i];
  if (calls.Add("GetTargetLuns", described) != S_OK) return abort();
  calls.Add("PreFinalCommitSnapshots", provider.PreFinalCommitSnapshots(set));
  calls.Add("PostFinalCommitSnapshots", provider.PostFinalCommitSnapshots(set));
  return calls;
}

Calls FaultMatrix::Resync(CVaVssHwProvider& provider) {
  Calls calls;
  std::string snapshotOfLast;
  for (const auto& s : Records("snapshots"))
    if (s["vol_id"] == volumes_.back().id) snapshotOfLast = s["serial_number"];
  Luns sources{{"Vantor", "Server", snapshotOfLast}};
  Luns targets{{"Vantor", "Server", volumes_.back().serialNumber}};
  IVssAsync* async = nullptr;
  calls.Add("ResyncLuns", provider.ResyncLuns(sources.data(), targets.data(), 1, &async));
  if (async != nullptr) {
    HRESULT status = S_OK;
    async->Wait(INFINITE);
    async->QueryStatus(&status, nullptr);
    calls.Add("ResyncLuns.status", status);
    async->Release();
  }
  return calls;
}

Calls FaultMatrix::Import(CVaVssHwProvider& provider, bool hide) {
  std::vector<Luns::Spec> specs;
  for (const auto& s : Records("snapshots")) specs.push_back({"Vantor", "Server", s["serial_number"]});
  Luns luns(specs);
  const auto count = static_cast<LONG>(specs.size());
  constexpr DWORD kMaskLuns = 0x800;
  Calls calls;
  if (hide)
    calls.Add("OnLunStateChange", provider.OnLunStateChange(luns.data(), luns.data(), static_cast<DWORD>(count), kMaskLuns));
  else
    calls.Add("LocateLuns", provider.LocateLuns(count, luns.data()));
  return calls;
}

std::vector<nlohmann::json> FaultMatrix::Records(const char* kind) {
  std::vector<nlohmann::json> records;
  const nlohmann::json state = sim().state();
  for (const auto& g : state["groups"])
    for (const auto& r : g[kind]) records.push_back(r);
  return records;
}

bool FaultMatrix::Prepare(Flow flow, ProviderPtr& provider, VSS_ID& set) {
  set = wincompat::NewGuid();
  if (flow == Flow::Create) return true;
  provider = NewProvider();
  if (!CreateSet(*provider, set, flow != Flow::Abort).AllSucceeded()) return false;
  if (flow == Flow::Abort) return true;
  if (flow == Flow::Hide && !Import(*NewProvider()).AllSucceeded()) return false;
  if (flow == Flow::Resync) sim().writeVolume(volumes_.back().id);  // so the restore has work
  provider = NewProvider();  // the action is a run of VSS of its own
  return true;
}

Calls FaultMatrix::Act(Flow flow, ProviderPtr& provider, const VSS_ID& set) {
  switch (flow) {
    case Flow::Create: {
      provider = NewProvider();
      return CreateSet(*provider, set, true);
    }
    case Flow::Abort: {
      Calls calls;
      calls.Add("AbortSnapshots", provider->AbortSnapshots(set));
      return calls;
    }
    case Flow::Import: return Import(*provider);
    case Flow::Hide: return Import(*provider, true);
    case Flow::Resync: return Resync(*provider);
  }
  return {};
}

void FaultMatrix::Check(Flow flow, std::size_t eventsBefore, Outcome& outcome) {
  const auto problem = [&](const std::string& text) { outcome.problems.push_back(text); };
  const auto records = events.Records();
  const auto eventsOf = [&](DWORD id, WORD type) {
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
  const std::size_t volumes = volumes_.size();
  const std::size_t snapshots = SnapshotCount();

  switch (flow) {
    case Flow::Create:
      if (calls.AllSucceeded()) {
        if (eventsOf(VA_MSG_SET_COMMITTED, EVENTLOG_INFORMATION_TYPE) != 1) problem("no commit event 4260");
        if (snapshots != volumes) problem("committed set has " + std::to_string(snapshots) + " snapshots");
        break;
      }
      if (!calls.Called("AbortSnapshots")) problem("failed set was not aborted");
      if (eventsOf(VA_MSG_SET_COMMITTED, EVENTLOG_INFORMATION_TYPE) != 0) problem("commit event of a failed set");
      [[fallthrough]];
    case Flow::Abort:
      outcome.setFailed = true;
      if (eventsOf(VA_MSG_ABORTING_SET, EVENTLOG_INFORMATION_TYPE) != 1) problem("no abort event 4230");
      if (snapshots != 0) problem(std::to_string(snapshots) + " snapshots left behind");
      break;
    case Flow::Import:
      if (calls.AllSucceeded() &&
          eventsOf(VA_MSG_SNAPSHOT_IMPORTED, EVENTLOG_INFORMATION_TYPE) != static_cast<int>(volumes))
        problem("import answered S_OK without an event 4280 per LUN");
      if (IsVeto(calls.list.front().second) && eventsOf(VA_MSG_LOCATE_NO_OWNING_GROUP, EVENTLOG_ERROR_TYPE) != 1)
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
      for (const auto& volume : Records("volumes"))
        if (volume["online"] != true) problem("volume " + volume["name"].get<std::string>() + " left offline");
      if (eventsOf(VA_MSG_VOLUME_ONLINE_FAILED, EVENTLOG_ERROR_TYPE) != 0) problem("event 4320 for a volume the array put online");
      break;
  }
}

Outcome FaultMatrix::RunCell(Flow flow, const Cell* cell) {
  Outcome outcome;
  Reset();
  ProviderPtr provider;
  VSS_ID set{};
  if (!Prepare(flow, provider, set)) {
    outcome.problems.push_back("the steps before the fault failed");
    return outcome;
  }
  sim().resetLog();
  if (cell != nullptr) {
    arraysim::FaultSpec fault = cell->fault;
    fault.group = mGroups.back().id;
    sim().injectFault(fault);
  }
  const std::size_t eventsBefore = events.Records().size();
  const auto start = std::chrono::steady_clock::now();
  outcome.calls = Act(flow, provider, set);
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  provider.reset();
  outcome.struck = cell != nullptr && sim().state()["faults"].empty();
  // A delayed request is judged once the array carried it out; what a failed set leaves is
  // judged at once (the abort's own work) and after the next create (the late snapshots).
  const auto waitForDelayed = [&] {
    if (cell != nullptr && cell->fault.delayMs == kDelayedMs)
      std::this_thread::sleep_until(start + std::chrono::milliseconds(kDelayedMs + 300));
  };
  if (flow != Flow::Create && flow != Flow::Abort) waitForDelayed();
  Check(flow, eventsBefore, outcome);
  if (outcome.setFailed && cell != nullptr) {  // (the baseline's request log lists the flow's own operations)
    waitForDelayed();
    sim().clearFaults();  // a fault that never struck is not the next create's
    // What is left of a failed set must be gone after the next create of the same volumes.
    ProviderPtr next = NewProvider();
    const Calls created = CreateSet(*next, wincompat::NewGuid(), true);
    if (!created.AllSucceeded()) outcome.problems.push_back("the next create failed: " + created.Text());
    if (const std::size_t snapshots = SnapshotCount(); snapshots > volumes_.size())
      outcome.problems.push_back(std::to_string(snapshots - volumes_.size()) + " snapshots of the failed set left after the next create");
  }

  // Cells whose fault the provider must ride out: a slow answer, a log line the array refused,
  // an expired session (renewed once), and a fault that never met its request. A new
  // connection's first request (the group search) already spent its one session refresh on
  // the first login, so a 401 there fails it.
  if (cell != nullptr) {
    const std::string kind = cell->kind->name;
    const bool renewable = kind == "401" && cell->fault.op != "tokens" && cell->fault.op != "search:groups";
    const bool mustSucceed = kind == "slow" || cell->fault.op == "debug_log" || renewable || !outcome.struck;
    // An abort whose delete or search failed outright answers a veto, though its retry left
    // nothing behind.
    const bool failedOutright = kind == "500" || kind == "503" || kind == "drop" || kind == "malformed" ||
                                kind == "lost" || kind == "late" || kind == "delayed";
    if (flow == Flow::Abort && outcome.struck && failedOutright && cell->fault.op != "update:snapshots" &&
        outcome.calls.AllSucceeded())
      outcome.problems.push_back("the abort answered S_OK although its " + cell->fault.op + " failed");
    if (mustSucceed && !outcome.calls.AllSucceeded()) {
      std::string requests;
      const nlohmann::json log = sim().requestLog();
      for (const auto& r : log["requests"]) {
        if (r["group"] == mGroups.back().id)
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
  std::ostringstream reg;
  reg << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\r\n"
      << "\"RestReceiveTimeout\"=dword:" << std::hex << kReceiveTimeoutMs << "\r\n";
  SetRegistry(reg.str());
  discovery::ResetConfigurationCaches();
  // The operations this flow sends to the faulted group, found by running it once unharmed.
  const Outcome baseline = RunCell(flow, nullptr);
  ASSERT_TRUE(baseline.problems.empty()) << baseline.problems.front();
  std::set<std::string> ops;
  const nlohmann::json log = sim().requestLog();
  for (const auto& request : log["requests"]) {
    const std::string op = request["op"];
    // REST operations only: the host channel's iSCSI calls and the SOAP query are no part of it.
    const bool rest = op != "delete:tokens" && op != "unknown" && op != "soap" && !op.starts_with("iscsi_");
    if (request["group"] == mGroups.back().id && rest) ops.insert(op);
  }
  ASSERT_FALSE(ops.empty());

  std::size_t cells = 0, struck = 0, failedSets = 0;
  for (const auto& op : ops) {
    for (const auto& kind : FaultKinds()) {
      if (kind.name == std::string("delayed") && !IsWrite(op)) continue;  // a late read is a drop
      Cell cell;
      cell.kind = &kind;
      cell.fault.op = op;
      kind.shape(cell.fault);
      const Outcome outcome = RunCell(flow, &cell);
      ++cells;
      struck += outcome.struck ? 1 : 0;
      failedSets += outcome.setFailed ? 1 : 0;
      for (const auto& p : outcome.problems)
        ADD_FAILURE() << FlowName(flow) << " x " << op << " x " << kind.name << ": " << p << " ["
                      << outcome.calls.Text() << "]";
    }
  }
  std::cout << "fault-matrix " << FlowName(flow) << ": " << ops.size() << " operations, cells " << cells << ", struck "
            << struck << ", failed or aborted sets " << failedSets << "\n";
}

}  // namespace

TEST_F(FaultMatrix, Create) { RunMatrix(Flow::Create); }
TEST_F(FaultMatrix, Abort) { RunMatrix(Flow::Abort); }
TEST_F(FaultMatrix, Import) { RunMatrix(Flow::Import); }
TEST_F(FaultMatrix, Hide) { RunMatrix(Flow::Hide); }
TEST_F(FaultMatrix, Resync) { RunMatrix(Flow::Resync); }

// VSS holds the host's writes for at most 10 seconds while CommitSnapshots runs: an array that
// answers later (within the usual receive timeout) makes the provider veto the set within that
// window, and the abort that follows still reaches the arrays and removes what they made, also
// what the slow one made after the provider gave up. Both groups are asked at the same time.
TEST_F(FaultMatrix, SlowArrayIsVetoedAtTheWindowsEndAndAbortLeavesNothing) {
  using std::chrono::milliseconds;
  const ProviderPtr provider = NewProvider();
  const VSS_ID set = wincompat::NewGuid();
  Luns luns{{"Vantor", "Server", volumes_[0].serialNumber}, {"Vantor", "Server", volumes_[1].serialNumber}};
  ASSERT_EQ(provider->BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 2, nullptr, luns.data()), S_OK);
  ASSERT_EQ(provider->EndPrepareSnapshots(set), S_OK);
  const auto snapshotsOf = [this](const arraysim::VolumeInfo& volume) {
    const auto all = Records("snapshots");
    return std::count_if(all.begin(), all.end(), [&](const nlohmann::json& s) { return s["vol_id"] == volume.id; });
  };

  // The slow array answers well after the window: a commit that waited for it instead of
  // giving up at the window's end takes 16 s or more, however loaded the machine.
  constexpr auto kSlowAnswer = std::chrono::seconds(16);
  arraysim::FaultSpec slowCreate;
  slowCreate.group = mGroups.back().id;
  slowCreate.op = "bulk_create";
  slowCreate.delayMs = static_cast<int>(milliseconds(kSlowAnswer).count());
  sim().injectFault(slowCreate);

  const auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(provider->CommitSnapshots(set), VSS_E_PROVIDER_VETO);
  const auto took = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - started);
  // It waited for the array as long as the window allowed (9 s of VSS's 10, kept from the
  // call on), not less; and gave up then, not when the array answered. The upper bound leaves
  // the work after the window's end room for a loaded machine; the window itself is fixed by
  // the lower bound, which no load can make shorter.
  EXPECT_GE(took, milliseconds(8500));
  EXPECT_LT(took, kSlowAnswer - std::chrono::seconds(3));
  EXPECT_EQ(snapshotsOf(volumes_[1]), 0) << "the commit returned only after the slow array answered";
  EXPECT_TRUE(trace.Contains("the arrays did not finish within the 10 seconds that VSS holds the writes"))
      << trace.LinesWith("CommitSnapshots");
  EXPECT_EQ(snapshotsOf(volumes_[0]), 1);

  // The slow array carries the create out after the provider stopped waiting.
  const auto giveUp = started + kSlowAnswer + std::chrono::seconds(8);
  while (snapshotsOf(volumes_[1]) == 0 && std::chrono::steady_clock::now() < giveUp)
    std::this_thread::sleep_for(milliseconds(100));
  ASSERT_EQ(snapshotsOf(volumes_[1]), 1);

  // The window ended with the commit: the abort's requests get the arrays' usual time, and
  // the abort leaves nothing on either group.
  EXPECT_EQ(provider->AbortSnapshots(set), S_OK);
  EXPECT_EQ(SnapshotCount(), 0u);
}
