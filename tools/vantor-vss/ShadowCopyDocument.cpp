#include "ShadowCopyDocument.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fstream>

#include "LunJson.h"
#include "wincompat/Guid.h"

namespace vantorvss {
namespace {

constexpr const char* kFormat = "vantor-vss shadow copies";

std::string SerialOf(const nlohmann::json& lun) {
  const auto it = lun.find("serial_number");
  return it != lun.end() && it->is_string() ? it->get<std::string>() : std::string();
}

std::string Text(const nlohmann::json& json, const char* name) {
  const auto it = json.find(name);
  if (it == json.end() || !it->is_string()) throw std::invalid_argument(std::string("'") + name + "' must be a string");
  return it->get<std::string>();
}

ShadowCopyVolume VolumeFromJson(const nlohmann::json& json) {
  if (!json.is_object()) throw std::invalid_argument("a volume must be a JSON object");
  ShadowCopyVolume volume{Text(json, "snapshot_id"), Text(json, "device"), json.value("source_lun", nlohmann::json()),
                          json.value("target_lun", nlohmann::json())};
  for (const char* which : {"source_lun", "target_lun"}) {
    try {
      LunFromJson(json.value(which, nlohmann::json()));  // only to check that it can be used
    } catch (const std::invalid_argument& e) {
      throw std::invalid_argument(std::string(which) + ": " + e.what());
    }
  }
  if (volume.SnapshotSerial().empty()) throw std::invalid_argument("target_lun: the snapshot has no serial number");
  return volume;
}

ShadowCopySet SetFromJson(const nlohmann::json& json) {
  if (!json.is_object()) throw std::invalid_argument("a set must be a JSON object");
  ShadowCopySet set;
  set.snapshotSetId = Text(json, "snapshot_set_id");
  GUID id{};
  if (!wincompat::GuidFromString(set.snapshotSetId, id)) throw std::invalid_argument("'snapshot_set_id' is not a GUID");
  set.snapshotSetId = wincompat::GuidToString(id);
  const auto context = json.find("context");
  if (context == json.end() || !context->is_number_integer()) throw std::invalid_argument("'context' must be an integer");
  set.context = static_cast<LONG>(context->get<long long>());
  set.creationTime = Text(json, "creation_time");
  const auto volumes = json.find("volumes");
  if (volumes == json.end() || !volumes->is_array()) throw std::invalid_argument("'volumes' must be a list");
  for (std::size_t i = 0; i < volumes->size(); ++i) {
    try {
      set.volumes.push_back(VolumeFromJson(volumes->at(i)));
    } catch (const std::invalid_argument& e) {
      throw std::invalid_argument("volumes[" + std::to_string(i) + "]: " + e.what());
    }
  }
  return set;
}

}  // namespace

std::string ShadowCopyVolume::SourceSerial() const { return SerialOf(sourceLun); }
std::string ShadowCopyVolume::SnapshotSerial() const { return SerialOf(targetLun); }

nlohmann::json ToJson(const ShadowCopySet& set) {
  nlohmann::json volumes = nlohmann::json::array();
  for (const auto& v : set.volumes)
    volumes.push_back({{"snapshot_id", v.snapshotId}, {"device", v.device}, {"source_lun", v.sourceLun}, {"target_lun", v.targetLun}});
  return {{"snapshot_set_id", set.snapshotSetId}, {"context", set.context}, {"creation_time", set.creationTime},
          {"volumes", volumes}};
}

std::string UtcNow() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm utc{};
#ifdef _WIN32
  gmtime_s(&utc, &now);
#else
  gmtime_r(&now, &utc);
#endif
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

ShadowCopyDocument ShadowCopyDocument::Load(const std::filesystem::path& file) {
  ShadowCopyDocument document;
  document.file_ = file;
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    if (std::filesystem::exists(file)) throw DocumentError(file.string() + ": cannot be read");
    return document;
  }
  const nlohmann::json json = nlohmann::json::parse(in, nullptr, false);
  if (json.is_discarded()) throw DocumentError(file.string() + ": not a JSON document");
  if (!json.is_object() || json.value("format", std::string()) != kFormat)
    throw DocumentError(file.string() + ": not a shadow-copy document (its 'format' is not \"" + kFormat + "\")");
  const auto version = json.find("version");
  if (version == json.end() || !version->is_number_integer() || version->get<long long>() != kVersion)
    throw DocumentError(file.string() + ": 'version' is " + (version == json.end() ? "missing" : version->dump()) +
                        "; this tool reads version " + std::to_string(kVersion));
  const auto sets = json.find("sets");
  if (sets == json.end() || !sets->is_array()) throw DocumentError(file.string() + ": 'sets' must be a list");
  for (std::size_t i = 0; i < sets->size(); ++i) {
    try {
      document.sets_.push_back(SetFromJson(sets->at(i)));
    } catch (const std::invalid_argument& e) {
      throw DocumentError(file.string() + ": sets[" + std::to_string(i) + "]: " + e.what());
    }
  }
  return document;
}

