// What an administrator finds and cleans up after shadow copies: vantor-vss snapshots and
// prune against the simulator, with snapshots in every state that must survive a prune, and
// doctor's verdicts. The simulator's state is the evidence.
#include <fstream>
#include <map>
#include <set>
#include <utility>

#include "EmulatedHostFixture.h"
#include "SimTestClient.h"
#include "wincompat/Guid.h"

namespace {

class AdministratorScenarios : public EmulatedHostFixture {
 protected:
  // A snapshot made on the array directly, as another tool would; `setId` empty: no metadata;
  // `owner` empty: no owner pair.
  nlohmann::json MakeSnapshot(const arraysim::GroupInfo& group, const std::string& volume, const std::string& setId,
                              const std::string& owner = "host=HOST-A;context=0x00000000") {
    simtest::RestClient rest(group.address, group.restPort);
    EXPECT_EQ(rest.login("admin", group.name + "-pw").status, 201);
    nlohmann::json entry = {{"vol_id", Volume(volume).id}, {"snap_name", "by-hand-" + volume}};
    if (!setId.empty()) entry["metadata"] = {{{"key", "vss_vs_snapshot_set_id"}, {"value", setId}}};
    if (!setId.empty() && !owner.empty()) entry["metadata"].push_back({{"key", "vss_vs_snapshot_owner"}, {"value", owner}});
    const auto reply = rest.rest("POST", "/v1/snapshots/bulk_create", {{"data", {{"snap_vol_list", {entry}}}}});
    EXPECT_EQ(reply.status, 201) << reply.text;
    return reply.json()["data"]["snap_list"][0];
  }
  static std::string NewSetId() { return wincompat::GuidToString(wincompat::NewGuid()); }

