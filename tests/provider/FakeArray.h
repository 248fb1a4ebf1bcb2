#pragma once
// A scripted array group for the provider's unit tests: it knows some volumes and snapshots
// by serial number and records every operation the provider asks of it.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "array/VaVssArrayWrapper.h"
#include "provider/SnapshotSetInfo.h"
#include "wincompat/Guid.h"

class FakeArray : public VaVssArrayWrapper {
 public:
  // The initiator the provider's tests give as this host's; every volume is presented to it.
  static constexpr const char* kThisHost = "iqn.1991-05.com.microsoft:provider-test";

  FakeArray(std::string uid, std::string address) : uid_(std::move(uid)), address_(std::move(address)) {}

  std::shared_ptr<Vantor::VolumeRecord> AddVolume(const std::string& serial, const std::string& name) {
    auto v = std::make_shared<Vantor::VolumeRecord>();
    v->mId = "vol-" + serial;
    v->mName = name;
    v->mSerialNumber = serial;
    v->mAccessInitiators = {kThisHost};
    volumes_[serial] = v;
    return v;
  }
  void AddSnapshot(const std::string& serial, const std::string& name, const std::string& volumeName) {
    auto s = std::make_shared<Vantor::SnapshotRecord>();
    s->mId = "snap-" + serial;
    s->mName = name;
    s->mSerialNumber = serial;
    s->mVolName = volumeName;
    snapshots_[serial] = s;
  }

  const std::string& GetGroupUid() const override { return uid_; }
  std::string GetGroupAddress() const override { return address_; }
  void SetLoginInfo(const Vantor::LoginInfo& login) override { login_ = login; }
  const Vantor::LoginInfo& GetLoginInfo() const override { return login_; }

  bool FindVolume(const std::string& serial, bool deep, std::shared_ptr<Vantor::VolumeRecord>& out) override {
    return Find(volumes_, serial, deep, out);
  }
  bool FindSnapshot(const std::string& serial, bool deep, std::shared_ptr<Vantor::SnapshotRecord>& out) override {
    return Find(snapshots_, serial, deep, out);
  }
  bool FindSerial(const std::string& serial, std::shared_ptr<Vantor::VolumeRecord>& out) override {
    return FindVolume(serial, true, out);
  }
  bool FindSerial(const std::string& serial, std::shared_ptr<Vantor::SnapshotRecord>& out) override {
    return FindSnapshot(serial, true, out);
  }
  bool FindVirtualVolume(const std::string& serial, bool, std::shared_ptr<Vantor::VolumeRecord>& out) override {
    const auto it = virtualVolumes_.find(serial);
    if (it == virtualVolumes_.end()) return false;
    out = it->second;
    return true;
  }
  // A virtual machine's disk `diskSerial` backed by the array volume `serial`.
  void AddVirtualDisk(const std::string& diskSerial, const std::string& serial, const std::string& name) {
    auto v = AddVolume(serial, name);
    v->mIsVirtualVolume = true;
    virtualVolumes_[diskSerial] = v;
  }

