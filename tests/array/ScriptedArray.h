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
class OverScriptedArray : public ::testing::Test {
 protected:
  void SetUp() override {
    discovery::ResetConfigurationCaches();
    auto& library = VantorStorage::WS::ApiLibrary::getInstance();
    library.initialize("", nullptr, "array-tests", false);
    library.setTransportFactory([array = array] { return std::make_unique<testsupport::ScriptedConnection>(array); });
    connection = std::make_unique<Vantor::RestConnection>("10.9.8.7", Vantor::LoginInfo("admin", "s3cr3t-pw"));
  }
  void TearDown() override {
    connection.reset();
    VantorStorage::WS::ApiLibrary::getInstance().setTransportFactory({});
  }

  hosttest::TraceCapture trace;
  hosttest::ScopedSeam<platform::Registry> registry{std::make_unique<platform::EmulatedRegistry>()};
  std::shared_ptr<ScriptedArray> array = std::make_shared<ScriptedArray>();
  std::unique_ptr<Vantor::RestConnection> connection;
};

}  // namespace arraytest
