#pragma once
// A tiny HTTP/1.1 server on 127.0.0.1 for the transport tests, built on plain sockets so that
// the same tests run natively and under Wine. Each request it reads is handled by the next
// scripted step; it counts the TCP connections it accepted.
#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace http_test {

struct Step {
  enum class Kind {
    Answer,            // answer and keep the connection
    AnswerThenClose,   // answer (without "Connection: close") and close: an idle close
    CloseWithoutAnswer,
    DelayThenAnswer,
    TruncatedBody,     // announce more bytes than are sent, then close
    OverAnnounced,     // announce more bytes than any answer may hold, send a few, keep the connection
    NotHttp,
    EndlessBody,       // stream bytes without a length until the client gives up
    Trickle,           // the whole answer, status line first, one byte every delayMs
    TrickleBody,       // the headers at once, then the body one byte every delayMs
    TrickleHandshake,  // on a new connection, before any request: reads the client's first TLS
                       // bytes, then answers a TLS record of 16 KiB one byte every delayMs
  };
  Kind kind = Kind::Answer;
  int status = 200;
  std::string body;
  int delayMs = 0;
};

class LoopbackServer {
 public:
  // Listens on `address` (a loopback IPv4 text) and `port` (0: any free one).
  explicit LoopbackServer(const std::string& address = "127.0.0.1", std::uint16_t port = 0);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::uint16_t port() const { return mPort; }
  void script(Step step);
  int connections() const { return mConnections.load(); }
  // Requests seen so far as "METHOD PATH" plus the body after a blank.
  std::vector<std::string> requests() const;

  // A port on which nothing listens (bound, then closed again).
  static std::uint16_t unusedPort();

 private:
  void acceptLoop();
  void serve(std::intptr_t client);
  bool nextStep(Step& step);

  std::intptr_t mListener = -1;
  std::uint16_t mPort = 0;
  std::atomic<bool> mStopping{false};
  std::atomic<int> mConnections{0};
  mutable std::mutex mMutex;
  std::deque<Step> mSteps;
  std::vector<std::string> mRequests;
  std::vector<std::thread> mWorkers;
  std::thread mAcceptor;
};

}  // namespace http_test
