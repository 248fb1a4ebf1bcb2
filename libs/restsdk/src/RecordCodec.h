#pragma once
// JSON <-> the library's records. Readers take an answer's objects, check every attribute they
// know against its wire type and throw AnswerError naming the object and attribute when the
// array sent something else; attributes they do not know are ignored. Writers build request
// bodies and throw ApiException for records that cannot be sent.
#include "JsonAnswer.h"
#include "JsonWriter.h"
#include "ObjectReader.h"

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

struct RecordCodec {
  // `place` names the object in error texts, e.g. "volume 3". A snapshot reads the attributes
  // of `wanted` only (bits in the order of its attribute table).
  static std::shared_ptr<v1::Volume> readVolume(const JsonValue& object, const ObjectPlace& place);
  static std::shared_ptr<v1::Snapshot> readSnapshot(const JsonValue& object, const ObjectPlace& place,
                                                    AttributeMask wanted = kEveryAttribute);
  static std::shared_ptr<v1::Group> readGroup(const JsonValue& object, const ObjectPlace& place);

  // answer["data"] must be an array of objects.
  static v1::VolumeListPtr readVolumeList(const JsonValue& answer);
  static v1::SnapshotListPtr readSnapshotList(const JsonValue& answer);
  static v1::GroupListPtr readGroupList(const JsonValue& answer);
  // answer["data"] must be an object.
  static std::shared_ptr<v1::Volume> readVolumeAnswer(const JsonValue& answer);
  static std::shared_ptr<v1::Snapshot> readSnapshotAnswer(const JsonValue& answer);
  // answer["data"]["snap_list"] must be an array of snapshot objects; of each, the attributes
  // of `wanted` are read (see snapshotAttributes).
  static std::shared_ptr<v1::VsSnapVolListReturn> readBulkCreateAnswer(const JsonValue& answer,
                                                                       AttributeMask wanted = kEveryAttribute);
  // The snapshot attributes a selector names, as a mask for the readers; every attribute for an
  // empty selector. Throws ApiException for a name that is no snapshot attribute.
  static AttributeMask snapshotAttributes(const v1::AttributeSelector& selector);

  // Nested lists; `value` is an array or null.
  static v1::AccessControlRecordListPtr readAccessControlRecords(const JsonValue& value, const ObjectPlace& of);
  static v1::VsKeyValueListPtr readMetadata(const JsonValue& value, const ObjectPlace& of);

  static JsonBody writeSearch(const v1::GetParams& params);
  static JsonBody writeBulkCreate(const v1::VsSnapVolList& snapVols);
  static JsonBody writeVolumeUpdate(const v1::Volume& changes, bool force);
  static JsonBody writeSnapshotUpdate(const v1::Snapshot& changes);
  static JsonBody writeVolumeRestore(const std::string& volumeId, const std::string& snapshotId);
  static JsonBody writeDebugLog(const v1::DebugLog& entry);
};

}  // namespace VantorStorage::WS::detail
