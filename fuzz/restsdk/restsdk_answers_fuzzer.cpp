// Feeds arbitrary bytes to the REST client as the array's answer: the first byte picks the
// operation and the HTTP status class, the rest is the body. Whatever the answer, the client
// must end in a record or in one of its exceptions, and every accessor of what it returned
// must either answer or throw AttributeNotSetException.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "restsdk/RestSdk.h"

namespace {

using namespace VantorStorage::WS;

struct Answer {
  int status = 200;
  std::string body;
};
Answer gAnswer;

class ScriptedConnection final : public vantor::http::Connection {
 public:
  vantor::http::Response send(const vantor::http::Request&) override {
    vantor::http::Response response;
    response.status = gAnswer.status;
    response.body = gAnswer.body;
    return response;
  }
  void setTimeouts(const vantor::http::Timeouts&) override {}
  vantor::http::Timeouts getTimeouts() const override { return {}; }
  void setTlsOptions(const vantor::http::TlsOptions&) override {}
  void close() override {}
};

template <class Read>
void touch(Read read) {
  try {
    read();
  } catch (const AttributeNotSetException&) {
  }
}

void touchAcl(const v1::AccessControlRecordListPtr& acl) {
  for (const auto& record : *acl) {
    touch([&] { record->getAccessProtocol(); });
    touch([&] { record->getInitiatorName(); });
  }
}

void touchMetadata(const v1::VsKeyValueListPtr& metadata) {
  if (!metadata) return;
  for (const auto& pair : *metadata) {
    touch([&] { pair->getKey(); });
    touch([&] { pair->getValue(); });
  }
}

void touchVolume(const v1::Volume& v) {
  touch([&] { v.getId(); });
  touch([&] { v.getName(); });
  touch([&] { v.getSize(); });
  touch([&] { v.getSerialNumber(); });
  touch([&] { v.getBlockSize(); });
  touch([&] { v.getNumConnections(); });
  touch([&] { v.getOnline(); });
  touch([&] { touchAcl(v.getAccessControlRecords()); });
  touch([&] { v.getVpdT10(); });
  touch([&] { v.getVpdIeee0(); });
  touch([&] { v.getVpdIeee1(); });
  touch([&] { touchMetadata(v.getMetadata()); });
}

void touchSnapshot(const v1::Snapshot& s) {
  touch([&] { s.getId(); });
  touch([&] { s.getVolId(); });
  touch([&] { s.getSize(); });
  touch([&] { s.getOnline(); });
  touch([&] { touchAcl(s.getAccessControlRecords()); });
  touch([&] { s.getVpdIeee1(); });
  touch([&] { touchMetadata(s.getMetadata()); });
}

Client& client() {
  static std::unique_ptr<Client> instance = [] {
    ApiLibrary::getInstance().initialize("", nullptr, "fuzz", false);
    ApiLibrary::getInstance().setTransportFactory([] { return std::make_unique<ScriptedConnection>(); });
    auto made = std::make_unique<Client>("10.0.0.1", 5392, ApiLibrary::getInstance(), true, "", -1);
    gAnswer = {201, R"({"data":{"id":"t","session_token":"s"}})"};
    made->authenticate(AuthInfo("u", "p"));
    return made;
  }();
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Client& c = client();
  const std::uint8_t selector = data[0];
  gAnswer.status = (selector & 0x80) ? 409 : 200;
  gAnswer.body.assign(reinterpret_cast<const char*>(data + 1), size - 1);
  const auto factory = c.getV1ObjectSetFactory();
  try {
    switch (selector % 5) {
      // Each list is held in a named pointer: a range-for over *temporary() would outlive it.
      case 0: {
        const auto volumes = factory->getVolumeObjectSet()->getObjectList(v1::GetParams{});
        for (const auto& v : *volumes) touchVolume(*v);
        break;
      }
      case 1: {
        const auto snapshots = factory->getSnapshotObjectSet()->getObjectList(v1::GetParams{});
        for (const auto& s : *snapshots) touchSnapshot(*s);
        break;
      }
      case 2: {
        auto entry = std::make_shared<v1::VsSnapVol>();
        entry->setVolId("v");
        entry->setSnapName("s");
        const auto created = factory->getSnapshotObjectSet()->bulkCreate({entry})->getSnapList();
        for (const auto& s : *created) touchSnapshot(*s);
        break;
      }
      case 3: {
        const auto groups = factory->getGroupObjectSet()->getObjectList(v1::GetParams{});
        for (const auto& g : *groups) {
          touch([&] { g->getVersionCurrent(); });
          touch([&] { g->getId(); });
        }
        break;
      }
      default: {
        v1::Volume change;
        change.setOnline(true);
        touchVolume(*factory->getVolumeObjectSet()->updateObject("v", change, false));
        break;
      }
    }
  } catch (const GroupMgmtServerException& e) {
    for (const auto& message : e.getMessages()) {
      if (message.getCode().size() + message.getText().size() + message.getSeverity().size() > size) __builtin_trap();
    }
  } catch (const ApiException&) {
  }
  return 0;
}
