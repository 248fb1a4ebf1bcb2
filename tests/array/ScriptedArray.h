#pragma once
// A scripted array behind the REST library's transport, for the tests of the request
// framework and the records: answers are queued in order, requests are recorded. The library
// above it is the real one, so what is tested is what would go on the wire.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "array/LoginInfo.h"
#include "array/RestConnection.h"
#include "discovery/ConfigurationValues.h"
#include "http/TransportError.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "restsdk/ApiLibrary.h"

namespace arraytest {

class ScriptedArray {
 public:
  void Answer(int status, const nlohmann::json& body) { mAnswers.push_back({status, body.dump(), false}); }
  void AnswerRaw(int status, std::string body) { mAnswers.push_back({status, std::move(body), false}); }
  void Fail() { mAnswers.push_back({0, {}, true}); }
  // A server error with one message carrying `code` (none when empty).
  void Error(int status, const std::string& code) {
    nlohmann::json messages = nlohmann::json::array();
    if (!code.empty()) messages.push_back({{"code", code}, {"text", "scripted"}, {"severity", "error"}});
    Answer(status, {{"messages", messages}});
  }
  void Session() { Answer(201, {{"data", {{"id", "tok-1"}, {"session_token", "token-1"}, {"username", "admin"}}}}); }
  void Objects(const nlohmann::json& objects) { Answer(200, {{"data", objects}, {"total", objects.size()}}); }

  vantor::http::Response Exchange(const vantor::http::Request& request) {
    mRequests.push_back(request.method + " " + request.path);
    mBodies.push_back(request.body);
    if (mAnswers.empty()) throw std::logic_error("no answer queued for " + mRequests.back());
    const Scripted next = mAnswers.front();
    mAnswers.pop_front();
    if (next.fails) throw vantor::http::TransportError(vantor::http::TransportErrorKind::Dropped, "scripted drop");
    vantor::http::Response response;
    response.status = next.status;
    response.body = next.body;
    return response;
  }
  // "METHOD /path" of every request, in order.
  const std::vector<std::string>& Requests() const { return mRequests; }
  const std::string& LastBody() const { return mBodies.back(); }
  std::size_t Unanswered() const { return mAnswers.size(); }

 private:
  struct Scripted {
    int status;
    std::string body;
    bool fails;
  };
  std::deque<Scripted> mAnswers;
  std::vector<std::string> mRequests;
  std::vector<std::string> mBodies;
};

class ScriptedConnection final : public vantor::http::Connection {
 public:
  explicit ScriptedConnection(std::shared_ptr<ScriptedArray> array) : mArray(std::move(array)) {}
  vantor::http::Response send(const vantor::http::Request& request) override { return mArray->Exchange(request); }
  void setTimeouts(const vantor::http::Timeouts& timeouts) override { mTimeouts = timeouts; }
  vantor::http::Timeouts getTimeouts() const override { return mTimeouts; }
  void setTlsOptions(const vantor::http::TlsOptions&) override {}
  void close() override {}

 private:
  std::shared_ptr<ScriptedArray> mArray;
  vantor::http::Timeouts mTimeouts;
};

// A connection to a scripted array, with an empty emulated registry and the trace captured.
// The handshake that reads an unpinned array's certificate answers `presented` (or fails when
// it is empty) without touching the network.
class OverScriptedArray : public ::testing::Test {
 protected:
  void SetUp() override {
    discovery::ResetConfigurationCaches();
    auto& library = VantorStorage::WS::ApiLibrary::getInstance();
    library.initialize("", nullptr, "array-tests", false);
    library.setTransportFactory([array = array] { return std::make_unique<ScriptedConnection>(array); });
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