  HRESULT CreateSnapshotSet(const GUID& set, const std::vector<std::shared_ptr<VaSnapshotInfo>>& luns) override {
    // How many callers are inside at once: the provider's lock allows one.
    const int inside = ++createsInFlight;
    int seen = mostCreatesInFlight.load();
    while (inside > seen && !mostCreatesInFlight.compare_exchange_weak(seen, inside)) {
    }
    if (duringCreate) duringCreate();
    if (createTakesMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(createTakesMs));
    --createsInFlight;
    operations.push_back("create:" + std::to_string(luns.size()));
    if (failCreate) return VSS_E_PROVIDER_VETO;
    for (const auto& lun : luns) {
      Vantor::SnapshotRecord made;
      made.mId = "snap-of-" + lun->mSourceSerialNumber;
      made.mName = "vss-" + lun->mVolumeName;
      made.mVolName = lun->mVolumeName;
      onArray.push_back(made);
      setOf[made.mId] = wincompat::GuidToString(set);
      lun->mSnapshotId = made.mId;
      lun->mSnapshotName = made.mName;
      lun->mSnapshotSerialNumber = "s" + lun->mSourceSerialNumber;
      lun->mSnapshotExists = true;
    }
    return S_OK;
  }
  HRESULT FindSnapshotsOfSet(const GUID& set, std::vector<Vantor::SnapshotRecord>& found) override {
    operations.push_back("find-set");
    found.clear();
    for (const auto& s : onArray)
      if (setOf[s.mId] == wincompat::GuidToString(set)) found.push_back(s);
    return S_OK;
  }
  HRESULT OfflineSnapshot(const std::string& id, const std::string&, const std::string&) override {
    operations.push_back("offline:" + id);
    return S_OK;
  }
  HRESULT DeleteSnapshot(const std::string& id, const std::string&, const std::string&) override {
    operations.push_back("delete:" + id);
    if (failDelete || deleteFailures > 0) {
      deleteFailures = std::max(0, deleteFailures - 1);
      return E_FAIL;
    }
    std::erase_if(onArray, [&](const Vantor::SnapshotRecord& s) { return s.mId == id; });
    return S_OK;
  }
  HRESULT OnlineSnapshot(const Vantor::SnapshotRecord& s) override {
    operations.push_back("online:" + s.mId);
    return S_OK;
  }
  HRESULT ExposeTarget(const Vantor::SnapshotRecord& s, DWORD) override {
    operations.push_back("expose:" + s.mId);
    return exposeResults.empty() ? S_OK : Next(exposeResults);
  }
  HRESULT ExposeTarget(const Vantor::VolumeRecord& v, DWORD) override {
    operations.push_back("expose-volume:" + v.mId);
    return S_OK;
  }
  HRESULT UnexposeSnapshot(const Vantor::SnapshotRecord& s) override {
    operations.push_back("unexpose:" + s.mId);
    return S_OK;
  }
  HRESULT OnlineVolume(const Vantor::VolumeRecord& v) override {
    operations.push_back("online-volume:" + v.mId);
    if (onlineFailures != 0) {
      if (onlineFailures > 0) --onlineFailures;
      return E_FAIL;
    }
    offline.erase(v.mId);
    return S_OK;
  }
  // What the offline answers, and when the array carries it out: at once, after so many reads
  // of the state (an offline whose answer was lost, done late), or never.
  HRESULT OfflineVolume(const Vantor::VolumeRecord& v) override {
    operations.push_back("offline-volume:" + v.mId);
    if (offlineDoneAfterReads == 0) offline.insert(v.mId);
    else if (offlineDoneAfterReads > 0) lateOffline = v.mId;
    return offlineAnswer;
  }
  HRESULT ReadVolumeOnline(const Vantor::VolumeRecord& v, bool& online) override {
    operations.push_back("read-volume:" + v.mId);
    if (!lateOffline.empty() && --offlineDoneAfterReads == 0) offline.insert(std::exchange(lateOffline, ""));
    online = offline.count(v.mId) == 0;
    return S_OK;
  }
  HRESULT RestoreVolume(const Vantor::VolumeRecord& v, const Vantor::SnapshotRecord& s) override {
    operations.push_back("restore:" + v.mId + "<-" + s.mId);
    return failRestore ? E_FAIL : S_OK;
  }
  bool IsArraySupported(std::string& version) override {
    version = "6.0.0.0-1-opt";
    return supported;
  }
  void LogMessageToGMD(const std::string& message, const std::string&) override { messages.push_back(message); }

  void PutEverythingInCache() { inCache_ = true; }
  // How many of the operations begin with `prefix`.
  int Count(const std::string& prefix) const {
    return static_cast<int>(std::ranges::count_if(operations, [&](const std::string& op) { return op.starts_with(prefix); }));
  }

  std::vector<std::string> operations;
  std::vector<std::string> lookups;
  std::vector<std::string> messages;
  std::vector<HRESULT> exposeResults;
  // Snapshots the group holds (made by its creates, until deleted).
  std::vector<Vantor::SnapshotRecord> onArray;
  bool failCreate = false;
  bool failDelete = false;
  int deleteFailures = 0;  // so many deletes fail before they work again
  int onlineFailures = 0;  // so many onlines fail before they work again (-1: all)
  bool failRestore = false;
  HRESULT offlineAnswer = S_OK;
  int offlineDoneAfterReads = 0;  // -1: never
  std::string lateOffline;
  std::set<std::string> offline;             // volume ids the array holds offline
  std::map<std::string, std::string> setOf;  // snapshot id to the set id text it was made for
  bool supported = true;
  int createTakesMs = 0;
  std::function<void()> duringCreate;  // runs inside each create, before its delay
  std::atomic<int> createsInFlight{0};
  std::atomic<int> mostCreatesInFlight{0};

 private:
  // A lookup by serial: recorded, and answered from the cache only once it holds everything.
  template <class Record>
  bool Find(const std::map<std::string, std::shared_ptr<Record>>& records, const std::string& serial, bool deep,
            std::shared_ptr<Record>& out) {
    lookups.push_back((deep ? "deep:" : "cache:") + serial);
    const auto it = records.find(serial);
    if (it == records.end() || (!deep && !inCache_)) return false;
    out = it->second;
    return true;
  }
  static HRESULT Next(std::vector<HRESULT>& queue) {
    const HRESULT hr = queue.front();
    queue.erase(queue.begin());
    return hr;
  }
  std::string uid_;
  std::string address_;
  Vantor::LoginInfo login_;
  bool inCache_ = false;
  std::map<std::string, std::shared_ptr<Vantor::VolumeRecord>> volumes_;
  std::map<std::string, std::shared_ptr<Vantor::SnapshotRecord>> snapshots_;
  std::map<std::string, std::shared_ptr<Vantor::VolumeRecord>> virtualVolumes_;
};
