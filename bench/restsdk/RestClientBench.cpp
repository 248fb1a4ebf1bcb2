// What the client itself costs per operation, with the transport replaced by a canned answer:
// reading a 1,000-volume search answer into records, and building (and sending to the canned
// transport) a 64-entry bulk snapshot request.
#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>

#include "restsdk/RestSdk.h"

namespace {

using namespace VantorStorage::WS;

std::string gAnswerBody;
int gAnswerStatus = 200;
std::size_t gLastRequestBytes = 0;

class CannedConnection final : public vantor::http::Connection {
 public:
  vantor::http::Response send(const vantor::http::Request& request) override {
    gLastRequestBytes = request.body.size();
    vantor::http::Response response;
    response.status = gAnswerStatus;
    response.body = gAnswerBody;
    return response;
  }
  void setTimeouts(const vantor::http::Timeouts&) override {}
  vantor::http::Timeouts getTimeouts() const override { return {}; }
  void setTlsOptions(const vantor::http::TlsOptions&) override {}
  void close() override {}
};

std::unique_ptr<Client> loggedInClient() {
  ApiLibrary::getInstance().initialize("", nullptr, "bench", false);
  ApiLibrary::getInstance().setTransportFactory([] { return std::make_unique<CannedConnection>(); });
  auto client = std::make_unique<Client>("10.0.0.1", 5392, ApiLibrary::getInstance(), true, "", -1);
  gAnswerStatus = 201;
  gAnswerBody = R"({"data":{"id":"t","session_token":"s"}})";
  client->authenticate(AuthInfo("u", "p"));
  return client;
}

// The attributes the volume lookup by serial number asks for, with array-like values.
std::string volumeSearchAnswer(int count) {
  nlohmann::json data = nlohmann::json::array();
  for (int i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    char serial[33];
    std::snprintf(serial, sizeof(serial), "6b1c2d3e4f5a6b7c8d9e0f1a%08x", static_cast<unsigned>(i));
    data.push_back({{"id", "0a1b2c3d4e5f6071-vol-" + n},
                    {"size", 102400},
                    {"name", "volume-" + n},
                    {"serial_number", serial},
                    {"description", "database volume " + n},
                    {"block_size", 4096},
                    {"target_name", "iqn.2007-11.com.vantor:group-volume-" + n},
                    {"parent_vol_name", ""},
                    {"base_snap_name", ""},
                    {"num_connections", 2},
                    {"access_control_records",
                     {{{"access_protocol", "iscsi"}, {"initiator_name", "iqn.1991-05.com.microsoft:host1"}},
                      {{"access_protocol", "iscsi"}, {"initiator_name", "iqn.1991-05.com.microsoft:host2"}}}},
                    {"vpd_t10", "VANTOR  volume-" + n},
                    {"vpd_ieee0", "6000c2a1b2c3d4e5"},
                    {"vpd_ieee1", "0011223344556677"},
                    {"iscsi_target_scope", "volume"}});
  }
  return nlohmann::json{{"data", data}, {"total", count}}.dump();
}

void BM_ParseVolumeSearch1000(benchmark::State& state) {
  const auto client = loggedInClient();
  const auto volumes = client->getV1ObjectSetFactory()->getVolumeObjectSet();
  gAnswerStatus = 200;
  gAnswerBody = volumeSearchAnswer(1000);
  v1::GetParams params;
  for (const char* field : {"id", "size", "name", "serial_number", "description", "block_size", "target_name",
                            "parent_vol_name", "base_snap_name", "num_connections", "access_control_records",
                            "vpd_t10", "vpd_ieee0", "vpd_ieee1", "iscsi_target_scope"})
    params.getAttributeSelector().addAttribute(field);
  for (auto _ : state) {
    const auto list = volumes->getObjectList(params);
    benchmark::DoNotOptimize(list->back()->getVpdIeee1().data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(gAnswerBody.size()));
  state.counters["answer_bytes"] = static_cast<double>(gAnswerBody.size());
}
BENCHMARK(BM_ParseVolumeSearch1000)->Unit(benchmark::kMillisecond);

void BM_BuildBulkCreate64(benchmark::State& state) {
  const auto client = loggedInClient();
  const auto snapshots = client->getV1ObjectSetFactory()->getSnapshotObjectSet();
  gAnswerStatus = 201;
  gAnswerBody = R"({"data":{"snap_list":[]}})";
  for (auto _ : state) {
    // The whole request as the array layer makes it: shared metadata, one entry per volume.
    auto metadata = std::make_shared<v1::VsKeyValueList>();
    metadata->push_back(
        std::make_shared<v1::VsKeyValue>("vss_vs_snapshot_set_id", "{6d3f2a1b-0c4e-4f5a-9b8c-7d6e5f4a3b2c}"));
    v1::VsSnapVolList entries;
    entries.reserve(64);
    for (int i = 0; i < 64; ++i) {
      auto entry = std::make_shared<v1::VsSnapVol>();
      entry->setVolId("0a1b2c3d4e5f6071-vol-" + std::to_string(i));
      entry->setSnapName("{6d3f2a1b-0c4e-4f5a-9b8c-7d6e5f4a3b2c}");
      entry->setOnline(false);
      entry->setWritable(false);
      entry->setMetadata(metadata);
      entries.push_back(std::move(entry));
    }
    benchmark::DoNotOptimize(snapshots->bulkCreate(entries).get());
  }
  state.counters["request_bytes"] = static_cast<double>(gLastRequestBytes);
}
BENCHMARK(BM_BuildBulkCreate64)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
