#include "array/RestCallShadowCopySnapshots.h"

#include <type_traits>

#include "array/RestSearch.h"
#include "logger/FileLog.h"
#include "wincompat/Guid.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"RestCall";

namespace v1 = VantorStorage::WS::v1;

// An attribute the array did not answer reads as unknown instead of ending the listing.
template <class Read>
auto Optional(Read read) -> std::optional<std::decay_t<decltype(read())>> {
  try {
    return read();
  } catch (const VantorStorage::WS::AttributeNotSetException&) {
    return std::nullopt;
  }
}

// The value of the first well-formed pair under `key`.
std::optional<std::string> MetadataValue(const v1::Snapshot& snapshot, const char* key) {
  v1::VsKeyValueListPtr metadata;
  try {
    metadata = snapshot.getMetadata();
  } catch (const VantorStorage::WS::AttributeNotSetException&) {
    return std::nullopt;
  }
  if (!metadata) return std::nullopt;
  for (const auto& pair : *metadata) {
    try {
      if (pair && pair->getKey() == key) return pair->getValue();
    } catch (const VantorStorage::WS::AttributeNotSetException&) {
      continue;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> ShadowCopySetIdOf(const v1::Snapshot& snapshot) {
  const std::optional<std::string> value = MetadataValue(snapshot, kSnapshotSetIdKey);
  GUID setId{};
  if (!value || !wincompat::GuidFromString(*value, setId)) return std::nullopt;
  return wincompat::GuidToString(setId);
}

std::optional<std::string> OwnerTagOf(const v1::Snapshot& snapshot) { return MetadataValue(snapshot, kSnapshotOwnerKey); }

void RestCallFindShadowCopySnapshots::Initialize() {
  RestCallSnapshotBase::Initialize();
  // The search cannot ask for "has this metadata key", so every snapshot comes back and the
  // choice is made here.
  mParams = MakeGetParams(nullptr, {"id", "name", "serial_number", "vol_name", "creation_time", "online",
                                    "num_connections", "access_control_records", "metadata"});
}

void RestCallFindShadowCopySnapshots::Call() { mSnapshots = mSnapshotSet->getObjectList(mParams); }

void RestCallFindShadowCopySnapshots::ProcessResult() {
  mRecords.clear();
  std::size_t others = 0;
  for (const auto& snapshot : *mSnapshots) {
    if (!snapshot) continue;
    const std::optional<std::string> setId = ShadowCopySetIdOf(*snapshot);
    const std::optional<std::string> id = Optional([&] { return snapshot->getId(); });
    const std::optional<std::string> serial = Optional([&] { return snapshot->getSerialNumber(); });
    // Without an id it cannot be deleted, without a serial number not named: not ours to list.
    if (!setId || !id || !serial) {
      ++others;
      continue;
    }
    ShadowCopySnapshotRecord record;
    record.mId = *id;
    record.mSerialNumber = *serial;
    record.mSnapshotSetId = *setId;
    record.mOwnerTag = OwnerTagOf(*snapshot);
    if (record.mOwnerTag) record.mOwner = ParseOwnerTag(*record.mOwnerTag);
    record.mName = Optional([&] { return snapshot->getName(); }).value_or("");
    record.mVolName = Optional([&] { return snapshot->getVolName(); }).value_or("");
    record.mCreationTime = Optional([&] { return snapshot->getCreationTime(); });
    record.mOnline = Optional([&] { return snapshot->getOnline(); });
    record.mNumConnections = Optional([&] { return snapshot->getNumConnections(); });
    if (const auto acl = Optional([&] { return snapshot->getAccessControlRecords(); }); acl && *acl) {
      for (const auto& entry : **acl) {
        if (!entry) continue;
        const auto protocol = Optional([&] { return entry->getAccessProtocol(); });
        const auto initiator = Optional([&] { return entry->getInitiatorName(); });
        if (protocol == "iscsi" && initiator) record.mInitiators.push_back(*initiator);
      }
    }
    mRecords.push_back(std::move(record));
  }
  VA_LOG(MSG_INFO, L"Found %d shadow copy snapshots and %d other snapshots", static_cast<int>(mRecords.size()),
         static_cast<int>(others));
}

}  // namespace Vantor