  // Create, import and delete through vantor-vss on `host` (default A): what VSS leaves of an
  // auto-release copy; without the release, a kept one.
  std::string ReleasedShadowCopy(const std::string& volume, const EmulatedHost* host = nullptr, bool release = true) {
    const EmulatedHost& on = host ? *host : hostA_;
    const ToolRun created = VssOn(on, {"create", Volume(volume).serialNumber});
    EXPECT_EQ(created.status, 0) << created.output;
    const std::string snap = created.report["snapshots"][0]["snapshot_serial"];
    for (const char* step : {"import", "delete"}) {
      const ToolRun run = release ? VssOn(on, {step, snap}) : ToolRun{0, {}, ""};
      EXPECT_EQ(run.status, 0) << run.output;
    }
    return snap;
  }
};

TEST_F(AdministratorScenarios, OnTwoHostsOfOneGroupEachPruneTakesOnlyItsOwnSnapshots) {
  const auto east = AddGroup("east", {"a-data", "b-kept", "b-released", "old", "bad", "moved"});
  Configure(hostB_, east);
  for (const char* volume : {"b-kept", "b-released"})
    ASSERT_EQ(sim_->iscsiLogin(kInitiatorB, Volume(volume).targetName).status, 0u);
  const std::string bKept = ReleasedShadowCopy("b-kept", &hostB_, false);
  const std::string bReleased = ReleasedShadowCopy("b-released", &hostB_);
  const std::string aReleased = ReleasedShadowCopy("a-data");
  // Made by an earlier version (no owner), with a malformed owner, and host A's transportable set.
  const std::string unowned = MakeSnapshot(east, "old", NewSetId(), "")["serial_number"];
  const std::string malformed = MakeSnapshot(east, "bad", NewSetId(), "host=HOST-A")["serial_number"];
  const std::string moved = MakeSnapshot(east, "moved", NewSetId(), "host=host-a;context=0x00000020")["serial_number"];

  std::map<std::string, std::string> owners;
  const ToolRun listed = Vss({"snapshots"});
  for (const auto& s : listed.report["snapshots"])
    owners[s["serial_number"]] = s["ownership"].get<std::string>() + (s["transportable"] == true ? " T" : "");
  EXPECT_EQ(owners, (std::map<std::string, std::string>{{bKept, "other host"}, {bReleased, "other host"},
                                                        {aReleased, "this host"}, {unowned, "none"},
                                                        {malformed, "malformed"}, {moved, "this host T"}}));

  // Without --apply nothing goes; the default threshold (24h) keeps what this test made.
  const ToolRun dryRun = Vss({"prune", "--older-than", "0s"});
  EXPECT_EQ(dryRun.status, 0) << dryRun.output;
  EXPECT_EQ(dryRun.report["candidates"], nlohmann::json::array({aReleased}));
  EXPECT_TRUE(dryRun.report["deleted"].empty());
  EXPECT_TRUE(Vss({"prune", "--apply"}).report["candidates"].empty());
  EXPECT_EQ(SnapshotCount(), 6u);

  const ToolRun onA = Vss({"prune", "--older-than", "0s", "--apply"});
  EXPECT_EQ(onA.status, 0) << onA.output;
  EXPECT_EQ(onA.report["deleted"], nlohmann::json::array({aReleased}));
  EXPECT_NE(Trace().find("Pruned snapshot " + aReleased), std::string::npos);
  const ToolRun widened = Vss({"prune", "--older-than", "0s", "--include-unowned", "--include-transportable", "--apply"});
  EXPECT_EQ(widened.status, 0) << widened.output;
  EXPECT_EQ(widened.report["deleted"], nlohmann::json::array({unowned, moved}));  // never B's or the malformed one

  const ToolRun onB = VssOn(hostB_, {"prune", "--older-than", "0s", "--apply"});
  EXPECT_EQ(onB.status, 0) << onB.output;
  EXPECT_EQ(onB.report["deleted"], nlohmann::json::array({bReleased}));
  EXPECT_EQ(SnapshotSerials(), (std::set<std::string>{bKept, malformed}));
}

TEST_F(AdministratorScenarios, BadInputIsAUsageErrorAndAFailingArrayStopsThePrune) {
  auto first = AddGroup("east", {"e1", "e2"});
  auto second = AddGroup("west", {"w1", "w2"});
  EXPECT_EQ(Vss({"prune", "--older-than", "soon"}).status, 2);
  EXPECT_EQ(Vss({"prune", "--older-than", "24"}).status, 2);
  EXPECT_EQ(Vss({"snapshots", "--group", "192.0.2.1"}).status, 2);
  EXPECT_EQ(Vss({"prune", "--apply", "--group", "192.0.2.1"}).status, 2);

  // Groups are pruned in address order: one snapshot on the first, two on the second, whose
  // array fails once its turn comes.
  const bool eastFirst = first.address < second.address;
  if (!eastFirst) std::swap(first, second);
  const std::string firstPrefix = eastFirst ? "e" : "w";
  const std::string secondPrefix = eastFirst ? "w" : "e";
  const std::string firstSerial = MakeSnapshot(first, firstPrefix + "1", NewSetId())["serial_number"];
  MakeSnapshot(second, secondPrefix + "1", NewSetId());
  MakeSnapshot(second, secondPrefix + "2", NewSetId());
  arraysim::FaultSpec unavailable;
  unavailable.group = second.id;
  unavailable.op = "delete:snapshots";
  unavailable.status = 503;
  unavailable.code = "SM_unavailable";
  unavailable.text = "array restarting";
  unavailable.count = 5;
  sim_->injectFault(unavailable);
  const ToolRun failing = Vss({"prune", "--apply", "--older-than", "0s"});
  EXPECT_EQ(failing.status, 1) << failing.output;
  ASSERT_EQ(failing.report["candidates"].size(), 3u) << failing.output;
  EXPECT_EQ(failing.report["candidates"][0], firstSerial);
  EXPECT_EQ(failing.report["deleted"], nlohmann::json::array({firstSerial}));
  ASSERT_EQ(failing.report["failed"].size(), 1u) << failing.output;  // and the third was not tried
  EXPECT_EQ(failing.report["failed"][0]["serial_number"], failing.report["candidates"][1]);
  EXPECT_NE(failing.report["failed"][0]["reason"].get<std::string>().find("array restarting"), std::string::npos);
  EXPECT_EQ(SnapshotSerials().size(), 2u);

  sim_->clearFaults();
  const ToolRun again = Vss({"prune", "--apply", "--older-than", "0s"});
  EXPECT_EQ(again.status, 0) << again.output;
  EXPECT_EQ(again.report["deleted"].size(), 2u);
  EXPECT_TRUE(SnapshotSerials().empty());
}

// The registration an installation leaves in the host's registry, with the service's start
// type; appended to the emulated host's registry file.
void RegisterProvider(const std::filesystem::path& host, int startType) {
  std::ofstream(host / "registry.reg", std::ios::app)
      << "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{08B1DE05-DA78-4895-BAC0-E576ED483FFA}\\LocalServer32]\n"
         "@=\"C:\\\\Program Files\\\\Vantor\\\\VantorVssProvider.exe\"\n"
         "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\AppID\\{250271C3-D460-4BC9-B015-3EBC3C0DA2C4}]\n"
         "\"LocalService\"=\"Vantor VSS Hardware Provider\"\n"
         "\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VSS\\Providers\\{5253d47a-55bb-4b3a-928d-5f4baec6fbf4}]\n"
         "\"Type\"=dword:00000003\n"
         "\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider]\n"
         "\"ImagePath\"=\"C:\\\\Program Files\\\\Vantor\\\\VantorVssProvider.exe\"\n"
         "\"Start\"=dword:0000000"
      << startType << "\n";
}

std::map<std::string, nlohmann::json> ChecksByName(const ToolRun& run) {
  std::map<std::string, nlohmann::json> checks;
  for (const auto& c : run.report["checks"]) checks[c["check"]] = c;
  return checks;
}

// A credential the service cannot open: its stored value altered (as one copied from another
// computer would be).
void SpoilCredential(const std::filesystem::path& host, const std::string& address) {
  std::ifstream in(host / "registry.reg");
  std::string text, line;
  bool continued = false;  // the lines of a long hex value end in a backslash
  while (std::getline(in, line)) {
    const bool spoiled = continued || line.rfind("\"" + address + "\"=", 0) == 0;
    const bool wasContinued = continued;
    continued = spoiled && !line.empty() && line.back() == '\\';
    if (!spoiled) text += line + "\n";
    else if (!wasContinued) text += "\"" + address + "\"=hex:00,01,02\n";
  }
  in.close();
  std::ofstream(host / "registry.reg", std::ios::trunc) << text;
}

TEST_F(AdministratorScenarios, DoctorGivesEachGroupAndHostCheckAVerdictAndWhatToDo) {
  const auto healthy = AddGroup("east", {"data"});
  const auto unreadable = AddGroup("west", {"logs"});
  SpoilCredential(hostA_.dir, unreadable.address);
  // A configured group that stops answering: every connection is dropped.
  const auto silent = AddGroup("north", {"archive"});
  for (const char* op : {"tokens", "soap"}) {
    arraysim::FaultSpec drop;
    drop.group = silent.id;
    drop.op = op;
    drop.drop = true;
    drop.count = 1000;
    sim_->injectFault(drop);
  }
  const std::string unreachable = silent.address;
  // What doctor says of a host where nothing is installed is a step of the demo's lifecycle
  // under Wine; here, a disabled service, then a sound host and its groups.
  RegisterProvider(hostA_.dir, 4);
  auto checks = ChecksByName(Vss({"doctor"}));
  EXPECT_EQ(checks["COM registration"]["verdict"], "ok");
  EXPECT_EQ(checks["VSS registration"]["verdict"], "ok");
  EXPECT_EQ(checks["service"]["verdict"], "fail");  // disabled: COM cannot start it
  EXPECT_NE(checks["service"]["action"].get<std::string>().find("start= demand"), std::string::npos);

  RegisterProvider(hostA_.dir, 3);
  const ToolRun doctor = Vss({"doctor"});
  checks = ChecksByName(doctor);
  for (const auto& [name, check] : checks) EXPECT_EQ(check["verdict"], "ok") << name << ": " << doctor.output;
  std::map<std::string, nlohmann::json> groups;
  for (const auto& g : doctor.report["groups"]) groups[g["address"]] = g;
  ASSERT_EQ(groups.size(), 3u) << doctor.output;
  EXPECT_EQ(groups[healthy.address]["verdict"], "ok") << doctor.output;
  EXPECT_EQ(groups[healthy.address]["service_can_read"], "yes");
  EXPECT_EQ(groups[healthy.address]["action"], "");
  EXPECT_EQ(groups[unreadable.address]["verdict"], "fail");
  EXPECT_EQ(groups[unreadable.address]["service_can_read"], "no");
  EXPECT_NE(groups[unreadable.address]["action"].get<std::string>().find("config add-group"), std::string::npos);
  EXPECT_EQ(groups[unreachable]["verdict"], "fail");
  EXPECT_EQ(groups[unreachable]["service_can_read"], "yes");
  EXPECT_NE(groups[unreachable]["action"].get<std::string>().find("reachable"), std::string::npos);
  EXPECT_EQ(doctor.status, 1);
}

}  // namespace
