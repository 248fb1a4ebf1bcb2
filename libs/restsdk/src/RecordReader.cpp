// Answers -> records. Every value is checked for its JSON type before it is taken: the array
// is outside input, and a wrong type must end in a clear error, never in a crash or a guess.
#include <algorithm>

#include "RecordCodec.h"
#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::detail {

namespace {

using json = JsonValue;

// The attribute tables, in the order of their enums.
struct AccessControlAttribute {
  enum : std::size_t { AccessProtocol, InitiatorName };
  static constexpr AttributeNames<2> kNames{"access_protocol", "initiator_name"};
};
struct MetadataAttribute {
  enum : std::size_t { Key, Value };
  static constexpr AttributeNames<2> kNames{"key", "value"};
};
struct VolumeAttribute {
  enum : std::size_t {
    Id, Name, Size, SerialNumber, Description, BlockSize, TargetName, ParentVolName, BaseSnapName, NumConnections,
    Online, CreationTime, AccessControlRecords, VpdT10, VpdIeee0, VpdIeee1, IscsiTargetScope, AgentType, Metadata,
    VolcollId
  };
  static constexpr AttributeNames<20> kNames{
      "id", "name", "size", "serial_number", "description", "block_size", "target_name", "parent_vol_name",
      "base_snap_name", "num_connections", "online", "creation_time", "access_control_records", "vpd_t10",
      "vpd_ieee0", "vpd_ieee1", "iscsi_target_scope", "agent_type", "metadata", "volcoll_id"};
};
struct SnapshotAttribute {
  enum : std::size_t {
    Id, Name, Size, SerialNumber, Description, TargetName, VolName, VolId, Online, Writable, CreationTime,
    NumConnections, AccessControlRecords, VpdT10, VpdIeee0, VpdIeee1, Metadata
  };
  static constexpr AttributeNames<17> kNames{
      "id", "name", "size", "serial_number", "description", "target_name", "vol_name", "vol_id", "online",
      "writable", "creation_time", "num_connections", "access_control_records", "vpd_t10", "vpd_ieee0",
      "vpd_ieee1", "metadata"};
};
struct GroupAttribute {
  enum : std::size_t { Id, Name, VersionCurrent };
  static constexpr AttributeNames<3> kNames{"id", "name", "version_current"};
};

const json& dataMember(const json& answer) {
  const json* data = answer.IsObject() ? findMember(answer, "data") : nullptr;
  if (!data) throw AnswerError("the answer has no \"data\"");
  return *data;
}

const json& dataArray(const json& answer) {
  const json& data = dataMember(answer);
  if (!data.IsArray()) throw AnswerError(std::string("\"data\" is ") + jsonTypeName(data) + ", expected an array");
  if (data.Size() > kMaxObjectsPerAnswer)
    throw AnswerError("\"data\" holds " + std::to_string(data.Size()) + " objects, more than any array has");
  return data;
}

const json& dataObject(const json& answer) {
  const json& data = dataMember(answer);
  if (!data.IsObject()) throw AnswerError(std::string("\"data\" is ") + jsonTypeName(data) + ", expected an object");
  return data;
}

template <class T, class ReadOne>
v1::ObjectListPtr<T> readList(const json& array, std::string_view kind, ReadOne readOne) {
  auto list = std::make_shared<v1::ObjectList<T>>();
  list->reserve(array.Size());
  for (rapidjson::SizeType i = 0; i < array.Size(); ++i) list->push_back(readOne(array[i], ObjectPlace{kind, i}));
  return list;
}

}  // namespace

std::string ObjectPlace::text() const {
  std::string spelled(kind);
  if (index != kNoIndex) spelled += " " + std::to_string(index);
  if (of) spelled += " of " + of->text();
  return spelled;
}

