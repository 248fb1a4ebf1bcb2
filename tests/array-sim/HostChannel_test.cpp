// What an emulated host sees through the host channel: disks through logged-in targets, the
// DSM record, iSCSI sessions. (The same over the control server's HTTP is what every
// vantor-vss run of tests/e2e reads.)

#include "SimTestClient.h"

#include "arraysim/DsmRecord.h"
#include "arraysim/Simulator.h"

#include <gtest/gtest.h>


using nlohmann::json;

namespace {

constexpr const char* kHost = "iqn.1991-05.com.microsoft:host1";
constexpr const char* kOtherHost = "iqn.1991-05.com.microsoft:host2";
constexpr std::uint32_t kNotFound = 0xEFFF000B;

arraysim::VolumeSpec volume(const char* name, const char* scope, const char* initiator) {
    arraysim::VolumeSpec spec;
    spec.name = name;
    spec.iscsiTargetScope = scope;
    spec.acl = {{"iscsi", initiator}};
    return spec;
}

class HostChannel : public ::testing::Test {
protected:
    void SetUp() override {
        arraysim::GroupSpec spec;
        spec.name = "grp-a";
        group = sim.addGroup(spec);
        volA = sim.addVolume(group.id, volume("vol-a", "volume", kHost));
        volB = sim.addVolume(group.id, volume("vol-b", "group", kHost));
        volC = sim.addVolume(group.id, volume("vol-c", "group", kOtherHost));
    }
    std::vector<std::string> diskSerials(const std::string& host) {
        std::vector<std::string> serials;
        for (const auto& d : sim.hostDisks(host)) serials.push_back(d["serial_number"]);
        return serials;
    }

