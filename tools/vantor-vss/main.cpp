// vantor-vss: drives the provider in-process the way VSS does, and checks a host's
// configuration. Exit status: 0 when every provider call returned S_OK, 1 otherwise, 2 for a
// usage error.
#include <CLI/CLI.hpp>
#include <iostream>

#include "ConfigCommands.h"
#include "HostSetup.h"
#include "Report.h"
#include "ShadowCopyCommands.h"

namespace {

constexpr int kUsageError = 2;

struct Options {
  std::string hostDir;
  std::string traceDir;
  bool json = false;
  vantorvss::CreateOptions create;
  std::string contextFlags;
  std::vector<std::string> serials;
  std::vector<std::string> pairs;
  std::string address;
  std::string user;
  bool passwordStdin = false;
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"vantor-vss: drives the Vantor VSS hardware provider the way VSS does"};
  app.set_version_flag("--version", std::string("vantor-vss ") + VANTOR_VERSION);
  app.require_subcommand(1);
  Options o;
  app.add_option("--host-dir", o.hostDir, "the emulated host: registry.reg, host.json, credentials");
  app.add_option("--trace-dir", o.traceDir, "where the trace goes (default: HOST_DIR/logs)");
  app.add_flag("--json", o.json, "print one JSON object");

  auto* disks = app.add_subcommand("disks", "the host's disks as VSS would pass them, and whether each is supported");
  auto* create = app.add_subcommand("create", "one shadow copy set over VOLUMEs (device names or LUN serial numbers)");
  create->add_option("--context", o.contextFlags, "comma list of transportable, autorecover, txf");
  create->add_option("--abort-after", o.create.abortAfter, "call AbortSnapshots after this phase")
      ->check(CLI::IsMember({"prepare", "commit", "postcommit"}));
  create->add_option("VOLUME", o.create.volumes)->required();
  auto* import = app.add_subcommand("import", "LocateLuns, then FillInLunInfo on each disk that appeared");
  import->add_option("SNAPSHOT_SERIAL", o.serials)->required();
  auto* hide = app.add_subcommand("hide", "OnLunStateChange with the mask flag");
  hide->add_option("SNAPSHOT_SERIAL", o.serials)->required();
  auto* empty = app.add_subcommand("empty", "OnLunEmpty");
  empty->add_option("SNAPSHOT_SERIAL", o.serials)->required();
  auto* resync = app.add_subcommand("resync", "ResyncLuns, in place");
  resync->add_option("PAIR", o.pairs, "SNAPSHOT_SERIAL=TARGET_SERIAL")->required();
  auto* doctor = app.add_subcommand("doctor", "configuration, discovered groups, REST support, credentials and version");
  auto* config = app.add_subcommand("config", "the provider's configuration");
  config->require_subcommand(1);
  auto* addGroup = config->add_subcommand("add-group", "adds ADDRESS to GroupMgmtIps and stores its credential");
  addGroup->add_option("ADDRESS", o.address)->required();
  addGroup->add_option("--user", o.user)->required();
  addGroup->add_flag("--password-stdin", o.passwordStdin, "read the password from standard input");
  auto* removeGroup = config->add_subcommand("remove-group", "removes ADDRESS and its credential");
  removeGroup->add_option("ADDRESS", o.address)->required();
  auto* showConfig = config->add_subcommand("show", "what the provider will read (passwords never shown)");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? 0 : kUsageError;
  }

  vantorvss::Report report;
  int status = 1;
  try {
    const vantorvss::InstalledHost host({o.hostDir, o.traceDir});
    const std::filesystem::path stateFile =
        (host.HostDir().empty() ? std::filesystem::current_path() : host.HostDir()) / "shadow-copies.json";
    if (*disks) {
      status = vantorvss::RunDisks(report);
    } else if (*create) {
      o.create.context = vantorvss::ParseContextFlags(o.contextFlags);
      status = vantorvss::RunCreate(o.create, stateFile, report);
    } else if (*import) {
      status = vantorvss::RunImport(o.serials, stateFile, report);
    } else if (*hide) {
      status = vantorvss::RunHide(o.serials, stateFile, report);
    } else if (*empty) {
      status = vantorvss::RunEmpty(o.serials, stateFile, report);
    } else if (*resync) {
      status = vantorvss::RunResync(o.pairs, stateFile, report);
    } else if (*doctor) {
      status = vantorvss::RunDoctor(report);
    } else if (*addGroup) {
      std::string password;
      if (o.passwordStdin) std::getline(std::cin, password);
      status = vantorvss::RunAddGroup(o.address, o.user, password, report);
    } else if (*removeGroup) {
      status = vantorvss::RunRemoveGroup(o.address, report);
    } else if (*showConfig) {
      status = vantorvss::RunShowConfig(report);
    }
    report.events = host.Events();
  } catch (const std::invalid_argument& e) {
    std::cerr << "vantor-vss: " << e.what() << "\n" << app.help();
    return kUsageError;
  } catch (const std::exception& e) {
    report.notes.push_back(std::string("error: ") + e.what());
    status = 1;
  }
  if (o.json) {
    report.PrintJson(std::cout);
  } else {
    report.PrintText(std::cout);
  }
  return status;
}
