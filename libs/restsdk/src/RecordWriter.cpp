// Records -> request bodies. Everything a body needs is checked here, before a byte is sent,
// so a caller's mistake never reaches the array as a half-formed request.
#include "RecordCodec.h"
#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::detail {

namespace {

// Filters nest through shared pointers, so a filter can (by mistake) contain itself.
constexpr int kMaxFilterDepth = 32;

void writeFilter(JsonWriter& out, const v1::SearchFilter& filter, int depth) {
  if (depth > kMaxFilterDepth)
    throw ApiException("The search filter nests deeper than " + std::to_string(kMaxFilterDepth) + " levels");
  out.beginObject();
  if (!filter.isGroup()) {
    out.key("field").string(filter.getAttribute());
    out.key("operator").string("equals");
    out.key("value").string(filter.getValue());
    out.endObject();
    return;
  }
  if (filter.getFilters().empty()) throw ApiException("A search filter group holds no filter");
  out.key("operator").string(filter.getOperatorType() == v1::OPERATOR_AND ? "and" : "or");
  out.key("criteria").beginArray();
  for (const auto& child : filter.getFilters()) writeFilter(out, *child, depth + 1);
  out.endArray().endObject();
}

JsonBody writeMetadata(const v1::VsKeyValueList& metadata, std::size_t entry) {
  JsonWriter list;
  list.beginArray();
  for (const auto& pair : metadata) {
    if (!pair) throw ApiException("Bulk snapshot entry " + std::to_string(entry) + " has a null metadata pair");
    try {
      const std::string& key = pair->getKey();
      const std::string& value = pair->getValue();
      list.beginObject().key("key").string(key).key("value").string(value).endObject();
    } catch (const AttributeNotSetException& e) {
      throw ApiException("Bulk snapshot entry " + std::to_string(entry) + " has a metadata pair without " +
                         e.getAttributeName());
    }
  }
  list.endArray();
  return list.finish();
}

}  // namespace

JsonBody RecordCodec::writeSearch(const v1::GetParams& params) {
  JsonWriter body;
  body.beginObject();
  if (const auto filter = params.getSearchFilter()) writeFilter(body.key("filter"), *filter, 0);
  const auto& fields = params.getAttributeSelector().getAttributes();
  if (!fields.empty()) {
    body.key("fields").beginArray();
    for (const auto& field : fields) body.string(field);
    body.endArray();
  }
  body.endObject();
  return body.finish();
}

JsonBody RecordCodec::writeBulkCreate(const v1::VsSnapVolList& snapVols) {
  if (snapVols.empty()) throw ApiException("A bulk snapshot request needs at least one volume");
  JsonWriter body;
  body.beginObject().key("data").beginObject().key("snap_vol_list").beginArray();
  // Entries of one set usually share one metadata list: it is written once.
  const v1::VsKeyValueList* writtenMetadata = nullptr;
  JsonBody metadataText;
  for (std::size_t i = 0; i < snapVols.size(); ++i) {
    const auto& snapVol = snapVols[i];
    if (!snapVol) throw ApiException("Bulk snapshot entry " + std::to_string(i) + " is null");
    if (!snapVol->mVolId || snapVol->mVolId->empty())
      throw ApiException("Bulk snapshot entry " + std::to_string(i) + " has no volume id");
    if (!snapVol->mSnapName || snapVol->mSnapName->empty())
      throw ApiException("Bulk snapshot entry " + std::to_string(i) + " has no snapshot name");
    body.beginObject();
    body.key("vol_id").string(*snapVol->mVolId);
    body.key("snap_name").string(*snapVol->mSnapName);
    if (snapVol->mOnline) body.key("online").boolean(*snapVol->mOnline);
    if (snapVol->mWritable) body.key("writable").boolean(*snapVol->mWritable);
    if (snapVol->mMetadata && *snapVol->mMetadata) {
      const v1::VsKeyValueList& metadata = **snapVol->mMetadata;
      if (&metadata != writtenMetadata) {
        metadataText = writeMetadata(metadata, i);
        writtenMetadata = &metadata;
      }
      body.key("metadata").value(metadataText);
    }
    body.endObject();
  }
  body.endArray().endObject().endObject();
  return body.finish();
}

JsonBody RecordCodec::writeVolumeUpdate(const v1::Volume& changes, bool force) {
  if (!changes.mOnline) throw ApiException("The volume update sets no attribute");
  JsonWriter body;
  body.beginObject().key("data").beginObject().key("online").boolean(*changes.mOnline).endObject();
  body.key("force").boolean(force).endObject();
  return body.finish();
}

JsonBody RecordCodec::writeSnapshotUpdate(const v1::Snapshot& changes) {
  if (!changes.mOnline) throw ApiException("The snapshot update sets no attribute");
  JsonWriter body;
  body.beginObject().key("data").beginObject().key("online").boolean(*changes.mOnline).endObject().endObject();
  return body.finish();
}

JsonBody RecordCodec::writeVolumeRestore(const std::string& volumeId, const std::string& snapshotId) {
  JsonWriter body;
  body.beginObject().key("data").beginObject().key("id").string(volumeId).key("base_snap_id").string(snapshotId);
  body.endObject().endObject();
  return body.finish();
}

JsonBody RecordCodec::writeDebugLog(const v1::DebugLog& entry) {
  if (!entry.mMessage) throw ApiException("The debug log entry has no message");
  if (!entry.mLevel) throw ApiException("The debug log entry has no level");
  JsonWriter body;
  body.beginObject().key("data").beginObject().key("message").string(*entry.mMessage);
  body.key("level").string(*entry.mLevel).endObject().endObject();
  return body.finish();
}

}  // namespace VantorStorage::WS::detail
