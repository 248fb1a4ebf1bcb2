// Records -> request bodies. Everything a body needs is checked here, before a byte is sent,
// so a caller's mistake never reaches the array as a half-formed request.
#include "RecordCodec.h"
#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::detail {

namespace {

using nlohmann::json;

// Filters nest through shared pointers, so a filter can (by mistake) contain itself.
constexpr int kMaxFilterDepth = 32;

json writeFilter(const v1::SearchFilter& filter, int depth) {
  if (depth > kMaxFilterDepth)
    throw ApiException("The search filter nests deeper than " + std::to_string(kMaxFilterDepth) + " levels");
  // Members are set one by one: a brace-built object copies every value once more.
  json out = json::object();
  if (!filter.isGroup()) {
    out["field"] = filter.getAttribute();
    out["operator"] = "equals";
    out["value"] = filter.getValue();
    return out;
  }
  if (filter.getFilters().empty()) throw ApiException("A search filter group holds no filter");
  json& criteria = out["criteria"] = json::array();
  criteria.get_ref<json::array_t&>().reserve(filter.getFilters().size());
  for (const auto& child : filter.getFilters()) criteria.push_back(writeFilter(*child, depth + 1));
  out["operator"] = filter.getOperatorType() == v1::OPERATOR_AND ? "and" : "or";
  return out;
}

json writeMetadata(const v1::VsKeyValueList& metadata, std::size_t entry) {
  json list = json::array();
  for (const auto& pair : metadata) {
    if (!pair) throw ApiException("Bulk snapshot entry " + std::to_string(entry) + " has a null metadata pair");
    try {
      json item = json::object();
      item["key"] = pair->getKey();
      item["value"] = pair->getValue();
      list.push_back(std::move(item));
    } catch (const AttributeNotSetException& e) {
      throw ApiException("Bulk snapshot entry " + std::to_string(entry) + " has a metadata pair without " +
                         e.getAttributeName());
    }
  }
  return list;
}

}  // namespace

json RecordCodec::writeSearch(const v1::GetParams& params) {
  json body = json::object();
  if (const auto filter = params.getSearchFilter()) body["filter"] = writeFilter(*filter, 0);
  const auto& fields = params.getAttributeSelector().getAttributes();
  if (!fields.empty()) body["fields"] = fields;
  return body;
}

json RecordCodec::writeBulkCreate(const v1::VsSnapVolList& snapVols) {
  if (snapVols.empty()) throw ApiException("A bulk snapshot request needs at least one volume");
  json list = json::array();
  list.get_ref<json::array_t&>().reserve(snapVols.size());
  // Entries of one set usually share one metadata list: it is written once.
  const v1::VsKeyValueList* writtenMetadata = nullptr;
  json metadataJson;
  for (std::size_t i = 0; i < snapVols.size(); ++i) {
    const auto& snapVol = snapVols[i];
    if (!snapVol) throw ApiException("Bulk snapshot entry " + std::to_string(i) + " is null");
    if (!snapVol->mVolId || snapVol->mVolId->empty())
      throw ApiException("Bulk snapshot entry " + std::to_string(i) + " has no volume id");
    if (!snapVol->mSnapName || snapVol->mSnapName->empty())
      throw ApiException("Bulk snapshot entry " + std::to_string(i) + " has no snapshot name");
    json entry = json::object();
    entry["vol_id"] = *snapVol->mVolId;
    entry["snap_name"] = *snapVol->mSnapName;
    if (snapVol->mOnline) entry["online"] = *snapVol->mOnline;
    if (snapVol->mWritable) entry["writable"] = *snapVol->mWritable;
    if (snapVol->mMetadata && *snapVol->mMetadata) {
      const v1::VsKeyValueList& metadata = **snapVol->mMetadata;
      if (&metadata != writtenMetadata) {
        metadataJson = writeMetadata(metadata, i);
        writtenMetadata = &metadata;
      }
      entry["metadata"] = metadataJson;
    }
    list.push_back(std::move(entry));
  }
  json body = json::object();
  body["data"]["snap_vol_list"] = std::move(list);
  return body;
}

json RecordCodec::writeVolumeUpdate(const v1::Volume& changes, bool force) {
  if (!changes.mOnline) throw ApiException("The volume update sets no attribute");
  return json{{"data", {{"online", *changes.mOnline}}}, {"force", force}};
}

json RecordCodec::writeSnapshotUpdate(const v1::Snapshot& changes) {
  if (!changes.mOnline) throw ApiException("The snapshot update sets no attribute");
  return json{{"data", {{"online", *changes.mOnline}}}};
}

json RecordCodec::writeDebugLog(const v1::DebugLog& entry) {
  if (!entry.mMessage) throw ApiException("The debug log entry has no message");
  if (!entry.mLevel) throw ApiException("The debug log entry has no level");
  return json{{"data", {{"message", *entry.mMessage}, {"level", *entry.mLevel}}}};
}

}  // namespace VantorStorage::WS::detail
