// The machine-wide credential store through vantor-vss on the emulated host: add-group writes
// it only when elevated, show says where each credential comes from and whether the service's
// account can read it, remove-group takes it away, and no password reaches the output.
#include <gtest/gtest.h>

#include <fstream>

#include "EmulatedHostFixture.h"

namespace {

class ConfigCredentials : public EmulatedHostFixture {
 protected:
  void DescribeHost(const nlohmann::json& extra) {
    nlohmann::json host = nlohmann::json::parse(std::ifstream(hostA_.dir / "host.json"));
    host.update(extra);
    std::ofstream(hostA_.dir / "host.json") << host.dump();
  }
  nlohmann::json CredentialShown(const std::string& address) {
    const ToolRun shown = Vss({"config", "show"});
    EXPECT_EQ(shown.status, 0) << shown.output;
    EXPECT_EQ(shown.output.find("-pw"), std::string::npos) << "no password in the output";
    return shown.report["config"]["credentials"].value(address, nlohmann::json::object());
  }
};

TEST_F(ConfigCredentials, OnlyAnElevatedAdministratorChangesTheStoreAndShowSaysWhoCanReadIt) {
  const arraysim::GroupInfo alpha = AddGroup("alpha", {"vol1"});
  nlohmann::json credential = CredentialShown(alpha.address);
  EXPECT_EQ(credential["source"], "machine store");
  EXPECT_EQ(credential["user"], "admin");
  EXPECT_EQ(credential["service_can_read"], "yes") << credential.dump();
  EXPECT_NE(credential["service_account"].get<std::string>().find("LocalSystem"), std::string::npos);

  // A service that runs as an ordinary account cannot read the store; one in Administrators can.
  std::ofstream(hostA_.dir / "registry.reg", std::ios::app)
      << "\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider]\n"
         "\"ObjectName\"=\".\\\\backup\"\n";
  credential = CredentialShown(alpha.address);
  EXPECT_EQ(credential["service_can_read"], "no") << credential.dump();
  EXPECT_EQ(credential["service_account"], ".\\backup");
  DescribeHost({{"administrators", {".\\backup"}}});
  EXPECT_EQ(CredentialShown(alpha.address)["service_can_read"], "yes");

  // Without elevation nothing changes, and the refusal says why.
  DescribeHost({{"elevated", false}});
  const std::string before = RegistryText(hostA_);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"config", "add-group", "127.9.9.9", "--user", "admin", "--password-stdin"},
        std::vector<std::string>{"config", "remove-group", alpha.address}}) {
    const ToolRun refused = Vss(command, "other-pw\n");
    EXPECT_EQ(refused.status, 1) << refused.output;
    EXPECT_NE(refused.output.find("only an administrator may do"), std::string::npos) << refused.output;
  }
  EXPECT_EQ(RegistryText(hostA_), before);

  const ToolRun noPassword = Vss({"config", "add-group", "127.9.9.9", "--user", "admin"});
  EXPECT_EQ(noPassword.status, 2) << noPassword.output;

  DescribeHost({{"elevated", true}});
  const ToolRun removed = Vss({"config", "remove-group", alpha.address});
  EXPECT_EQ(removed.status, 0) << removed.output;
  EXPECT_EQ(RegistryText(hostA_).find("\"" + alpha.address + "\"=hex"), std::string::npos) << "the sealed value is gone";
  const ToolRun created = Vss({"create", Volume("vol1").serialNumber});
  EXPECT_NE(created.status, 0) << "a removed group has no credential left to log in with";
}

}  // namespace
