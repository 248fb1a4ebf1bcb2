#include "MatrixHost.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "SimTestClient.h"
#include "array/VaVssArrayWrapper.h"
#include "discovery/CertificatePins.h"
#include "platform/Registry.h"
#include "provider/ArrayAccess.h"
#include "provider/LunInformation.h"
#include "wincompat/VssTypes.h"

namespace faultmatrix {
namespace {

constexpr const char* kUser = "backup-operator";
constexpr const char* kPassword = "Matrix-Pa55word-4410";
constexpr DWORD kMaskLuns = 0x800;

// LUN descriptions side by side, as VSS passes them.
class LunArray {
 public:
  explicit LunArray(const std::vector<std::string>& serials) : owned_(serials.size()) {
    for (std::size_t i = 0; i < serials.size(); ++i)
      provider::BuildLunInformation(owned_[i].get(), "Vantor", "Server", "1.0", serials[i], {});
    for (auto& lun : owned_) view_.push_back(lun.get());
  }
  VDS_LUN_INFORMATION* data() { return view_.data(); }
  LONG size() const { return static_cast<LONG>(view_.size()); }

 private:
  std::vector<provider::OwnedLunInformation> owned_;
  std::vector<VDS_LUN_INFORMATION> view_;
};

}  // namespace

bool Calls::AllSucceeded() const {
  return std::ranges::all_of(list, [](const auto& call) { return call.second == S_OK || call.second == VSS_S_ASYNC_FINISHED; });
}

bool Calls::Called(const std::string& name) const {
  return std::ranges::any_of(list, [&](const auto& call) { return call.first == name; });
}

std::string Calls::Text() const {
  std::ostringstream out;
  for (const auto& [name, hr] : list) out << name << "=0x" << std::hex << static_cast<unsigned>(hr) << std::dec << ' ';
  return out.str();
}

void ProviderRelease::operator()(CVaVssHwProvider* provider) const {
  if (provider != nullptr) static_cast<IVssHardwareSnapshotProviderEx*>(provider)->Release();
}

MatrixHost::MatrixHost() {
  for (const char* name : {"east", "west"}) {
    arraysim::GroupSpec spec;
    spec.name = name;
    spec.username = kUser;
    spec.password = kPassword;
    groups_.push_back(sim().addGroup(spec));
    // Trusted as `config add-group` would: the provider talks only to the pinned certificate.
    if (discovery::WriteCertificatePin(groups_.back().address, groups_.back().certificateSha256) != ERROR_SUCCESS)
      throw std::runtime_error("cannot pin the certificate of " + groups_.back().address);
    volumes_.push_back(host_.AddVolume(groups_.back().id, std::string(name) + "-data"));
  }
}

void MatrixHost::Reset() {
  sim().clearFaults();
  const std::string& initiator = host_.initiator();
  for (const auto& session : sim().hostSessions(initiator)) sim().iscsiLogout(initiator, session["session_id"]);
  // The host's journal of abandoned sets goes with the array state it describes.
  platform::TheRegistry().DeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\AbandonedSets");
  for (const auto& group : groups_) {
    simtest::RestClient client(group.address, group.restPort);
    if (client.login(kUser, kPassword).status != 201) throw std::runtime_error("cannot log in to reset " + group.name);
    const auto snapshots = client.rest("POST", "/v1/snapshots/search", {{"fields", {"id"}}}).json()["data"];
    for (const auto& snapshot : snapshots) {
      const std::string path = "/v1/snapshots/" + snapshot["id"].get<std::string>();
      client.rest("PUT", path, {{"data", {{"online", false}}}});
      if (client.rest("DELETE", path).status != 200) throw std::runtime_error("cannot delete " + path);
    }
    for (const auto& volume : volumes_) client.rest("PUT", "/v1/volumes/" + volume.id, {{"data", {{"online", true}}}});
  }
  sim().resetLog();
}

ProviderPtr MatrixHost::NewProvider() const {
  void* object = nullptr;
  if (CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, &object) != S_OK) return nullptr;
  ProviderPtr provider(static_cast<CVaVssHwProvider*>(static_cast<IVssHardwareSnapshotProviderEx*>(object)));
  const std::vector<arraysim::GroupInfo> groups = groups_;
  provider->UseArrayAccess(provider::ArrayAccess{
      [groups] {
        std::map<std::string, Vantor::LoginInfo> found;
        for (const auto& g : groups) found.emplace(g.address, Vantor::LoginInfo(kUser, kPassword));
        return found;
      },
      [](const std::string&) { return std::string(); },
      [](const std::string&) { return provider::RestSupport::Supported; },
      [](const std::string& address, const Vantor::LoginInfo& login) {
        return std::make_shared<VaVssArrayWrapper>(address, login);
      }});
  // A volume the array will not put online is given up within the cell's time.
  provider::RestoreSettings restore = provider::DefaultRestoreSettings();
  restore.onlineDeadline = std::chrono::seconds(3);
  restore.retryPause = std::chrono::milliseconds(100);
  provider->UseRestoreSettings(restore);
  return provider;
}

