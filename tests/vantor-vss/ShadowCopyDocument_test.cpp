// A LUN description survives the document whole; the document refuses what it cannot use and
// selects by snapshot serial or set id; an import compares identities as VSS does.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "HostTestSupport.h"
#include "LunCatalog.h"
#include "LunJson.h"
#include "ShadowCopyDocument.h"
#include "wincompat/Com.h"
#include "wincompat/Guid.h"

using vantorvss::DocumentError;
using vantorvss::ShadowCopyDocument;

namespace {

provider::OwnedLunInformation SampleLun(const std::string& serial) {
  provider::OwnedLunInformation lun;
  EXPECT_TRUE(provider::BuildLunInformation(lun.get(), "Vantor", "Server", "6.1", serial,
                                            {{VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId, {'V', 'a', 0, 0}},
                                             {VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64, {1, 2, 3, 4, 5, 6, 7, 8}}}));
  return lun;
}

vantorvss::ShadowCopySet SampleSet(const std::string& id, const std::vector<std::string>& snapshotSerials) {
  vantorvss::ShadowCopySet set{id, 0x20, "2026-01-02T03:04:05Z", {}};
  for (const auto& serial : snapshotSerials)
    set.volumes.push_back({"{00000000-0000-0000-0000-0000000000aa}", "\\\\.\\PhysicalDrive1",
                           vantorvss::LunToJson(SampleLun("src-" + serial).get()),
                           vantorvss::LunToJson(SampleLun(serial).get())});
  return set;
}

class ShadowCopyDocumentTest : public ::testing::Test {
 protected:
  hosttest::TempFolder folder_;
  const std::filesystem::path file_ = folder_.path() / "shadow-copies.json";
};

}  // namespace

TEST(LunJsonTest, EveryMemberSurvivesAndBrokenDescriptionsNameTheirMember) {
  provider::OwnedLunInformation lun = SampleLun("abc");
  VDS_LUN_INFORMATION& l = lun.get();
  l.m_version = VER_VDS_LUN_INFORMATION;
  l.m_DeviceType = 0;
  l.m_DeviceTypeModifier = 3;
  l.m_bCommandQueueing = TRUE;
  l.m_BusType = VDSBusTypeiScsi;
  l.m_diskSignature = wincompat::NewGuid();
  CoTaskMemFree(l.m_szProductRevision);
  l.m_szProductRevision = nullptr;  // a device without a revision string
  l.m_rgInterconnects = static_cast<VDS_INTERCONNECT*>(CoTaskMemAlloc(sizeof(VDS_INTERCONNECT)));
  l.m_rgInterconnects[0] = {VDS_IA_FCPH, 2, static_cast<BYTE*>(CoTaskMemAlloc(2)), 1, static_cast<BYTE*>(CoTaskMemAlloc(1))};
  l.m_rgInterconnects[0].m_pbPort[0] = 0xAB;
  l.m_rgInterconnects[0].m_pbPort[1] = 0xCD;
  l.m_rgInterconnects[0].m_pbAddress[0] = 0x01;
  l.m_cInterconnects = 1;

  const nlohmann::json json = vantorvss::LunToJson(l);
  const provider::OwnedLunInformation back = vantorvss::LunFromJson(json);
  EXPECT_EQ(vantorvss::LunToJson(back.get()), json);
  EXPECT_TRUE(json["product_revision"].is_null());
  EXPECT_EQ(back.get().m_szProductRevision, nullptr);
  EXPECT_TRUE(back.get().m_diskSignature == l.m_diskSignature);
  EXPECT_EQ(json["interconnects"][0]["port"], "abcd");

  const struct {
    const char* member;
    nlohmann::json value;
  } broken[] = {{"device_type", 256}, {"serial_number", 5}, {"disk_signature", "x"}, {"command_queueing", 1},
                {"interconnects", "none"}};
  for (const auto& b : broken) {
    nlohmann::json bad = json;
    bad[b.member] = b.value;
    try {
      vantorvss::LunFromJson(bad);
      ADD_FAILURE() << b.member << " was accepted";
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find(b.member), std::string::npos) << e.what();
    }
  }
  nlohmann::json badBytes = json;
  badBytes["device_id_descriptor"]["identifiers"][1]["bytes"] = "0g";
  EXPECT_THROW(vantorvss::LunFromJson(badBytes), std::invalid_argument);
  nlohmann::json noVersion = json;
  noVersion.erase("version");
  EXPECT_THROW(vantorvss::LunFromJson(noVersion), std::invalid_argument);
}

