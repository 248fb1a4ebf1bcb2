#include "ShadowCopyCommands.h"

#include <sstream>
#include <stdexcept>

#include "LunCatalog.h"
#include "ProviderSession.h"
#include "wincompat/Guid.h"
#include "wincompat/WideString.h"

namespace vantorvss {
namespace {

// Ends a run: what the session called goes into the report, and the status follows the calls.
int Finish(const ProviderSession& session, Report& report, bool ok = true) {
  report.calls = session.Calls();
  return ok && session.AllSucceeded() ? 0 : 1;
}

std::vector<SnapshotLun> LoadSnapshots(const std::vector<std::string>& serials, const std::filesystem::path& stateFile) {
  const SnapshotStore store(stateFile);
  std::vector<SnapshotLun> luns;
  for (const auto& serial : serials) {
    auto lun = store.Find(serial);
    if (!lun) throw std::runtime_error("no shadow copy of this host has a snapshot LUN " + serial);
    luns.push_back(*lun);
  }
  return luns;
}

// LUN descriptions in one contiguous array, as VSS passes them.
class LunArray {
 public:
  void Add(provider::OwnedLunInformation lun) { owned_.push_back(std::move(lun)); }
  std::vector<VDS_LUN_INFORMATION>& View() {
    view_.clear();
    for (auto& lun : owned_) view_.push_back(lun.get());
    return view_;
  }
  // Copies changes the provider made through View() back to the owners (which free them).
  void TakeBack() {
    for (std::size_t i = 0; i < view_.size(); ++i) owned_[i].get() = view_[i];
  }
  std::size_t size() const { return owned_.size(); }

