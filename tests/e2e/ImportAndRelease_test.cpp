// Shadow copies imported and released the way VSS does it, each command a new provider process:
// on the host that made them, with a disk that is not what GetTargetLuns said, and with documents
// or names that cannot be used. A transportable set imported and released on a second host is a
// step of the demo's lifecycle (run under Wine).
#include <fstream>

#include "EmulatedHostFixture.h"

namespace {
constexpr const char* kOk = "0x00000000";

bool Contains(const std::vector<std::string>& list, const std::string& item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}
}  // namespace

class ImportAndRelease : public EmulatedHostFixture {};

TEST_F(ImportAndRelease, ImportedSnapshotIsReleasedByALaterProviderProcessAndTheRestLeaveTheDocument) {
  AddGroup("east", {"data", "logs"});
  const ToolRun created = Vss({"create", Volume("data").serialNumber, Volume("logs").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  const std::string setId = created.report["snapshot_set_id"];
  const std::string snapData = created.report["snapshots"][0]["snapshot_serial"];
  const std::string snapLogs = created.report["snapshots"][1]["snapshot_serial"];
  ASSERT_EQ(Vss({"import", snapData, snapLogs}).status, 0);

  // `empty` alone, in a fresh process, releases the LUN and keeps the document.
  const ToolRun emptied = Vss({"empty", snapLogs});
  EXPECT_EQ(emptied.status, 0) << emptied.output;
  EXPECT_EQ(emptied.Hr("OnLunEmpty"), kOk);
  EXPECT_FALSE(Contains(DiskSerials(hostA_), snapLogs));
  EXPECT_EQ(Vss({"list"}).report["sets"][0]["volumes"].size(), 2u);

  const ToolRun released = Vss({"delete", setId});
  ASSERT_EQ(released.status, 0) << released.output;
  // Only the LUN that still is a disk here is released through the provider.
  ASSERT_EQ(released.CountCalls("OnLunEmpty"), 1);
  EXPECT_EQ(released.Calls("OnLunEmpty")[0]["lun"], snapData);
  EXPECT_TRUE(released.Calls("FillInLunInfo")[0]["supported"].get<bool>());
  EXPECT_FALSE(Contains(DiskSerials(hostA_), snapData));
  EXPECT_TRUE(Vss({"list"}).report["sets"].empty());
  EXPECT_EQ(SnapshotCount(), 2u);  // released shadow copies leave their snapshots for housekeeping
}

TEST_F(ImportAndRelease, DiskThatArrivesWithAnotherIdentityIsNotImported) {
  AddGroup("east", {"data"});
  const ToolRun created = Vss({"create", Volume("data").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  const std::string snap = created.report["snapshots"][0]["snapshot_serial"];
  sim_->misreportEui64(snap, "00112233445566778899aabbccddeeff");

  const ToolRun imported = Vss({"import", snap});
  EXPECT_EQ(imported.status, 1);
  EXPECT_EQ(imported.Hr("LocateLuns"), kOk) << imported.output;
  EXPECT_TRUE(imported.report["imported"].empty());
  ASSERT_EQ(imported.report["not_imported"].size(), 1u);
  EXPECT_EQ(imported.report["not_imported"][0]["snapshot_serial"], snap);
  EXPECT_NE(imported.report["not_imported"][0]["reason"].get<std::string>().find("00112233445566778899aabbccddeeff"),
            std::string::npos);
  EXPECT_NE(imported.output.find("VSS_S_SOME_SNAPSHOTS_NOT_IMPORTED"), std::string::npos);
}

TEST_F(ImportAndRelease, UnusableDocumentsAndUnknownNamesAreUsageErrorsThatChangeNothing) {
  AddGroup("east", {"data"});
  const ToolRun created = Vss({"create", Volume("data").serialNumber});
  ASSERT_EQ(created.status, 0) << created.output;
  const std::string setId = created.report["snapshot_set_id"];
  const std::filesystem::path own = hostA_.dir / "shadow-copies.json";
  // What a document may hold is the document's own test; here: a usage error, nothing sent.
  const std::filesystem::path foreign = hostB_.dir / "foreign.json";
  std::ofstream(foreign) << "{ this is not json";
  sim_->resetLog();
  const ToolRun unreadable = Vss({"import", "--document", foreign.string(), setId});
  EXPECT_EQ(unreadable.status, 2);
  EXPECT_NE(unreadable.output.find(foreign.string() + ": not a JSON document"), std::string::npos) << unreadable.output;
  // Names the document does not hold.
  const ToolRun unknownSet = Vss({"delete", "{00000000-0000-0000-0000-000000000001}"});
  EXPECT_EQ(unknownSet.status, 2);
  EXPECT_NE(unknownSet.output.find("{00000000-0000-0000-0000-000000000001}"), std::string::npos);
  EXPECT_EQ(Vss({"import", "ffffffffffffffffffffffffffffffff"}).status, 2);
  // This host's own document broken: nothing runs, nothing is rewritten.
  std::ofstream(own, std::ios::trunc) << "[1, 2";
  EXPECT_EQ(Vss({"list"}).status, 2);
  EXPECT_EQ(Vss({"delete", setId}).status, 2);
  EXPECT_EQ(ReadText(own), "[1, 2");
  EXPECT_TRUE(sim_->requestLog()["requests"].empty());
}