Calls MatrixHost::CreateSet(CVaVssHwProvider& provider, const VSS_ID& set, bool finish) const {
  Calls calls;
  std::vector<std::string> serials;
  for (const auto& v : volumes_) serials.push_back(v.serialNumber);
  LunArray luns(serials);
  const auto abort = [&] {
    calls.Add("AbortSnapshots", provider.AbortSnapshots(set));
    return calls;
  };
  for (LONG i = 0; i < luns.size(); ++i) {
    if (calls.Add("BeginPrepareSnapshot",
                  provider.BeginPrepareSnapshot(set, wincompat::NewGuid(), 0, 1, nullptr, luns.data() + i)) != S_OK)
      return abort();
  }
  if (calls.Add("EndPrepareSnapshots", provider.EndPrepareSnapshots(set)) != S_OK ||
      calls.Add("PreCommitSnapshots", provider.PreCommitSnapshots(set)) != S_OK ||
      calls.Add("CommitSnapshots", provider.CommitSnapshots(set)) != S_OK)
    return abort();
  if (!finish) return calls;
  if (calls.Add("PostCommitSnapshots", provider.PostCommitSnapshots(set, luns.size())) != S_OK) return abort();
  std::vector<VDS_LUN_INFORMATION> targets(static_cast<std::size_t>(luns.size()));
  const HRESULT described = provider.GetTargetLuns(luns.size(), nullptr, luns.data(), targets.data());
  for (auto& target : targets) provider::FreeLunInformation(target);
  if (calls.Add("GetTargetLuns", described) != S_OK) return abort();
  calls.Add("PreFinalCommitSnapshots", provider.PreFinalCommitSnapshots(set));
  calls.Add("PostFinalCommitSnapshots", provider.PostFinalCommitSnapshots(set));
  return calls;
}

Calls MatrixHost::Import(CVaVssHwProvider& provider) const {
  Calls calls;
  LunArray luns(SnapshotSerials());
  calls.Add("LocateLuns", provider.LocateLuns(luns.size(), luns.data()));
  return calls;
}

Calls MatrixHost::Hide(CVaVssHwProvider& provider) const {
  Calls calls;
  LunArray luns(SnapshotSerials());
  calls.Add("OnLunStateChange",
            provider.OnLunStateChange(luns.data(), luns.data(), static_cast<DWORD>(luns.size()), kMaskLuns));
  return calls;
}

Calls MatrixHost::Resync(CVaVssHwProvider& provider) const {
  Calls calls;
  std::string snapshotOfLast;
  for (const auto& s : Records("snapshots"))
    if (s["vol_id"] == volumes_.back().id) snapshotOfLast = s["serial_number"];
  LunArray sources({snapshotOfLast});
  LunArray targets({volumes_.back().serialNumber});
  IVssAsync* async = nullptr;
  calls.Add("ResyncLuns", provider.ResyncLuns(sources.data(), targets.data(), 1, &async));
  if (async != nullptr) {
    HRESULT status = S_OK;
    async->Wait(INFINITE);
    async->QueryStatus(&status, nullptr);
    calls.Add("ResyncLuns.status", status);
    async->Release();
  }
  return calls;
}

std::vector<std::string> MatrixHost::SnapshotSerials() const {
  std::vector<std::string> serials;
  for (const auto& s : Records("snapshots")) serials.push_back(s["serial_number"]);
  return serials;
}

std::vector<nlohmann::json> MatrixHost::Records(const char* kind) const {
  std::vector<nlohmann::json> records;
  const nlohmann::json state = sim().state();
  for (const auto& g : state["groups"])
    for (const auto& r : g[kind]) records.push_back(r);
  return records;
}

}  // namespace faultmatrix
