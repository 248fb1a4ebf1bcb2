#pragma once
// The request framework and the records over the scripted array (ScriptedTransport.h).
#include <gtest/gtest.h>

#include <memory>

#include "HostTestSupport.h"
#include "ScriptedTransport.h"
#include "array/LoginInfo.h"
#include "array/RestConnection.h"
#include "discovery/ConfigurationValues.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "restsdk/ApiLibrary.h"

namespace arraytest {

using testsupport::ScriptedArray;

// A connection to a scripted array, with an empty emulated registry and the trace captured.
// The handshake that reads an unpinned array's certificate answers `presented` (or fails when
// it is empty) without touching the network.
class OverScriptedArray : public ::testing::Test {
 protected:
  void SetUp() override {
    discovery::ResetConfigurationCaches();
    auto& library = VantorStorage::WS::ApiLibrary::getInstance();
    library.initialize("", nullptr, "array-tests", false);
    library.setTransportFactory([array = array] { return std::make_unique<testsupport::ScriptedConnection>(array); });
    library.setCertificateProbe([this](const std::string& host, std::uint16_t) {
      probed.push_back(host);
      if (presented.empty())
        throw vantor::http::TransportError(vantor::http::TransportErrorKind::Tls, "scripted handshake failure");
      return presented;
    });
    connection = std::make_unique<Vantor::RestConnection>("10.9.8.7", Vantor::LoginInfo("admin", "s3cr3t-pw"));
  }
  void TearDown() override {
    connection.reset();
    VantorStorage::WS::ApiLibrary::getInstance().setTransportFactory({});
    VantorStorage::WS::ApiLibrary::getInstance().setCertificateProbe({});
  }

  std::string presented = std::string(64, 'c');
  std::vector<std::string> probed;  // the hosts whose certificate was read

  hosttest::TraceCapture trace;
  hosttest::ScopedSeam<platform::Registry> registry{std::make_unique<platform::EmulatedRegistry>()};
  std::shared_ptr<ScriptedArray> array = std::make_shared<ScriptedArray>();
  std::unique_ptr<Vantor::RestConnection> connection;
};

}  // namespace arraytest
