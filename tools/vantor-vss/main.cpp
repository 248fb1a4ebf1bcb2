// vantor-vss: drives the provider (in-process, or the installed service's) the way VSS does,
// and checks a host's configuration. Exit status: 0 when every provider call returned S_OK and
// the command did what it should, 1 otherwise, 2 for a usage error or an unusable shadow-copy
// document.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "CertificateCommands.h"
#include "Commands.h"
#include "ConfigCommands.h"
#include "HostChecks.h"
#include "HostSetup.h"
#include "ProviderSession.h"
#include "Report.h"
#include "ShadowCopyDocument.h"

namespace {

constexpr int kUsageError = 2;

struct Options {
  std::string hostDir;
  std::string traceDir;
  std::string provider = "in-process";
  bool json = false;
  std::string address;
  std::string user;
  bool passwordStdin = false;
  std::string certificateSha256;
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
  app.add_option("--provider", o.provider,
                 "in-process (default), or installed: the installed service's provider, created through COM "
                 "as VSS creates it (Windows)");

  vantorvss::CommandAction chosen;
  vantorvss::AddDisksCommand(app, chosen);
  vantorvss::AddCreateCommand(app, chosen);
  vantorvss::AddImportCommand(app, chosen);
  vantorvss::AddDeleteCommand(app, chosen);
  vantorvss::AddListCommand(app, chosen);
  vantorvss::AddHideCommand(app, chosen);
  vantorvss::AddEmptyCommand(app, chosen);
  vantorvss::AddResyncCommand(app, chosen);
  vantorvss::AddSnapshotsCommand(app, chosen);
  vantorvss::AddPruneCommand(app, chosen);
  auto* doctor = app.add_subcommand("doctor", "configuration, groups (REST, credentials, version), registration, service, trace and host files");
  auto* config = app.add_subcommand("config", "the provider's configuration");
  config->require_subcommand(1);
  auto* addGroup = config->add_subcommand("add-group", "adds ADDRESS to GroupMgmtIps and stores its credential");
  addGroup->add_option("ADDRESS", o.address)->required();
  addGroup->add_option("--user", o.user)->required();
  addGroup->add_flag("--password-stdin", o.passwordStdin, "read the password from standard input");
  addGroup->add_option("--certificate-sha256", o.certificateSha256,
                       "the SHA-256 of the certificate the array must present (default: trust what it presents now)");
  auto* trust = config->add_subcommand("trust", "pins the certificate the array at ADDRESS presents now");
  trust->add_option("ADDRESS", o.address)->required();
  trust->add_option("--certificate-sha256", o.certificateSha256, "refuse unless the array presents this one");
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
    vantorvss::ProviderSession::UseSource(vantorvss::ParseProviderSource(o.provider));
    const vantorvss::InstalledHost host({o.hostDir, o.traceDir});
    const vantorvss::CommandContext context{
        (host.HostDir().empty() ? std::filesystem::current_path() : host.HostDir()) / "shadow-copies.json",
        host.HostDir()};
    if (chosen) {
      try {
        status = chosen(context, report);
      } catch (const vantorvss::DocumentError& e) {
        report.notes.push_back(std::string("error: ") + e.what());
        status = kUsageError;
      }
    } else if (*doctor) {
      status = vantorvss::RunDoctor(report);
      status = std::max(status, vantorvss::RunHostChecks(host.HostDir(), host.TracePath().parent_path(), report));
    } else if (*addGroup) {
      const std::string expected = o.certificateSha256.empty() ? "" : vantorvss::ParseCertificateSha256(o.certificateSha256);
      status = vantorvss::RunAddGroup(o.address, o.user, o.passwordStdin, expected, report);
    } else if (*trust) {
      const std::string expected = o.certificateSha256.empty() ? "" : vantorvss::ParseCertificateSha256(o.certificateSha256);
      status = vantorvss::RunTrust(o.address, expected, report);
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
  if (status == kUsageError && !report.notes.empty()) std::cerr << "vantor-vss: " << report.notes.back() << "\n";
  if (o.json) {
    report.PrintJson(std::cout);
  } else {
    report.PrintText(std::cout);
  }
  return status;
}
