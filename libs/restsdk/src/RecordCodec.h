#pragma once
// JSON <-> the library's records. Readers take an answer's objects, check every attribute they
// know against its wire type and throw AnswerError naming the object and attribute when the
// array sent something else; attributes they do not know are ignored. Writers build request
// bodies and throw ApiException for records that cannot be sent.
#include "JsonAnswer.h"
#include "JsonWriter.h"

#include <memory>
#include <string>

#include "restsdk/v1/DebugLog.h"
#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Group.h"
#include "restsdk/v1/Snapshot.h"
#include "restsdk/v1/Volume.h"
#include "restsdk/v1/VsSnapVol.h"
#include "restsdk/v1/VsSnapVolListReturn.h"

namespace VantorStorage::WS::detail {

// More objects than any array holds; a longer list is a broken answer, not data.
inline constexpr std::size_t kMaxObjectsPerAnswer = 100000;

struct RecordCodec {
  // `what` names the object in error texts, e.g. "volume 3".
  static std::shared_ptr<v1::Volume> readVolume(const JsonValue& object, const std::string& what);
  static std::shared_ptr<v1::Snapshot> readSnapshot(const JsonValue& object, const std::string& what);
  static std::shared_ptr<v1::Group> readGroup(const JsonValue& object, const std::string& what);

  // answer["data"] must be an array of objects.
  static v1::VolumeListPtr readVolumeList(const JsonValue& answer);
  static v1::SnapshotListPtr readSnapshotList(const JsonValue& answer);
  static v1::GroupListPtr readGroupList(const JsonValue& answer);
  // answer["data"] must be an object.
  static std::shared_ptr<v1::Volume> readVolumeAnswer(const JsonValue& answer);
  static std::shared_ptr<v1::Snapshot> readSnapshotAnswer(const JsonValue& answer);
  // answer["data"]["snap_list"] must be an array of snapshot objects.
  static std::shared_ptr<v1::VsSnapVolListReturn> readBulkCreateAnswer(const JsonValue& answer);

  // Nested lists; `value` is an array or null.
  static v1::AccessControlRecordListPtr readAccessControlRecords(const JsonValue& value, const std::string& what);
  static v1::VsKeyValueListPtr readMetadata(const JsonValue& value, const std::string& what);

  static JsonBody writeSearch(const v1::GetParams& params);
  static JsonBody writeBulkCreate(const v1::VsSnapVolList& snapVols);
  static JsonBody writeVolumeUpdate(const v1::Volume& changes, bool force);
  static JsonBody writeSnapshotUpdate(const v1::Snapshot& changes);
  static JsonBody writeVolumeRestore(const std::string& volumeId, const std::string& snapshotId);
  static JsonBody writeDebugLog(const v1::DebugLog& entry);
};

}  // namespace VantorStorage::WS::detail