v1::AccessControlRecordListPtr RecordCodec::readAccessControlRecords(const json& value, const ObjectPlace& of) {
  using A = AccessControlAttribute;
  auto list = std::make_shared<v1::AccessControlRecordList>();
  if (value.IsNull()) return list;  // "no records" said the long way
  list->reserve(value.Size());
  for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
    const ObjectPlace place{"access control record", i, &of};
    const ObjectReader reader(value[i], A::kNames, place);
    auto record = std::make_shared<v1::AccessControlRecord>();
    record->mAccessProtocol = reader.text(A::AccessProtocol);
    record->mInitiatorName = reader.text(A::InitiatorName);
    record->mImmutable = true;
    list->push_back(std::move(record));
  }
  return list;
}

v1::VsKeyValueListPtr RecordCodec::readMetadata(const json& value, const ObjectPlace& of) {
  using A = MetadataAttribute;
  // A null list stays null: callers tell "no metadata attribute" from "metadata: null".
  if (value.IsNull()) return nullptr;
  auto list = std::make_shared<v1::VsKeyValueList>();
  list->reserve(value.Size());
  for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
    const ObjectPlace place{"metadata entry", i, &of};
    const ObjectReader reader(value[i], A::kNames, place);
    auto pair = std::make_shared<v1::VsKeyValue>();
    pair->mKey = reader.text(A::Key);
    pair->mValue = reader.text(A::Value);
    pair->mImmutable = true;
    list->push_back(std::move(pair));
  }
  return list;
}

std::shared_ptr<v1::Volume> RecordCodec::readVolume(const json& object, const ObjectPlace& place) {
  using A = VolumeAttribute;
  const ObjectReader reader(object, A::kNames, place);
  auto volume = std::make_shared<v1::Volume>();
  volume->mId = reader.text(A::Id);
  volume->mName = reader.text(A::Name);
  volume->mSize = reader.integer(A::Size);
  volume->mSerialNumber = reader.text(A::SerialNumber);
  volume->mDescription = reader.text(A::Description);
  volume->mBlockSize = reader.integer(A::BlockSize);
  volume->mTargetName = reader.text(A::TargetName);
  volume->mParentVolName = reader.text(A::ParentVolName);
  volume->mBaseSnapName = reader.text(A::BaseSnapName);
  volume->mNumConnections = reader.integer(A::NumConnections);
  volume->mOnline = reader.boolean(A::Online);
  volume->mCreationTime = reader.integer(A::CreationTime);
  if (const json* acl = reader.array(A::AccessControlRecords))
    volume->mAccessControlRecords = readAccessControlRecords(*acl, place);
  volume->mVpdT10 = reader.text(A::VpdT10);
  volume->mVpdIeee0 = reader.hexBytes(A::VpdIeee0);
  volume->mVpdIeee1 = reader.hexBytes(A::VpdIeee1);
  volume->mIscsiTargetScope = reader.text(A::IscsiTargetScope);
  volume->mAgentType = reader.text(A::AgentType);
  if (const json* metadata = reader.array(A::Metadata)) volume->mMetadata = readMetadata(*metadata, place);
  volume->mVolcollId = reader.text(A::VolcollId);
  volume->mImmutable = true;
  return volume;
}

std::shared_ptr<v1::Snapshot> RecordCodec::readSnapshot(const json& object, const ObjectPlace& place,
                                                        AttributeMask wanted) {
  using A = SnapshotAttribute;
  const ObjectReader reader(object, A::kNames, place, wanted);
  auto snapshot = std::make_shared<v1::Snapshot>();
  snapshot->mId = reader.text(A::Id);
  snapshot->mName = reader.text(A::Name);
  snapshot->mSize = reader.integer(A::Size);
  snapshot->mSerialNumber = reader.text(A::SerialNumber);
  snapshot->mDescription = reader.text(A::Description);
  snapshot->mTargetName = reader.text(A::TargetName);
  snapshot->mVolName = reader.text(A::VolName);
  snapshot->mVolId = reader.text(A::VolId);
  snapshot->mOnline = reader.boolean(A::Online);
  snapshot->mWritable = reader.boolean(A::Writable);
  snapshot->mCreationTime = reader.integer(A::CreationTime);
  snapshot->mNumConnections = reader.integer(A::NumConnections);
  if (const json* acl = reader.array(A::AccessControlRecords))
    snapshot->mAccessControlRecords = readAccessControlRecords(*acl, place);
  snapshot->mVpdT10 = reader.text(A::VpdT10);
  snapshot->mVpdIeee0 = reader.hexBytes(A::VpdIeee0);
  snapshot->mVpdIeee1 = reader.hexBytes(A::VpdIeee1);
  try {
    if (const json* metadata = reader.array(A::Metadata)) snapshot->mMetadata = readMetadata(*metadata, place);
  } catch (const AnswerError&) {
    snapshot->mMetadata.reset();
  }
  snapshot->mImmutable = true;
  return snapshot;
}

