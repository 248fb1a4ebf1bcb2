// Array certificates end to end: `config add-group` pins what the array presents, a replaced
// certificate gets no REST request from the provider until `config trust`, and the pin options
// refuse what does not fit.
#include <cctype>
#include <fstream>
#include <iterator>

#include "EmulatedHostFixture.h"

namespace {

int RestRequests(const nlohmann::json& log, const std::string& groupId) {
  int total = 0;
  if (!log["groups"].contains(groupId)) return 0;
  for (const auto& [op, n] : log["groups"][groupId]["counts"].items())
    if (op != "soap") total += n.get<int>();  // the protocol query carries no secret
  return total;
}

}  // namespace

using CertificatePinning = EmulatedHostFixture;

// The pin a group configured without vantor-vss gets at first use holds like one of add-group.
TEST_F(CertificatePinning, PinMadeAtFirstUseGetsARenewedCertificateNoRequestUntilTrustedAgain) {
  const auto group = AddGroup("east", {"data"});
  const std::string pinned = group.certificateSha256;
  // As GroupMgmtIps with a stored credential, or a build without pins, leaves it: no pin.
  std::ifstream in(hostA_.dir / "registry.reg");
  std::string kept, line;
  while (std::getline(in, line))
    if (line.rfind("\"" + group.address + "\"=\"", 0) != 0) kept += line + "\n";
  in.close();
  std::ofstream(hostA_.dir / "registry.reg", std::ios::trunc) << kept;
  ASSERT_EQ(RegistryText(hostA_).find(pinned), std::string::npos);

  const ToolRun first = Vss({"create", Volume("data").serialNumber});
  EXPECT_EQ(first.status, 0) << first.output;
  EXPECT_TRUE(first.HasEvent(4420)) << first.output;
  EXPECT_NE(RegistryText(hostA_).find(pinned), std::string::npos);
  EXPECT_NE(Trace().find("Pinned the certificate of " + group.address + " at first use: SHA-256 " + pinned),
            std::string::npos);
  const ToolRun shown = Vss({"config", "show"});
  EXPECT_TRUE(shown.report["config"]["certificates"][group.address]["pinned_at_first_use"].get<bool>()) << shown.output;
  EXPECT_TRUE(shown.report["config"]["certificates"][group.address]["presents_pinned"].get<bool>()) << shown.output;

  const std::string renewed = sim_->renewCertificate(group.id).certificateSha256;
  sim_->resetLog();
  const ToolRun refused = Vss({"create", Volume("data").serialNumber});
  EXPECT_EQ(refused.status, 1) << refused.output;
  EXPECT_EQ(RestRequests(sim_->requestLog(), group.id), 0) << sim_->requestLog().dump();
  EXPECT_EQ(SnapshotCount(), 1u);
  const std::string trace = Trace();
  EXPECT_NE(trace.find(renewed), std::string::npos);
  EXPECT_NE(trace.find(pinned), std::string::npos);
  const ToolRun doctor = Vss({"doctor"});
  EXPECT_NE(doctor.output.find("pinned at first use " + pinned + "; the array presents ANOTHER certificate " + renewed),
            std::string::npos) << doctor.output;

  // Trusting the presented certificate re-pins.
  const ToolRun trusted = Vss({"config", "trust", group.address, "--certificate-sha256", renewed});
  ASSERT_EQ(trusted.status, 0) << trusted.output;
  EXPECT_EQ(RegistryText(hostA_).find(pinned), std::string::npos);  // the first-use mark went with the old pin
  const ToolRun created = Vss({"create", Volume("data").serialNumber});
  EXPECT_EQ(created.status, 0) << created.output;
  EXPECT_FALSE(created.HasEvent(4420));
  EXPECT_EQ(SnapshotCount(), 2u);
}

TEST_F(CertificatePinning, AddGroupStoresNothingForAWrongOrMalformedFingerprint) {
  arraysim::GroupSpec spec;
  spec.name = "west";
  const auto group = sim_->addGroup(spec);
  const std::string other(64, 'a');
  struct Case {
    std::string fingerprint;
    int status;
  };
  for (const Case& c : {Case{other, 1}, Case{"12:34", 2}, Case{group.certificateSha256 + "00", 2},
                        Case{std::string(64, 'g'), 2}}) {
    const ToolRun added = Vss({"config", "add-group", group.address, "--user", "admin", "--password-stdin",
                               "--certificate-sha256", c.fingerprint},
                              "admin\n");
    EXPECT_EQ(added.status, c.status) << c.fingerprint << ": " << added.output;
    EXPECT_EQ(RegistryText(hostA_).find(group.address), std::string::npos) << c.fingerprint;
  }
  // The presented one, in upper case with separators as other tools print it, is accepted.
  std::string printed;
  for (std::size_t i = 0; i < group.certificateSha256.size(); i += 2) {
    if (i) printed += ':';
    printed += static_cast<char>(std::toupper(group.certificateSha256[i]));
    printed += static_cast<char>(std::toupper(group.certificateSha256[i + 1]));
  }
  const ToolRun added = Vss({"config", "add-group", group.address, "--user", "admin", "--password-stdin",
                             "--certificate-sha256", printed},
                            "admin\n");
  ASSERT_EQ(added.status, 0) << added.output;
  EXPECT_EQ(added.report["certificate_sha256"], group.certificateSha256);
  EXPECT_NE(RegistryText(hostA_).find(group.certificateSha256), std::string::npos);
}
