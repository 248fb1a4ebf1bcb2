#pragma once
// A scripted stand-in for the array behind the transport: tests queue answers and read the
// recorded requests. It is installed through ApiLibrary's transport factory, so the client
// code under test is the real one down to the bytes it would put on the wire.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "http/Exchange.h"
#include "http/TransportError.h"
#include "restsdk/RestSdk.h"

namespace restsdk_test {

class FakeArray {
 public:
  void answer(int status, std::string body) { mAnswers.push_back(Answer{status, std::move(body), false, {}}); }
  void answerJson(int status, const nlohmann::json& body) { answer(status, body.dump()); }
  void failWith(vantor::http::TransportErrorKind kind) { mAnswers.push_back(Answer{0, {}, true, kind}); }

  vantor::http::Response exchange(const vantor::http::Request& request) {
    mRequests.push_back(request);
    if (mAnswers.empty()) throw std::logic_error("FakeArray: no answer queued for " + request.method + " " + request.path);
    const Answer next = mAnswers.front();
    mAnswers.pop_front();
    if (next.fails) throw vantor::http::TransportError(next.failure, "scripted transport failure");
    vantor::http::Response response;
    response.status = next.status;
    // As a real transport reads it: the request's limits and inspector see the body.
    vantor::http::detail::appendBodyPiece(request, response.body, next.body);
    return response;
  }

  const std::vector<vantor::http::Request>& requests() const { return mRequests; }
  const vantor::http::Request& lastRequest() const { return mRequests.back(); }
  nlohmann::json lastBody() const { return nlohmann::json::parse(mRequests.back().body); }
  static const std::string* header(const vantor::http::Request& request, const std::string& name) {
    for (const auto& h : request.headers)
      if (h.name == name) return &h.value;
    return nullptr;
  }

 private:
  struct Answer {
    int status;
    std::string body;
    bool fails;
    vantor::http::TransportErrorKind failure;
  };
  std::deque<Answer> mAnswers;
  std::vector<vantor::http::Request> mRequests;
};

class FakeConnection final : public vantor::http::Connection {
 public:
  explicit FakeConnection(std::shared_ptr<FakeArray> array) : mArray(std::move(array)) {}
  vantor::http::Response send(const vantor::http::Request& request) override { return mArray->exchange(request); }
  void setTimeouts(const vantor::http::Timeouts& timeouts) override { mTimeouts = timeouts; }
  vantor::http::Timeouts getTimeouts() const override { return mTimeouts; }
  void setTlsOptions(const vantor::http::TlsOptions&) override {}
  void close() override {}

 private:
  std::shared_ptr<FakeArray> mArray;
  vantor::http::Timeouts mTimeouts;
};

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

// A client with a session over the fake array.
class ClientOverFakeArray : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& library = VantorStorage::WS::ApiLibrary::getInstance();
    library.initialize("", logger, "unit-test", /*traceRequests=*/true);
    library.setTransportFactory([array = array] { return std::make_unique<FakeConnection>(array); });
    client = std::make_unique<VantorStorage::WS::Client>("10.0.0.1", 5392, library, true, "", -1);
  }
  void TearDown() override { VantorStorage::WS::ApiLibrary::getInstance().setTransportFactory({}); }

  void logIn() {
    array->answerJson(201, nlohmann::json{{"data", {{"id", "tok-1"}, {"session_token", "secret-token"}, {"username", "u"}}}});
    client->authenticate(VantorStorage::WS::AuthInfo("admin", "pa55word"));
  }

  std::shared_ptr<FakeArray> array = std::make_shared<FakeArray>();
  std::shared_ptr<CapturingLogger> logger = std::make_shared<CapturingLogger>();
  std::unique_ptr<VantorStorage::WS::Client> client;
};

}  // namespace restsdk_test