std::shared_ptr<v1::Group> RecordCodec::readGroup(const json& object, const ObjectPlace& place) {
  using A = GroupAttribute;
  const ObjectReader reader(object, A::kNames, place);
  auto group = std::make_shared<v1::Group>();
  group->mId = reader.text(A::Id);
  group->mName = reader.text(A::Name);
  group->mVersionCurrent = reader.text(A::VersionCurrent);
  group->mImmutable = true;
  return group;
}

v1::VolumeListPtr RecordCodec::readVolumeList(const json& answer) {
  return readList<v1::Volume>(dataArray(answer), "volume", &RecordCodec::readVolume);
}

v1::SnapshotListPtr RecordCodec::readSnapshotList(const json& answer) {
  const auto readOne = [](const json& object, const ObjectPlace& place) { return readSnapshot(object, place); };
  return readList<v1::Snapshot>(dataArray(answer), "snapshot", readOne);
}

v1::GroupListPtr RecordCodec::readGroupList(const json& answer) {
  return readList<v1::Group>(dataArray(answer), "group", &RecordCodec::readGroup);
}

std::shared_ptr<v1::Volume> RecordCodec::readVolumeAnswer(const json& answer) {
  return readVolume(dataObject(answer), ObjectPlace{"the volume"});
}

std::shared_ptr<v1::Snapshot> RecordCodec::readSnapshotAnswer(const json& answer) {
  return readSnapshot(dataObject(answer), ObjectPlace{"the snapshot"});
}

std::shared_ptr<v1::VsSnapVolListReturn> RecordCodec::readBulkCreateAnswer(const json& answer, AttributeMask wanted) {
  const json& data = dataObject(answer);
  const json* snapList = findMember(data, "snap_list");
  if (!snapList) throw AnswerError("the answer has no \"snap_list\"");
  if (!snapList->IsArray())
    throw AnswerError(std::string("\"snap_list\" is ") + jsonTypeName(*snapList) + ", expected an array");
  if (snapList->Size() > kMaxObjectsPerAnswer) throw AnswerError("\"snap_list\" has too many entries");
  auto result = std::make_shared<v1::VsSnapVolListReturn>();
  const auto readOne = [wanted](const json& object, const ObjectPlace& place) {
    return readSnapshot(object, place, wanted);
  };
  result->mSnapList = readList<v1::Snapshot>(*snapList, "snapshot", readOne);
  result->mImmutable = true;
  return result;
}

AttributeMask RecordCodec::snapshotAttributes(const v1::AttributeSelector& selector) {
  const auto& names = SnapshotAttribute::kNames;
  if (selector.getAttributes().empty()) return kEveryAttribute;
  AttributeMask mask = 0;
  for (const std::string& name : selector.getAttributes()) {
    const auto it = std::find(names.begin(), names.end(), name);
    if (it == names.end()) throw ApiException("'" + name + "' is not an attribute of a snapshot");
    mask |= AttributeMask{1} << static_cast<unsigned>(it - names.begin());
  }
  return mask;
}

}  // namespace VantorStorage::WS::detail
