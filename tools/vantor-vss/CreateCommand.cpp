// create: one shadow copy set over volumes of this host, called as VSS calls a hardware
// provider for a backup, and recorded in the shadow-copy document.
#include <memory>
#include <sstream>

#include "Commands.h"
#include "LunCatalog.h"
#include "LunJson.h"
#include "ShadowCopyDocument.h"
#include "wincompat/Guid.h"
#include "wincompat/WideString.h"

namespace vantorvss {
namespace {

struct CreateOptions {
  std::vector<std::string> volumes;
  std::string contextFlags;
  std::string abortAfter;  // "", "prepare", "commit" or "postcommit"
};

// "transportable,autorecover,txf" -> VSS context bits.
LONG ParseContextFlags(const std::string& flags) {
  LONG context = 0;
  std::stringstream in(flags);
  std::string flag;
  while (std::getline(in, flag, ',')) {
    if (flag == "transportable") context |= VSS_VOLSNAP_ATTR_TRANSPORTABLE;
    else if (flag == "autorecover") context |= VSS_VOLSNAP_ATTR_AUTORECOVER;
    else if (flag == "txf") context |= VSS_VOLSNAP_ATTR_TXF_RECOVERY;
    else if (!flag.empty()) throw std::invalid_argument("unknown context flag '" + flag + "'");
  }
  return context;
}

int RunCreate(const CreateOptions& options, const CommandContext& where, Report& report) {
  const LONG context = ParseContextFlags(options.contextFlags);
  ShadowCopyDocument document = ShadowCopyDocument::Load(where.documentFile);
  VssRun vss;
  const auto disks = ListHostDisks();
  LunArray luns;
  std::vector<std::wstring> deviceNames;
  for (const auto& volume : options.volumes) {
    const auto disk = FindDisk(disks, volume);
    if (!disk) throw std::runtime_error("no disk of this host is " + volume);
    luns.Add(ToLunInformation(*disk));
    deviceNames.push_back(disk->device);
  }
  std::vector<VSS_PWSZ> devices;
  for (auto& name : deviceNames) devices.push_back(name.data());
  const LONG count = luns.count();

  // As the requester adds each volume (one LUN here): whether the provider supports its LUNs,
  // then the chance to correct their description. Only the first answer decides support.
  for (LONG i = 0; i < count; ++i) {
    if (!vss.AreLunsSupported(context, 1, &devices[i], &luns[i])) {
      report.notes.push_back("the provider does not support volume " + options.volumes[i]);
      return FinishRun(vss, report, false);
    }
    vss.FillInLunInfo(devices[i], luns[i]);
  }

  auto& hw = vss.Hardware();
  auto& sets = vss.SnapshotSet();
  const VSS_ID setId = wincompat::NewGuid();
  report.snapshotSetId = wincompat::GuidToString(setId);
  // After a failed call the status is 1 anyway; an abort that was asked for is a success.
  const auto abort = [&] {
    vss.Call("AbortSnapshots", [&] { return sets.AbortSnapshots(setId); });
    return FinishRun(vss, report);
  };
  std::vector<VSS_ID> snapshotIds;
  for (LONG i = 0; i < count; ++i) {
    snapshotIds.push_back(wincompat::NewGuid());
    const std::string serial = provider::LunString(luns[i].m_szSerialNumber);
    if (vss.Call("BeginPrepareSnapshot",
                 [&] { return hw.BeginPrepareSnapshot(setId, snapshotIds.back(), context, 1, &devices[i], &luns[i]); },
                 serial) != S_OK)
      return abort();
  }
  if (options.abortAfter == "prepare") return abort();
  if (vss.Call("EndPrepareSnapshots", [&] { return sets.EndPrepareSnapshots(setId); }) != S_OK ||
      vss.Call("PreCommitSnapshots", [&] { return sets.PreCommitSnapshots(setId); }) != S_OK)
    return abort();
  const HRESULT committed = vss.Call("CommitSnapshots", [&] { return sets.CommitSnapshots(setId); });
  report.commitMs = vss.Calls().back().ms;
  if (committed != S_OK || options.abortAfter == "commit") return abort();
  if (vss.Call("PostCommitSnapshots", [&] { return sets.PostCommitSnapshots(setId, count); }) != S_OK) return abort();

  LunArray targets;
  for (LONG i = 0; i < count; ++i) targets.Add(provider::OwnedLunInformation());
  const HRESULT described =
      vss.Call("GetTargetLuns", [&] { return hw.GetTargetLuns(count, devices.data(), luns.data(), targets.data()); });
  for (LONG i = 0; i < count; ++i)
    report.snapshots.push_back({provider::LunString(luns[i].m_szSerialNumber), provider::LunString(targets[i].m_szSerialNumber)});
  if (described != S_OK || options.abortAfter == "postcommit") return abort();
  if (vss.Call("PreFinalCommitSnapshots", [&] { return sets.PreFinalCommitSnapshots(setId); }) != S_OK) return abort();
  if (vss.Call("PostFinalCommitSnapshots", [&] { return sets.PostFinalCommitSnapshots(setId); }) != S_OK)
    return FinishRun(vss, report);

  ShadowCopySet set{report.snapshotSetId, context, UtcNow(), {}};
  for (LONG i = 0; i < count; ++i)
    set.volumes.push_back({wincompat::GuidToString(snapshotIds[static_cast<std::size_t>(i)]),
                           wincompat::ToNarrow(deviceNames[static_cast<std::size_t>(i)]), LunToJson(luns[i]),
                           LunToJson(targets[i])});
  document.Put(set);
  document.Save();
  return FinishRun(vss, report);
}

}  // namespace

void AddCreateCommand(CLI::App& app, CommandAction& chosen) {
  auto options = std::make_shared<CreateOptions>();
  auto* command = app.add_subcommand("create", "one shadow copy set over VOLUMEs (device names or LUN serial numbers)");
  command->add_option("--context", options->contextFlags, "comma list of transportable, autorecover, txf");
  command->add_option("--abort-after", options->abortAfter, "call AbortSnapshots after this phase")
      ->check(CLI::IsMember({"prepare", "commit", "postcommit"}));
  command->add_option("VOLUME", options->volumes)->required();
  command->callback([options, &chosen] {
    chosen = [options](const CommandContext& where, Report& report) { return RunCreate(*options, where, report); };
  });
}

}  // namespace vantorvss
