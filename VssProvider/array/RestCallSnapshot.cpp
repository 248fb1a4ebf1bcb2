#include "array/RestCallSnapshot.h"

#include <algorithm>
#include <optional>

#include "array/RestConnection.h"
#include "array/RestSearch.h"
#include "array/SnapshotOwner.h"
#include "logger/FileLog.h"
#include "restsdk/v1/ObjectSetFactory.h"
#include "restsdk/v1/VsKeyValue.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"RestCall";

namespace v1 = VantorStorage::WS::v1;

// "a, b, " -- every item followed by ", ", as the trace has always shown these lists.
template <class Range>
std::string JoinIds(const Range& ids) {
  std::size_t size = 0;
  for (const auto& id : ids) size += id.size() + 2;
  std::string text;
  text.reserve(size);
  for (const auto& id : ids) text.append(id).append(", ");
  return text;
}

// Id, name and parent volume name of an answered snapshot, each only when the array sent it.
// Nullopt without an id: such an entry names nothing that could be removed.
std::optional<SnapshotRecord> NamedSnapshot(const v1::Snapshot& snapshot) {
  const auto text = [&](auto accessor) -> std::string {
    try {
      return (snapshot.*accessor)();
    } catch (const VantorStorage::WS::AttributeNotSetException&) {
      return {};
    }
  };
  SnapshotRecord record;
  record.mId = text(&v1::Snapshot::getId);
  if (record.mId.empty()) return std::nullopt;
  record.mName = text(&v1::Snapshot::getName);
  record.mVolName = text(&v1::Snapshot::getVolName);
  return record;
}

}  // namespace

void RestCallSnapshotBase::Initialize() {
  mSnapshotSet = mRestConn.getV1ObjectSetFactory()->getSnapshotObjectSet();
}

void RestCallFindSnapBySerial::Initialize() {
  RestCallSnapshotBase::Initialize();
  mParams = MakeGetParams(MakeFilterGroup({{"serial_number", mSerialNumber}}, v1::OPERATOR_OR),
                          {"id", "size", "name", "serial_number", "description", "target_name", "vol_name", "vol_id",
                           "access_control_records", "vpd_t10", "vpd_ieee0", "vpd_ieee1"});
}

void RestCallFindSnapBySerial::Call() {
  mSnapshot = SingleSearchResult(mSnapshotSet->getObjectList(mParams), "snapshot");
}

void RestCallFindSnapBySerial::ProcessResult() { mRecord = SnapshotRecordFromSnapshot(*mSnapshot); }

void RestCallFindSnapshotsByIDs::Initialize() {
  RestCallSnapshotBase::Initialize();
  std::vector<AttributeEquals> conditions;
  for (const auto& id : mSnapshotIds) conditions.emplace_back("id", id);
  mParams = MakeGetParams(MakeFilterGroup(conditions, v1::OPERATOR_OR),
                          {"id", "vol_id", "size", "name", "serial_number", "description", "target_name", "vol_name",
                           "access_control_records", "vpd_t10", "vpd_ieee0", "vpd_ieee1"});
}

void RestCallFindSnapshotsByIDs::Call() { mSnapshots = mSnapshotSet->getObjectList(mParams); }

bool RestCallFindSnapshotsByIDs::IsResultValid() const {
  return mSnapshots && mSnapshots->size() == mSnapshotIds.size();
}

std::string RestCallFindSnapshotsByIDs::GetInputDescription() const {
  return "Num of snapshots to retrieve: " + std::to_string(mSnapshotIds.size());
}

std::string RestCallFindSnapshotsByIDs::GetFailureMessage() const {
  return "Number of retrieved snapshots (" + std::to_string(mSnapshots ? mSnapshots->size() : 0) +
         ") is different than number of original SnapIDs (" + std::to_string(mSnapshotIds.size());
}

void RestCallFindSnapshotsByIDs::ProcessResult() {
  mRecords.clear();
  mRecords.reserve(mSnapshots->size());
  for (const auto& snapshot : *mSnapshots) {
    if (snapshot) mRecords.push_back(SnapshotRecordFromSnapshot(*snapshot));
  }
}

void RestCallSnapVolList::Initialize() {
  RestCallSnapshotBase::Initialize();
  auto metadata = std::make_shared<v1::VsKeyValueList>();
  metadata->push_back(std::make_shared<v1::VsKeyValue>(kSnapshotSetIdKey, mSnapshotSetIdText));
  if (!mOwnerTag.empty()) metadata->push_back(std::make_shared<v1::VsKeyValue>(kSnapshotOwnerKey, mOwnerTag));
  mRequest.clear();
  for (const auto& volumeId : mVolumeIds) {
    auto entry = std::make_shared<v1::VsSnapVol>();
    entry->setSnapName(mSnapshotSetIdText);
    entry->setOnline(false);
    entry->setWritable(false);
    entry->setVolId(volumeId);
    entry->setMetadata(metadata);
    mRequest.push_back(std::move(entry));
  }
}

