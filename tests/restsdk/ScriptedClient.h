#pragma once
// The REST client over the scripted array (ScriptedTransport.h), with every line the library
// logs kept.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

#include "ScriptedTransport.h"
#include "restsdk/RestSdk.h"

namespace restsdk_test {

// Keeps every line the library logs, with its level.
class CapturingLogger final : public VantorStorage::WS::VantorApiLogger {
 public:
  void logDebug(const std::string& m) override { lines.push_back("D " + m); }
  void logInfo(const std::string& m) override { lines.push_back("I " + m); }
  void logError(const std::string& m) override { lines.push_back("E " + m); }
  void logWarning(const std::string& m) override { lines.push_back("W " + m); }
  void logFatal(const std::string& m) override { lines.push_back("F " + m); }
  std::string all() const {
    std::string text;
    for (const auto& line : lines) text += line + "\n";
    return text;
  }
  std::vector<std::string> lines;
};

// A client over the scripted array; logIn() opens its session.
class ClientOverScriptedArray : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& library = VantorStorage::WS::ApiLibrary::getInstance();
    library.initialize("", logger, "unit-test", /*traceRequests=*/true);
    library.setTransportFactory([array = array] { return std::make_unique<testsupport::ScriptedConnection>(array); });
    client = std::make_unique<VantorStorage::WS::Client>("10.0.0.1", 5392, library, true, "", -1);
  }
  void TearDown() override { VantorStorage::WS::ApiLibrary::getInstance().setTransportFactory({}); }

  void logIn() {
    array->Answer(201, nlohmann::json{{"data", {{"id", "tok-1"}, {"session_token", "secret-token"}, {"username", "u"}}}});
    client->authenticate(VantorStorage::WS::AuthInfo("admin", "pa55word"));
  }

  std::shared_ptr<testsupport::ScriptedArray> array = std::make_shared<testsupport::ScriptedArray>();
  std::shared_ptr<CapturingLogger> logger = std::make_shared<CapturingLogger>();
  std::unique_ptr<VantorStorage::WS::Client> client;
};

}  // namespace restsdk_test