TEST_F(ShadowCopyDocumentTest, SetsAreSelectedPutAndRemovedAndSurviveTheFile) {
  EXPECT_TRUE(ShadowCopyDocument::Load(file_).Sets().empty());  // no file yet: an empty document
  ShadowCopyDocument document = ShadowCopyDocument::Load(file_);
  const std::string first = "{11111111-0000-0000-0000-000000000001}";
  const std::string second = "{22222222-0000-0000-0000-000000000002}";
  document.Put(SampleSet(first, {"s1", "s2"}));
  document.Put(SampleSet(second, {"s3"}));
  document.Put(SampleSet(first, {"s2", "s4"}));  // a set held already gains what it lacks
  document.Save();

  const ShadowCopyDocument loaded = ShadowCopyDocument::Load(file_);
  ASSERT_EQ(loaded.Sets().size(), 2u);
  EXPECT_EQ(loaded.Sets()[0].volumes.size(), 3u);
  EXPECT_EQ(loaded.Sets()[0].context, 0x20);
  EXPECT_EQ(loaded.Sets()[0].volumes[0].SourceSerial(), "src-s1");

  // By serial or by set id (in either case), in document order, each volume once.
  const auto selected = loaded.Select({"s3", "{11111111-0000-0000-0000-000000000001}", "s1"});
  ASSERT_EQ(selected.size(), 2u);
  EXPECT_EQ(selected[0].snapshotSetId, first);
  EXPECT_EQ(selected[0].volumes.size(), 3u);
  EXPECT_EQ(selected[1].volumes[0].SnapshotSerial(), "s3");
  EXPECT_EQ(loaded.Select({"{11111111-0000-0000-0000-000000000001}"}).size(), 1u);
  try {
    loaded.Select({"s1", "nothing-like-it"});
    ADD_FAILURE() << "an unknown name was selected";
  } catch (const DocumentError& e) {
    EXPECT_NE(std::string(e.what()).find(file_.string()), std::string::npos);
    EXPECT_NE(std::string(e.what()).find("nothing-like-it"), std::string::npos);
  }

  ShadowCopyDocument shrinking = loaded;
  shrinking.Remove(second, "s3");
  shrinking.Remove(first, "s1");
  ASSERT_EQ(shrinking.Sets().size(), 1u);  // a set without volumes goes
  EXPECT_EQ(shrinking.Sets()[0].volumes.size(), 2u);
}

TEST_F(ShadowCopyDocumentTest, UnusableFilesAreRefusedNamingTheFileAndTheEntry) {
  ShadowCopyDocument document = ShadowCopyDocument::Load(file_);
  document.Put(SampleSet("{11111111-0000-0000-0000-000000000001}", {"s1"}));
  document.Save();
  std::ifstream in(file_);
  const nlohmann::json good = nlohmann::json::parse(in);

  nlohmann::json noTarget = good;
  noTarget["sets"][0]["volumes"][0].erase("target_lun");
  nlohmann::json noSets = good;
  noSets.erase("sets");
  nlohmann::json foreign = good;
  foreign["format"] = "something else";
  nlohmann::json otherVersion = good;
  otherVersion["version"] = 2;
  nlohmann::json noSerial = good;
  noSerial["sets"][0]["volumes"][0]["target_lun"].erase("serial_number");
  nlohmann::json badId = good;
  badId["sets"][0]["snapshot_set_id"] = "not-a-guid";
  const struct {
    std::string text;
    std::string says;
  } bad[] = {{"", "not a JSON document"},
             {"[]", "not a shadow-copy document"},
             {foreign.dump(), "not a shadow-copy document"},
             {noSets.dump(), "'sets' must be a list"},
             {otherVersion.dump(), "'version' is 2"},
             {noSerial.dump(), "sets[0]: volumes[0]: target_lun: 'serial_number' is missing"},
             {badId.dump(), "sets[0]: 'snapshot_set_id' is not a GUID"},
             {noTarget.dump(), "sets[0]: volumes[0]: target_lun: a LUN must be a JSON object"}};
  for (const auto& b : bad) {
    std::ofstream(file_, std::ios::trunc) << b.text;
    try {
      ShadowCopyDocument::Load(file_);
      ADD_FAILURE() << "accepted: " << b.text;
    } catch (const DocumentError& e) {
      EXPECT_EQ(std::string(e.what()).rfind(file_.string() + ": " + b.says, 0), 0u) << e.what();
    }
  }
}

TEST(ImportIdentityTest, OnlyWhatVssComparesCanMakeADifference) {
  provider::OwnedLunInformation target = SampleLun("snap");
  target.get().m_BusType = VDSBusTypeFibre;
  target.get().m_diskSignature = wincompat::NewGuid();
  // The disk reports its vendor-id designator without the padding the provider gives it.
  vantorvss::HostDisk disk{L"\\\\.\\PhysicalDrive3", "Vantor", "Server", "6.1", "snap",
                           {{VDSStorageIdCodeSetBinary, VDSStorageIdTypeEUI64, {1, 2, 3, 4, 5, 6, 7, 8}},
                            {VDSStorageIdCodeSetAscii, VDSStorageIdTypeVendorId, {'V', 'a'}}}};
  EXPECT_EQ(vantorvss::IdentityDifference(disk, target.get()), "");

  vantorvss::HostDisk otherEui = disk;
  otherEui.identifiers[0].bytes[7] = 9;
  EXPECT_NE(vantorvss::IdentityDifference(otherEui, target.get()).find("identifiers"), std::string::npos);
  vantorvss::HostDisk extraId = disk;
  extraId.identifiers.push_back({VDSStorageIdCodeSetBinary, VDSStorageIdTypeFCPHName, {7}});
  EXPECT_NE(vantorvss::IdentityDifference(extraId, target.get()), "");
  vantorvss::HostDisk otherSerial = disk;
  otherSerial.serial = "snap2";
  EXPECT_EQ(vantorvss::IdentityDifference(otherSerial, target.get()), "serial number 'snap2', not 'snap'");
  vantorvss::HostDisk otherProduct = disk;
  otherProduct.product = "Virtual disk";
  EXPECT_NE(vantorvss::IdentityDifference(otherProduct, target.get()), "");
}
