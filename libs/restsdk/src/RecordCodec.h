#pragma once
// JSON <-> the library's records. Readers take an answer's objects, check every attribute they
// know against its wire type and throw AnswerError naming the object and attribute when the
// array sent something else; attributes they do not know are ignored. Writers build request
// bodies and throw ApiException for records that cannot be sent.
#include <nlohmann/json.hpp>

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
  static std::shared_ptr<v1::Volume> readVolume(const nlohmann::json& object, const std::string& what);
  static std::shared_ptr<v1::Snapshot> readSnapshot(const nlohmann::json& object, const std::string& what);
  static std::shared_ptr<v1::Group> readGroup(const nlohmann::json& object, const std::string& what);

  // answer["data"] must be an array of objects.
  static v1::VolumeListPtr readVolumeList(const nlohmann::json& answer);
  static v1::SnapshotListPtr readSnapshotList(const nlohmann::json& answer);
  static v1::GroupListPtr readGroupList(const nlohmann::json& answer);
  // answer["data"] must be an object.
  static std::shared_ptr<v1::Volume> readVolumeAnswer(const nlohmann::json& answer);
  static std::shared_ptr<v1::Snapshot> readSnapshotAnswer(const nlohmann::json& answer);
  // answer["data"]["snap_list"] must be an array of snapshot objects.
  static std::shared_ptr<v1::VsSnapVolListReturn> readBulkCreateAnswer(const nlohmann::json& answer);

  // Nested lists; `value` is an array or null.
  static v1::AccessControlRecordListPtr readAccessControlRecords(const nlohmann::json& value, const std::string& what);
  static v1::VsKeyValueListPtr readMetadata(const nlohmann::json& value, const std::string& what);

  static nlohmann::json writeSearch(const v1::GetParams& params);
  static nlohmann::json writeBulkCreate(const v1::VsSnapVolList& snapVols);
  static nlohmann::json writeVolumeUpdate(const v1::Volume& changes, bool force);
  static nlohmann::json writeSnapshotUpdate(const v1::Snapshot& changes);
  static nlohmann::json writeDebugLog(const v1::DebugLog& entry);
};

}  // namespace VantorStorage::WS::detail
