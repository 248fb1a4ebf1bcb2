#pragma once
// The provider's one door to one array group. Each operation is a short sequence of REST
// requests or iSCSI steps with a log line before and after; failures are caught here, logged
// with the operation and the failing array call, and returned as a result, never thrown.
// Retries and re-authentication happen below, in the request framework.
//
// The public operations are virtual so that the provider's tests can put a fake in its place.
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "array/ArrayRecords.h"
#include "array/LoginInfo.h"
#include "wincompat/Guid.h"
#include "wincompat/WinTypes.h"

struct VaSnapshotInfo;

namespace Vantor {
class Array;
}

// A request whose answer never came or could not be read (lost connection, timeout, an answer
// without the array's error messages): the array may have carried it out, or may still.
inline constexpr HRESULT VA_E_OUTCOME_UNKNOWN = static_cast<HRESULT>(0x800705B4u);  // ERROR_TIMEOUT

// The name under which the provider's sessions show in the array's audit log.
inline constexpr const char* kVssAgentName = "VSS Agent";

class VaVssArrayWrapper {
 public:
  // Connects to the group at `groupAddress` and reads its id; throws when that fails (the
  // provider's array cache logs and skips the group).
  VaVssArrayWrapper(const std::string& groupAddress, const Vantor::LoginInfo& loginInfo);
  virtual ~VaVssArrayWrapper();
  VaVssArrayWrapper(const VaVssArrayWrapper&) = delete;
  VaVssArrayWrapper& operator=(const VaVssArrayWrapper&) = delete;

  // The group id (the key of the provider's array cache).
  virtual const std::string& GetGroupUid() const;
  // The management address whose login information the wrapper uses; empty when it runs on
  // the default credentials.
  virtual const std::string& GetConfiguredAddress() const { return mConfiguredAddress; }
  virtual void SetConfiguredAddress(const std::string& address) { mConfiguredAddress = address; }
  virtual const Vantor::LoginInfo& GetLoginInfo() const;
  // New login information takes effect at the next request (logout, then login). A credential
  // is taken only when the configured address is the one the session talks to; otherwise the
  // session is set to the default credentials.
  virtual void SetLoginInfo(const Vantor::LoginInfo& loginInfo);
  // The address the session talks to.
  virtual std::string GetGroupAddress() const;
  // Until cleared (std::nullopt), every request to the array must be over by `deadline`; one
  // that is not fails like an array that does not answer.
  virtual void SetExchangeDeadline(std::optional<std::chrono::steady_clock::time_point> deadline);

  // One lookup pass by serial number. Without deep discovery only the records found before are
  // consulted; with it the array is asked and its answer replaces the cached one. A failing
  // query is logged and counts as not found.
  virtual bool FindVolume(const std::string& serialNumber, bool deepDiscovery,
                          std::shared_ptr<Vantor::VolumeRecord>& volume);
  // A snapshot found on the array also carries its target scope, the virtual-volume mark of
  // its parent and the target name to log in to.
  virtual bool FindSnapshot(const std::string& serialNumber, bool deepDiscovery,
                            std::shared_ptr<Vantor::SnapshotRecord>& snapshot);
  // The cached pass, then the deep one when the first found nothing.
  virtual bool FindSerial(const std::string& serialNumber, std::shared_ptr<Vantor::VolumeRecord>& volume);
  virtual bool FindSerial(const std::string& serialNumber, std::shared_ptr<Vantor::SnapshotRecord>& snapshot);
  // The virtual volume behind a virtual machine's disk, by the disk's serial number (any case).
  virtual bool FindVirtualVolume(const std::string& deviceSerialNumber, bool deepDiscovery,
                                 std::shared_ptr<Vantor::VolumeRecord>& volume);