void ShadowCopyDocument::Save() const {
  nlohmann::json json = {{"format", kFormat}, {"version", kVersion}, {"sets", nlohmann::json::array()}};
  for (const auto& set : sets_) json["sets"].push_back(ToJson(set));
  const std::filesystem::path temporary = file_.string() + ".tmp";
  {
    std::ofstream out(temporary, std::ios::trunc | std::ios::binary);
    out << json.dump(2) << '\n';
    if (!out) throw std::runtime_error("cannot write " + temporary.string());
  }
  std::filesystem::rename(temporary, file_);
}

void ShadowCopyDocument::Put(const ShadowCopySet& set) {
  const auto same = std::find_if(sets_.begin(), sets_.end(),
                                 [&](const ShadowCopySet& s) { return s.snapshotSetId == set.snapshotSetId; });
  if (same == sets_.end()) {
    sets_.push_back(set);
    return;
  }
  for (const auto& volume : set.volumes) {
    const bool held = std::any_of(same->volumes.begin(), same->volumes.end(), [&](const ShadowCopyVolume& v) {
      return v.SnapshotSerial() == volume.SnapshotSerial();
    });
    if (!held) same->volumes.push_back(volume);
  }
}

void ShadowCopyDocument::Remove(const std::string& snapshotSetId, const std::string& snapshotSerial) {
  for (auto& set : sets_) {
    if (set.snapshotSetId != snapshotSetId) continue;
    std::erase_if(set.volumes, [&](const ShadowCopyVolume& v) { return v.SnapshotSerial() == snapshotSerial; });
  }
  std::erase_if(sets_, [](const ShadowCopySet& s) { return s.volumes.empty(); });
}

std::vector<ShadowCopySet> ShadowCopyDocument::Select(const std::vector<std::string>& names) const {
  std::vector<ShadowCopySet> selected;
  const auto selectedSet = [&](const ShadowCopySet& set) -> ShadowCopySet& {
    for (auto& s : selected)
      if (s.snapshotSetId == set.snapshotSetId) return s;
    ShadowCopySet copy = set;
    copy.volumes.clear();
    return selected.emplace_back(std::move(copy));
  };
  const auto add = [](ShadowCopySet& into, const ShadowCopyVolume& volume) {
    const bool already = std::any_of(into.volumes.begin(), into.volumes.end(), [&](const ShadowCopyVolume& v) {
      return v.SnapshotSerial() == volume.SnapshotSerial();
    });
    if (!already) into.volumes.push_back(volume);
  };
  for (const auto& name : names) {
    GUID id{};
    const std::string setId = wincompat::GuidFromString(name, id) ? wincompat::GuidToString(id) : std::string();
    bool found = false;
    for (const auto& set : sets_) {
      if (!setId.empty() && set.snapshotSetId == setId) {
        for (const auto& volume : set.volumes) add(selectedSet(set), volume);
        found = true;
      }
      for (const auto& volume : set.volumes) {
        if (volume.SnapshotSerial() != name) continue;
        add(selectedSet(set), volume);
        found = true;
      }
    }
    if (!found) throw DocumentError(file_.string() + ": holds no snapshot set or snapshot LUN '" + name + "'");
  }
  // Document order, whatever the order of the names.
  std::vector<ShadowCopySet> ordered;
  for (const auto& set : sets_)
    for (auto& s : selected)
      if (s.snapshotSetId == set.snapshotSetId) ordered.push_back(std::move(s));
  return ordered;
}

}  // namespace vantorvss
