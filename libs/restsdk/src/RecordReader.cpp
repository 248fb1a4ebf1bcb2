// Answers -> records. Every value is checked for its JSON type before it is taken: the array
// is outside input, and a wrong type must end in a clear error, never in a crash or a guess.
#include "RecordCodec.h"
#include "Session.h"

namespace VantorStorage::WS::detail {

namespace {

using json = JsonValue;

const char* typeName(const json& value) {
  return jsonTypeName(value);
}

// Reads the attributes of one object. An absent attribute or a JSON null leaves the record's
// attribute unset (a null means "no value" on the wire).
class ObjectReader {
 public:
  ObjectReader(const json& object, const std::string& what) : mObject(object), mWhat(what) {
    if (!object.IsObject()) throw AnswerError(what + " is " + typeName(object) + ", expected an object");
  }

  std::optional<std::string> text(const char* key) const {
    const json* value = find(key);
    if (!value) return std::nullopt;
    if (!value->IsString()) wrongType(key, *value, "a string");
    return stringOf(*value);
  }

  std::optional<std::int64_t> integer(const char* key) const {
    const json* value = find(key);
    if (!value) return std::nullopt;
    if (value->IsInt64()) return value->GetInt64();
    if (value->IsUint64()) throw AnswerError("attribute '" + std::string(key) + "' of " + mWhat + " is out of range");
    wrongType(key, *value, "an integer");
  }

  std::optional<bool> boolean(const char* key) const {
    const json* value = find(key);
    if (!value) return std::nullopt;
    if (!value->IsBool()) wrongType(key, *value, "a boolean");
    return value->GetBool();
  }

  // A string of hexadecimal digits, answered as the bytes it spells.
  std::optional<std::string> hexBytes(const char* key) const {
    const json* value = find(key);
    if (!value) return std::nullopt;
    if (!value->IsString()) wrongType(key, *value, "a string");
    const std::string_view digits(value->GetString(), value->GetStringLength());
    if (digits.size() % 2 != 0)
      throw AnswerError("attribute '" + std::string(key) + "' of " + mWhat + " has an odd number of hex digits");
    std::string bytes(digits.size() / 2, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const int high = hexValue(digits[2 * i]);
      const int low = hexValue(digits[2 * i + 1]);
      if (high < 0 || low < 0)
        throw AnswerError("attribute '" + std::string(key) + "' of " + mWhat + " is not hexadecimal");
      bytes[i] = static_cast<char>((high << 4) | low);
    }
    return bytes;
  }

  // An array attribute; null reads as set-and-empty when nullIsEmpty, else as unset-null (the
  // caller decides). Answers null for absent.
  const json* array(const char* key) const {
    const json* value = find(key, /*keepNull=*/true);
    if (!value || value->IsNull()) return value;
    if (!value->IsArray()) wrongType(key, *value, "an array");
    if (value->Size() > kMaxObjectsPerAnswer)
      throw AnswerError("attribute '" + std::string(key) + "' of " + mWhat + " has too many entries");
    return value;
  }

  const std::string& what() const { return mWhat; }

 private:
  const json* find(const char* key, bool keepNull = false) const {
    const json* value = findMember(mObject, key);
    if (!value || (value->IsNull() && !keepNull)) return nullptr;
    return value;
  }

  [[noreturn]] void wrongType(const char* key, const json& value, const char* expected) const {
    throw AnswerError("attribute '" + std::string(key) + "' of " + mWhat + " is " + typeName(value) + ", expected " +
                      expected);
  }

  static int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  const json& mObject;
  const std::string& mWhat;
};

const json& dataMember(const json& answer) {
  const json* data = answer.IsObject() ? findMember(answer, "data") : nullptr;
  if (!data) throw AnswerError("the answer has no \"data\"");
  return *data;
}

const json& dataArray(const json& answer) {
  const json& data = dataMember(answer);
  if (!data.IsArray()) throw AnswerError(std::string("\"data\" is ") + typeName(data) + ", expected an array");
  if (data.Size() > kMaxObjectsPerAnswer)
    throw AnswerError("\"data\" holds " + std::to_string(data.Size()) + " objects, more than any array has");
  return data;
}

const json& dataObject(const json& answer) {
  const json& data = dataMember(answer);
  if (!data.IsObject()) throw AnswerError(std::string("\"data\" is ") + typeName(data) + ", expected an object");
  return data;
}

template <class T, class ReadOne>
v1::ObjectListPtr<T> readList(const json& array, const char* kind, ReadOne readOne) {
  auto list = std::make_shared<v1::ObjectList<T>>();
  list->reserve(array.Size());
  for (rapidjson::SizeType i = 0; i < array.Size(); ++i)
    list->push_back(readOne(array[i], std::string(kind) + " " + std::to_string(i)));
  return list;
}

}  // namespace

v1::AccessControlRecordListPtr RecordCodec::readAccessControlRecords(const json& value, const std::string& what) {
  auto list = std::make_shared<v1::AccessControlRecordList>();
  if (value.IsNull()) return list;  // "no records" said the long way
  for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
    const std::string entryWhat = "access control record " + std::to_string(i) + " of " + what;
    const ObjectReader reader(value[i], entryWhat);
    auto record = std::make_shared<v1::AccessControlRecord>();
    record->mAccessProtocol = reader.text("access_protocol");
    record->mInitiatorName = reader.text("initiator_name");
    record->mImmutable = true;
    list->push_back(std::move(record));
  }
  return list;
}