  // Takes one snapshot of every volume behind `luns` as one consistent set and fills each
  // LUN's snapshot fields. VSS_E_PROVIDER_VETO when no volume was named, when the array made
  // a different number of snapshots, or on any array failure.
  virtual HRESULT CreateSnapshotSet(const GUID& snapshotSetId, const std::vector<std::shared_ptr<VaSnapshotInfo>>& luns);
  // The array half: one bulk create for `volumeIds`, then the complete records of what it made.
  // `ownerTag` (empty: none) goes into every snapshot's metadata next to the set id.
  virtual HRESULT CreateSnapshotSetForVolumes(const GUID& snapshotSetId, const std::set<std::string>& volumeIds,
                                              const std::string& ownerTag,
                                              std::vector<Vantor::SnapshotRecord>& snapshots);
  // The snapshots of a set that this group may hold without the provider knowing them: every
  // snapshot carrying the set's name (an array may finish a create after the provider stopped
  // waiting for it), and those that a failed create of the set is known to have made. E_FAIL
  // when the array could not be searched; `snapshots` then holds what is known all the same.
  virtual HRESULT FindSnapshotsOfSet(const GUID& snapshotSetId, std::vector<Vantor::SnapshotRecord>& snapshots);
  // The volumes a snapshot set over `luns` must cover. A set that lies wholly in one
  // virtual-volume collection covers the whole collection (unless the administrator said
  // otherwise), because the collection's volumes belong to one virtual machine. Throws when the
  // collection cannot be read.
  virtual void BuildVolumeIdSet(const std::vector<std::shared_ptr<VaSnapshotInfo>>& luns,
                                std::set<std::string>& volumeIds);

  // S_OK on success, E_FAIL after the failure was logged.
  virtual HRESULT DeleteSnapshot(const std::string& snapshotId, const std::string& snapshotName,
                                 const std::string& volumeName);
  virtual HRESULT OnlineSnapshot(const Vantor::SnapshotRecord& snapshot);
  virtual HRESULT OfflineSnapshot(const std::string& snapshotId, const std::string& snapshotName,
                                  const std::string& volumeName);
  // Logs this host in to the target that carries the snapshot (or volume), unless that target
  // is already connected or the object is not reachable over iSCSI. digestFlags: bit 0 header
  // digest, bit 1 data digest (CRC32C).
  virtual HRESULT ExposeTarget(const Vantor::SnapshotRecord& snapshot, DWORD digestFlags);
  virtual HRESULT ExposeTarget(const Vantor::VolumeRecord& volume, DWORD digestFlags);
  // Logs out of a snapshot's own target; group-scoped targets and those of virtual volumes
  // stay connected, other LUNs live behind them.
  virtual HRESULT UnexposeSnapshot(const Vantor::SnapshotRecord& snapshot);
  virtual HRESULT OnlineVolume(const Vantor::VolumeRecord& volume);
  // E_FAIL when the array refused; VA_E_OUTCOME_UNKNOWN when it may have taken the volume
  // offline all the same.
  virtual HRESULT OfflineVolume(const Vantor::VolumeRecord& volume);
  // S_OK with `online` as the array has it now; E_FAIL when it could not be read.
  virtual HRESULT ReadVolumeOnline(const Vantor::VolumeRecord& volume, bool& online);
  virtual HRESULT RestoreVolume(const Vantor::VolumeRecord& volume, const Vantor::SnapshotRecord& snapshot);

  // The version policy; `version` gets what the array reported.
  virtual bool IsArraySupported(std::string& version);
  // Best effort: a line in the array's own log (level "info", "warning" or "error").
  virtual void LogMessageToGMD(const std::string& message, const std::string& level);

 protected:
  // For fakes in tests: a wrapper without a connection. Every array operation of such a
  // wrapper fails as an unreachable array would.
  VaVssArrayWrapper();

 private:
  struct CachedObject {
    std::shared_ptr<Vantor::VolumeRecord> mVolume;
    std::shared_ptr<Vantor::SnapshotRecord> mSnapshot;
  };

  Vantor::Array& TheArray() const;
  // Reads the snapshot by serial number, then its parent volume for the target that carries it.
  void SetSnapshotTargetScope(const std::string& serialNumber, Vantor::SnapshotRecord& snapshot);
  // Keeps what a create of the set made, for FindSnapshotsOfSet, when the provider will not
  // learn of it through the LUN records.
  void RememberMadeSnapshots(const std::string& setIdText, const std::vector<Vantor::SnapshotRecord>& made);
  HRESULT Expose(const std::vector<std::uint32_t>& protocols, bool parentIsVirtualVolume, std::uint32_t targetScope,
                 const std::string& targetName, DWORD digestFlags);

  std::unique_ptr<Vantor::Array> mArray;
  std::string mConfiguredAddress;
  // Serial number to the volume or snapshot found under it, for the wrapper's life.
  std::map<std::string, CachedObject> mRecordCache;
  // Snapshot set id text to the snapshots a failed create of that set made.
  std::map<std::string, std::vector<Vantor::SnapshotRecord>> mMadeByFailedCreates;
  // Lower-case device serial number to virtual volume.
  std::map<std::string, std::shared_ptr<Vantor::VolumeRecord>> mVirtualVolumeCache;
};