void RestCallSnapVolList::Call() {
  // The array answers every attribute of the new snapshots; the set's records are filled from
  // the search that follows, so only what names them is read here.
  static const v1::AttributeSelector kNaming = [] {
    v1::AttributeSelector naming;
    for (const char* name : {"id", "name", "vol_name"}) naming.addAttribute(name);
    return naming;
  }();
  mResult = mSnapshotSet->bulkCreate(mRequest, kNaming);
}

bool RestCallSnapVolList::IsServiceUnavailable(const VantorStorage::WS::GroupMgmtServerException& e) const {
  constexpr int kServiceUnavailable = 503;
  if (e.getHttpStatus() == kServiceUnavailable) {
    VA_LOG(MSG_WARNING, L"Retry is needed. HTTPS Status: HTTP_ERROR_SERVICE_UNAVAILABLE (%d).", e.getHttpStatus());
    return true;
  }
  VA_LOG(MSG_WARNING, L"The exception does not indicate that retry is needed.");
  return false;
}

std::size_t RestCallSnapVolList::CreatedCount() const {
  if (!mResult) return 0;
  const auto snapshots = mResult->getSnapList();
  return snapshots ? snapshots->size() : 0;
}

bool RestCallSnapVolList::IsResultValid() const { return mResult && CreatedCount() == mVolumeIds.size(); }

std::string RestCallSnapVolList::GetInputDescription() const { return JoinIds(mVolumeIds); }

std::string RestCallSnapVolList::GetFailureMessage() const {
  return "Expected number of returned snapshots: " + std::to_string(mVolumeIds.size()) +
         "; Actual number of created snapshots: " + std::to_string(CreatedCount());
}

std::vector<std::string> RestCallSnapVolList::GetCreatedSnapshotIds() const {
  std::vector<std::string> ids;
  if (!mResult) return ids;
  for (const auto& snapshot : *mResult->getSnapList()) {
    if (snapshot) ids.push_back(snapshot->getId());
  }
  return ids;
}

std::vector<SnapshotRecord> RestCallSnapVolList::GetCreatedSnapshots() const {
  std::vector<SnapshotRecord> made;
  v1::SnapshotListPtr list;
  try {
    if (mResult) list = mResult->getSnapList();
  } catch (const VantorStorage::WS::AttributeNotSetException&) {
    return made;  // an answer without its list names nothing
  }
  if (!list) return made;
  for (const auto& snapshot : *list) {
    if (!snapshot) continue;
    if (auto record = NamedSnapshot(*snapshot)) made.push_back(std::move(*record));
  }
  return made;
}

void RestCallSnapVolList::ProcessResult() {
  VA_LOG(MSG_INFO, L"Created snapshots with IDs: %S for volume IDs: %S", JoinIds(GetCreatedSnapshotIds()),
         JoinIds(mVolumeIds));
}

void RestCallFindSnapshotsByName::Initialize() {
  RestCallSnapshotBase::Initialize();
  mParams = MakeGetParams(MakeFilterGroup({{"name", mName}}, v1::OPERATOR_OR), {"id", "name", "vol_name"});
}

void RestCallFindSnapshotsByName::Call() { mSnapshots = mSnapshotSet->getObjectList(mParams); }

void RestCallFindSnapshotsByName::ProcessResult() {
  mRecords.clear();
  for (const auto& snapshot : *mSnapshots) {
    if (!snapshot) continue;
    // A snapshot whose name or id the answer hides throws here: such an answer cannot tell
    // whether the set still has snapshots.
    if (snapshot->getName() != mName) continue;
    const std::string& id = snapshot->getId();
    const bool seen =
        std::any_of(mRecords.begin(), mRecords.end(), [&](const SnapshotRecord& known) { return known.mId == id; });
    if (seen) continue;
    if (auto record = NamedSnapshot(*snapshot)) mRecords.push_back(std::move(*record));
  }
}

void RestCallDeleteSnapBySnapId::Call() { mSnapshotSet->deleteObject(mSnapshotId); }

std::string RestCallOnlineSnap::GetName() const {
  return std::string("Set Snapshot ") + (mOnline ? "Online" : "Offline") + " - Update Object";
}

void RestCallOnlineSnap::Call() {
  v1::Snapshot changes;
  changes.setOnline(mOnline);
  mSnapshotSet->updateObject(mSnapshotId, changes);
}

}  // namespace Vantor