    arraysim::Simulator sim;
    arraysim::GroupInfo group;
    arraysim::VolumeInfo volA, volB, volC;
};

TEST_F(HostChannel, DisksAndDsmRecordFollowLoginsAndAcls) {
    EXPECT_TRUE(sim.hostDisks(kHost).empty());
    EXPECT_EQ(sim.hostDsmRecord(kHost), (std::vector<std::uint8_t>{1, 0, 0}));

    arraysim::FaultSpec fault;
    fault.group = group.id;
    fault.op = "iscsi_login";
    fault.status = static_cast<int>(0xEFFF0002u);  // login failed
    sim.injectFault(fault);
    EXPECT_EQ(sim.iscsiLogin(kHost, group.targetName).status, 0xEFFF0002u);
    ASSERT_EQ(sim.iscsiLogin(kHost, group.targetName).status, 0u);
    EXPECT_EQ(sim.requestCount(group.id, "iscsi_login"), 2);
    EXPECT_EQ(diskSerials(kHost), std::vector<std::string>{volB.serialNumber});  // vol-c is another host's
    // A volume target is advertised only to initiators its ACL names.
    EXPECT_EQ(sim.iscsiLogin(kOtherHost, volA.targetName).status, kNotFound);
    EXPECT_EQ(sim.iscsiLogin(kHost, "iqn.2007-11.com.vantor:nothing").status, kNotFound);
    const auto login = sim.iscsiLogin(kHost, volA.targetName, true, false);
    ASSERT_EQ(login.status, 0u);

    const json disks = sim.hostDisks(kHost);
    ASSERT_EQ(disks.size(), 2u);
    // (The product and designators a host reads: tests/e2e, import and prune.)
    EXPECT_EQ(disks[0]["serial_number"], volA.serialNumber);
    EXPECT_EQ(disks[0]["vendor"], "Vantor");
    EXPECT_EQ(disks[0]["revision"], "6.1");
    EXPECT_NE(disks[0]["device"], disks[1]["device"]);
    const std::string deviceOfB = disks[1]["device"];

    EXPECT_EQ(sim.hostDsmRecord(kHost),
              arraysim::encodeDsmRecord({{volA.serialNumber, group.address}, {volB.serialNumber, group.address}}));

    // A logout hides the disk; the host keeps its other session and its disk numbers.
    EXPECT_EQ(sim.iscsiLogout(kHost, login.sessionId), 0u);
    EXPECT_EQ(sim.iscsiLogout(kHost, login.sessionId), kNotFound);
    EXPECT_EQ(diskSerials(kHost), std::vector<std::string>{volB.serialNumber});
    EXPECT_EQ(sim.hostDisks(kHost)[0]["device"], deviceOfB);
    EXPECT_EQ(sim.hostSessions(kHost).size(), 1u);
}

TEST_F(HostChannel, OnlineSnapshotsAppearBehindTheirTarget) {
    ASSERT_EQ(sim.iscsiLogin(kHost, group.targetName).status, 0u);
    simtest::RestClient rest(group.address, group.restPort);
    ASSERT_EQ(rest.login().status, 201);
    const auto created = rest.rest("POST", "/v1/snapshots/bulk_create",
                                   {{"data", {{"snap_vol_list", {{{"vol_id", volB.id}, {"snap_name", "s"}},
                                                                 {{"vol_id", volA.id}, {"snap_name", "s"}}}}}}});
    ASSERT_EQ(created.status, 201);
    const json snapB = created.json()["data"]["snap_list"][0];
    const json snapA = created.json()["data"]["snap_list"][1];
    EXPECT_EQ(diskSerials(kHost).size(), 1u);  // offline snapshots are not presented

    ASSERT_EQ(rest.rest("PUT", "/v1/snapshots/" + snapB["id"].get<std::string>(), {{"data", {{"online", true}}}}).status, 200);
    EXPECT_EQ(diskSerials(kHost), (std::vector<std::string>{volB.serialNumber, snapB["serial_number"]}));

    // A volume-scoped snapshot has a target of its own: offered once online, then logged in.
    EXPECT_EQ(sim.iscsiLogin(kHost, snapA["target_name"]).status, kNotFound);
    ASSERT_EQ(rest.rest("PUT", "/v1/snapshots/" + snapA["id"].get<std::string>(), {{"data", {{"online", true}}}}).status, 200);
    ASSERT_EQ(sim.iscsiLogin(kHost, snapA["target_name"]).status, 0u);
    EXPECT_EQ(diskSerials(kHost).size(), 3u);
}

// What a host reads of a virtual disk and its backing volume (vendor, designators, the device
// id in the metadata, a misreported designator): tests/e2e, virtual disks and import.
TEST_F(HostChannel, VirtualDisksAreSeenThroughTheAclAloneAndNotByTheMultipathDriver) {
    arraysim::VolumeSpec named = volume("vm-a", "volume", kHost);
    named.presentation = "virtual_disk";
    named.metadata = {{arraysim::kVirtualDeviceIdKey, "6000c2900000000000000000000000aa"}};
    const auto vmA = sim.addVolume(group.id, named);
    arraysim::VolumeSpec madeUp = volume("vm-b", "volume", kOtherHost);
    madeUp.presentation = "virtual_disk";
    const auto vmB = sim.addVolume(group.id, madeUp);
    EXPECT_EQ(vmA.virtualDiskSerial, "6000c2900000000000000000000000aa");
    ASSERT_EQ(vmB.virtualDiskSerial.size(), 32u);
    EXPECT_NE(vmB.virtualDiskSerial, vmB.serialNumber);
    arraysim::VolumeSpec bad = volume("vm-c", "volume", kHost);
    bad.presentation = "hypervisor";
    EXPECT_THROW(sim.addVolume(group.id, bad), std::invalid_argument);

    // Without any session: the virtual disk is there, the array LUNs are not; the multipath
    // driver claims none of it. A LUN seen over iSCSI mixes with it.
    EXPECT_EQ(diskSerials(kHost), std::vector<std::string>{vmA.virtualDiskSerial});
    EXPECT_EQ(diskSerials(kOtherHost), std::vector<std::string>{vmB.virtualDiskSerial});
    ASSERT_EQ(sim.iscsiLogin(kHost, volA.targetName).status, 0u);
    EXPECT_EQ(diskSerials(kHost), (std::vector<std::string>{volA.serialNumber, vmA.virtualDiskSerial}));
    EXPECT_EQ(sim.hostDsmRecord(kHost), arraysim::encodeDsmRecord({{volA.serialNumber, group.address}}));
    EXPECT_THROW(sim.misreportEui64(volA.serialNumber, "0011"), std::invalid_argument);
    EXPECT_THROW(sim.misreportEui64(volA.serialNumber, std::string(32, 'g')), std::invalid_argument);
}

}  // namespace
