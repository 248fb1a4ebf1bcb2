#pragma once
// A scripted array behind the REST library's transport: answers are queued in order and every
// request is recorded. It is installed through ApiLibrary's transport factory, so the code
// above it is the real one, down to the bytes it would put on the wire.
#include <nlohmann/json.hpp>

#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "http/Exchange.h"
#include "http/Transport.h"
#include "http/TransportError.h"

namespace testsupport {

class ScriptedArray {
 public:
  void Answer(int status, const nlohmann::json& body) { AnswerRaw(status, body.dump()); }
  void AnswerRaw(int status, std::string body) { mAnswers.push_back({status, std::move(body), false, {}}); }
  void Fail(vantor::http::TransportErrorKind kind = vantor::http::TransportErrorKind::Dropped) {
    mAnswers.push_back({0, {}, true, kind});
  }
  // A server error with one message carrying `code` (none when empty).
  void Error(int status, const std::string& code) {
    nlohmann::json messages = nlohmann::json::array();
    if (!code.empty()) messages.push_back({{"code", code}, {"text", "scripted"}, {"severity", "error"}});
    Answer(status, {{"messages", messages}});
  }
  void Session() { Answer(201, {{"data", {{"id", "tok-1"}, {"session_token", "token-1"}, {"username", "admin"}}}}); }
  void Objects(const nlohmann::json& objects) { Answer(200, {{"data", objects}, {"total", objects.size()}}); }

  vantor::http::Response Exchange(const vantor::http::Request& request) {
    mSent.push_back(request);
    if (mAnswers.empty()) throw std::logic_error("no answer queued for " + request.method + " " + request.path);
    const Scripted next = mAnswers.front();
    mAnswers.pop_front();
    if (next.fails) throw vantor::http::TransportError(next.failure, "scripted transport failure");
    vantor::http::Response response;
    response.status = next.status;
    // As a real transport reads it: the request's limits and inspector see the body.
    vantor::http::detail::appendBodyPiece(request, response.body, next.body);
    return response;
  }

  const std::vector<vantor::http::Request>& Sent() const { return mSent; }
  const vantor::http::Request& LastRequest() const { return mSent.back(); }
  // "METHOD /path" of every request, in order.
  std::vector<std::string> Requests() const {
    std::vector<std::string> lines;
    for (const auto& request : mSent) lines.push_back(request.method + " " + request.path);
    return lines;
  }
  const std::string& LastBody() const { return mSent.back().body; }
  nlohmann::json LastJson() const { return nlohmann::json::parse(mSent.back().body); }
  std::size_t Unanswered() const { return mAnswers.size(); }
  static const std::string* Header(const vantor::http::Request& request, const std::string& name) {
    for (const auto& h : request.headers)
      if (h.name == name) return &h.value;
    return nullptr;
  }

 private:
  struct Scripted {
    int status;
    std::string body;
    bool fails;
    vantor::http::TransportErrorKind failure;
  };
  std::deque<Scripted> mAnswers;
  std::vector<vantor::http::Request> mSent;
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

}  // namespace testsupport