 private:
  std::vector<provider::OwnedLunInformation> owned_;
  std::vector<VDS_LUN_INFORMATION> view_;
};

}  // namespace

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

int RunDisks(Report& report) {
  ProviderSession session;
  const auto disks = ListHostDisks();
  nlohmann::json list = nlohmann::json::array();
  for (const auto& disk : disks) {
    LunArray luns;
    luns.Add(ToLunInformation(disk));
    std::wstring device = disk.device;
    VSS_PWSZ devices[] = {device.data()};
    WINBOOL supported = FALSE;
    session.Run("AreLunsSupported", [&] {
      return session.Hardware().AreLunsSupported(1, 0, devices, luns.View().data(), &supported);
    });
    luns.TakeBack();
    const std::string deviceText = wincompat::ToNarrow(disk.device);
    report.notes.push_back(deviceText + "  " + disk.vendor + " " + disk.product + " " + disk.serial +
                           (supported ? "  supported" : "  not supported"));
    list.push_back({{"device", deviceText}, {"vendor", disk.vendor}, {"product", disk.product},
                    {"serial", disk.serial}, {"supported", supported != FALSE}});
  }
  report.extra["disks"] = list;
  return Finish(session, report);
}

int RunCreate(const CreateOptions& options, const std::filesystem::path& stateFile, Report& report) {
  ProviderSession session;
  const auto disks = ListHostDisks();
  std::vector<HostDisk> chosen;
  for (const auto& volume : options.volumes) {
    auto disk = FindDisk(disks, volume);
    if (!disk) throw std::runtime_error("no disk of this host is " + volume);
    chosen.push_back(*disk);
  }
  LunArray luns;
  std::vector<std::wstring> deviceNames;
  for (const auto& disk : chosen) {
    luns.Add(ToLunInformation(disk));
    deviceNames.push_back(disk.device);
  }
  std::vector<VSS_PWSZ> devices;
  for (auto& name : deviceNames) devices.push_back(name.data());
  const auto count = static_cast<LONG>(chosen.size());
  auto& hw = session.Hardware();
  auto& set = session.SnapshotSet();

  WINBOOL supported = FALSE;
  session.Run("AreLunsSupported", [&] {
    return hw.AreLunsSupported(count, options.context, devices.data(), luns.View().data(), &supported);
  });
  luns.TakeBack();
  if (!supported) {
    report.notes.push_back("the provider does not support this set of LUNs");
    return Finish(session, report, false);
  }
  for (LONG i = 0; i < count; ++i) {
    WINBOOL filled = FALSE;
    session.Run("FillInLunInfo", [&] { return hw.FillInLunInfo(devices[i], &luns.View()[i], &filled); });
    luns.TakeBack();
    if (!filled) {
      report.notes.push_back("FillInLunInfo refused " + chosen[i].serial);
      return Finish(session, report, false);
    }
  }

  const VSS_ID setId = wincompat::NewGuid();
  report.snapshotSetId = wincompat::GuidToString(setId);
  auto abort = [&] { session.Run("AbortSnapshots", [&] { return set.AbortSnapshots(setId); }); };
  for (LONG i = 0; i < count; ++i) {
    const HRESULT hr = session.Run("BeginPrepareSnapshot", [&] {
      return hw.BeginPrepareSnapshot(setId, wincompat::NewGuid(), options.context, 1, &devices[i], &luns.View()[i]);
    });
    if (hr != S_OK) {
      abort();
      return Finish(session, report);
    }
  }
  if (options.abortAfter == "prepare") {
    abort();
    return Finish(session, report);
  }
  if (session.Run("EndPrepareSnapshots", [&] { return set.EndPrepareSnapshots(setId); }) != S_OK ||
      session.Run("PreCommitSnapshots", [&] { return set.PreCommitSnapshots(setId); }) != S_OK) {
    abort();
    return Finish(session, report);
  }
  const HRESULT committed = session.Run("CommitSnapshots", [&] { return set.CommitSnapshots(setId); });
  report.commitMs = session.Calls().back().ms;
  if (committed != S_OK || options.abortAfter == "commit") {
    abort();
    return Finish(session, report);
  }
  if (session.Run("PostCommitSnapshots", [&] { return set.PostCommitSnapshots(setId, count); }) != S_OK) {
    abort();
    return Finish(session, report);
  }
  std::vector<VDS_LUN_INFORMATION> targets(chosen.size());
  const HRESULT described = session.Run("GetTargetLuns", [&] {
    return hw.GetTargetLuns(count, devices.data(), luns.View().data(), targets.data());
  });
  std::vector<SnapshotLun> snapshotLuns;
  for (const auto& s : session.Provider().DescribeSnapshotSet(setId)) {
    report.snapshots.push_back({s.sourceSerial, s.snapshotSerial, s.snapshotName});
    for (std::size_t i = 0; i < chosen.size(); ++i)
      if (chosen[i].serial == s.sourceSerial && targets[i].m_szSerialNumber)
        snapshotLuns.push_back(FromTargetLun(targets[i], s.sourceSerial, s.snapshotName));
  }
  for (auto& target : targets) provider::FreeLunInformation(target);
  if (described != S_OK || options.abortAfter == "postcommit") {
    abort();
    return Finish(session, report);
  }
  session.Run("PreFinalCommitSnapshots", [&] { return set.PreFinalCommitSnapshots(setId); });
  session.Run("PostFinalCommitSnapshots", [&] { return set.PostFinalCommitSnapshots(setId); });
  SnapshotStore(stateFile).Add(snapshotLuns);
  return Finish(session, report);
}

int RunImport(const std::vector<std::string>& serials, const std::filesystem::path& stateFile, Report& report) {
  const auto snapshots = LoadSnapshots(serials, stateFile);
  ProviderSession session;
  LunArray luns;
  for (const auto& s : snapshots) luns.Add(ToLunInformation(s));
  const HRESULT located = session.Run("LocateLuns", [&] {
    return session.Hardware().LocateLuns(static_cast<LONG>(luns.size()), luns.View().data());
  });
  bool identitiesMatch = located == S_OK;
  nlohmann::json imported = nlohmann::json::array();
  const auto disks = ListHostDisks();
  for (const auto& s : snapshots) {
    const auto disk = FindDisk(disks, s.snapshotSerial);
    if (!disk) {
      report.notes.push_back("snapshot " + s.snapshotSerial + " did not appear as a disk");
      identitiesMatch = false;
      continue;
    }
    LunArray diskLun;
    diskLun.Add(ToLunInformation(*disk));
    std::wstring device = disk->device;
    WINBOOL filled = FALSE;
    session.Run("FillInLunInfo", [&] { return session.Hardware().FillInLunInfo(device.data(), &diskLun.View()[0], &filled); });
    diskLun.TakeBack();
    const SnapshotLun seen = FromTargetLun(diskLun.View()[0], s.sourceSerial, s.snapshotName);
    const bool same = filled && seen.identifiers.size() == s.identifiers.size() &&
                      std::equal(seen.identifiers.begin(), seen.identifiers.end(), s.identifiers.begin(),
                                 [](const auto& a, const auto& b) { return a.bytes == b.bytes && a.type == b.type; });
    identitiesMatch = identitiesMatch && same;
    const std::string deviceText = wincompat::ToNarrow(device);
    report.notes.push_back("snapshot " + s.snapshotSerial + " is " + deviceText +
                           (same ? ", identity as GetTargetLuns gave it" : ", identity DIFFERS from GetTargetLuns"));
    imported.push_back({{"snapshot_serial", s.snapshotSerial}, {"device", deviceText}, {"identity_matches", same}});
  }
  report.extra["imported"] = imported;
  return Finish(session, report, identitiesMatch);
}

int RunHide(const std::vector<std::string>& serials, const std::filesystem::path& stateFile, Report& report) {
  const auto snapshots = LoadSnapshots(serials, stateFile);
  ProviderSession session;
  LunArray luns;
  for (const auto& s : snapshots) luns.Add(ToLunInformation(s));
  auto& view = luns.View();
  session.Run("OnLunStateChange", [&] {
    return session.Hardware().OnLunStateChange(view.data(), view.data(), static_cast<DWORD>(view.size()),
                                               VSS_ONLUNSTATECHANGE_DO_MASK_LUNS);
  });
  return Finish(session, report);
}

int RunEmpty(const std::vector<std::string>& serials, const std::filesystem::path& stateFile, Report& report) {
  const auto snapshots = LoadSnapshots(serials, stateFile);
  ProviderSession session;
  for (const auto& s : snapshots) {
    LunArray lun;
    lun.Add(ToLunInformation(s));
    std::wstring device;
    session.Run("OnLunEmpty", [&] { return session.Hardware().OnLunEmpty(device.data(), &lun.View()[0]); });
  }
  return Finish(session, report);
}

int RunResync(const std::vector<std::string>& pairs, const std::filesystem::path& stateFile, Report& report) {
  std::vector<std::string> snapshotSerials;
  std::vector<std::string> targetSerials;
  for (const auto& pair : pairs) {
    const auto eq = pair.find('=');
    if (eq == std::string::npos || eq == 0 || eq + 1 == pair.size())
      throw std::invalid_argument("resync takes SNAPSHOT_SERIAL=TARGET_SERIAL, not '" + pair + "'");
    snapshotSerials.push_back(pair.substr(0, eq));
    targetSerials.push_back(pair.substr(eq + 1));
  }
  const auto snapshots = LoadSnapshots(snapshotSerials, stateFile);
  ProviderSession session;
  const auto disks = ListHostDisks();
  LunArray sources;
  LunArray targets;
  for (std::size_t i = 0; i < snapshots.size(); ++i) {
    sources.Add(ToLunInformation(snapshots[i]));
    const auto disk = FindDisk(disks, targetSerials[i]);
    if (disk) {
      targets.Add(ToLunInformation(*disk));
    } else {
      // A volume this host does not see is described by its serial alone, as VSS would.
      targets.Add(ToLunInformation(HostDisk{L"", "Vantor", "Server", "", targetSerials[i], {}}));
    }
  }
  IVssAsync* async = nullptr;
  session.Run("ResyncLuns", [&] {
    return session.Hardware().ResyncLuns(sources.View().data(), targets.View().data(),
                                         static_cast<DWORD>(sources.size()), &async);
  });
  if (async != nullptr) {
    HRESULT status = S_OK;
    async->Wait(INFINITE);
    async->QueryStatus(&status, nullptr);
    report.notes.push_back("resync status " + HresultText(status));
    async->Release();
  }
  return Finish(session, report);
}

}  // namespace vantorvss