v1::VsKeyValueListPtr RecordCodec::readMetadata(const json& value, const std::string& what) {
  // A null list stays null: callers tell "no metadata attribute" from "metadata: null".
  if (value.IsNull()) return nullptr;
  auto list = std::make_shared<v1::VsKeyValueList>();
  for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
    const std::string entryWhat = "metadata entry " + std::to_string(i) + " of " + what;
    const ObjectReader reader(value[i], entryWhat);
    auto pair = std::make_shared<v1::VsKeyValue>();
    pair->mKey = reader.text("key");
    pair->mValue = reader.text("value");
    pair->mImmutable = true;
    list->push_back(std::move(pair));
  }
  return list;
}

std::shared_ptr<v1::Volume> RecordCodec::readVolume(const json& object, const std::string& what) {
  const ObjectReader reader(object, what);
  auto volume = std::make_shared<v1::Volume>();
  volume->mId = reader.text("id");
  volume->mName = reader.text("name");
  volume->mSize = reader.integer("size");
  volume->mSerialNumber = reader.text("serial_number");
  volume->mDescription = reader.text("description");
  volume->mBlockSize = reader.integer("block_size");
  volume->mTargetName = reader.text("target_name");
  volume->mParentVolName = reader.text("parent_vol_name");
  volume->mBaseSnapName = reader.text("base_snap_name");
  volume->mNumConnections = reader.integer("num_connections");
  volume->mOnline = reader.boolean("online");
  volume->mCreationTime = reader.integer("creation_time");
  if (const json* acl = reader.array("access_control_records"))
    volume->mAccessControlRecords = readAccessControlRecords(*acl, what);
  volume->mVpdT10 = reader.text("vpd_t10");
  volume->mVpdIeee0 = reader.hexBytes("vpd_ieee0");
  volume->mVpdIeee1 = reader.hexBytes("vpd_ieee1");
  volume->mIscsiTargetScope = reader.text("iscsi_target_scope");
  volume->mAgentType = reader.text("agent_type");
  if (const json* metadata = reader.array("metadata")) volume->mMetadata = readMetadata(*metadata, what);
  volume->mVolcollId = reader.text("volcoll_id");
  volume->mImmutable = true;
  return volume;
}

std::shared_ptr<v1::Snapshot> RecordCodec::readSnapshot(const json& object, const std::string& what) {
  const ObjectReader reader(object, what);
  auto snapshot = std::make_shared<v1::Snapshot>();
  snapshot->mId = reader.text("id");
  snapshot->mName = reader.text("name");
  snapshot->mSize = reader.integer("size");
  snapshot->mSerialNumber = reader.text("serial_number");
  snapshot->mDescription = reader.text("description");
  snapshot->mTargetName = reader.text("target_name");
  snapshot->mVolName = reader.text("vol_name");
  snapshot->mVolId = reader.text("vol_id");
  snapshot->mOnline = reader.boolean("online");
  snapshot->mWritable = reader.boolean("writable");
  snapshot->mCreationTime = reader.integer("creation_time");
  snapshot->mNumConnections = reader.integer("num_connections");
  if (const json* acl = reader.array("access_control_records"))
    snapshot->mAccessControlRecords = readAccessControlRecords(*acl, what);
  snapshot->mVpdT10 = reader.text("vpd_t10");
  snapshot->mVpdIeee0 = reader.hexBytes("vpd_ieee0");
  snapshot->mVpdIeee1 = reader.hexBytes("vpd_ieee1");
  try {
    if (const json* metadata = reader.array("metadata")) snapshot->mMetadata = readMetadata(*metadata, what);
  } catch (const AnswerError&) {
    snapshot->mMetadata.reset();
  }
  snapshot->mImmutable = true;
  return snapshot;
}

std::shared_ptr<v1::Group> RecordCodec::readGroup(const json& object, const std::string& what) {
  const ObjectReader reader(object, what);
  auto group = std::make_shared<v1::Group>();
  group->mId = reader.text("id");
  group->mName = reader.text("name");
  group->mVersionCurrent = reader.text("version_current");
  group->mImmutable = true;
  return group;
}

v1::VolumeListPtr RecordCodec::readVolumeList(const json& answer) {
  return readList<v1::Volume>(dataArray(answer), "volume", &RecordCodec::readVolume);
}

v1::SnapshotListPtr RecordCodec::readSnapshotList(const json& answer) {
  return readList<v1::Snapshot>(dataArray(answer), "snapshot", &RecordCodec::readSnapshot);
}

v1::GroupListPtr RecordCodec::readGroupList(const json& answer) {
  return readList<v1::Group>(dataArray(answer), "group", &RecordCodec::readGroup);
}

std::shared_ptr<v1::Volume> RecordCodec::readVolumeAnswer(const json& answer) {
  return readVolume(dataObject(answer), "the volume");
}

std::shared_ptr<v1::Snapshot> RecordCodec::readSnapshotAnswer(const json& answer) {
  return readSnapshot(dataObject(answer), "the snapshot");
}

std::shared_ptr<v1::VsSnapVolListReturn> RecordCodec::readBulkCreateAnswer(const json& answer) {
  const json& data = dataObject(answer);
  const json* snapList = findMember(data, "snap_list");
  if (!snapList) throw AnswerError("the answer has no \"snap_list\"");
  if (!snapList->IsArray())
    throw AnswerError(std::string("\"snap_list\" is ") + typeName(*snapList) + ", expected an array");
  if (snapList->Size() > kMaxObjectsPerAnswer) throw AnswerError("\"snap_list\" has too many entries");
  auto result = std::make_shared<v1::VsSnapVolListReturn>();
  result->mSnapList = readList<v1::Snapshot>(*snapList, "snapshot", &RecordCodec::readSnapshot);
  result->mImmutable = true;
  return result;
}

}  // namespace VantorStorage::WS::detail
