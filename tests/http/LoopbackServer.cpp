#include "LoopbackServer.h"

#include <cctype>
#include <chrono>
#include <cstring>
#include <stdexcept>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
using SocketHandle = SOCKET;
using SocketLength = int;
namespace {
void closeSocket(SocketHandle s) { closesocket(s); }
constexpr int kShutdownBoth = SD_BOTH;
constexpr int kSendFlags = 0;
struct WinsockUser {
  WinsockUser() {
    WSADATA data{};
    WSAStartup(MAKEWORD(2, 2), &data);
  }
  ~WinsockUser() { WSACleanup(); }
};
const WinsockUser gWinsock;
}  // namespace
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
using SocketHandle = int;
using SocketLength = socklen_t;
namespace {
void closeSocket(SocketHandle s) { ::close(s); }
constexpr int kShutdownBoth = SHUT_RDWR;
constexpr int kSendFlags = MSG_NOSIGNAL;  // a client that hung up must not kill the test
}  // namespace
#endif

namespace http_test {

namespace {

SocketHandle handleOf(std::intptr_t value) { return static_cast<SocketHandle>(value); }

bool sendAll(SocketHandle s, const std::string& data) {
  std::size_t sent = 0;
  while (sent < data.size()) {
    const int n = static_cast<int>(::send(s, data.data() + sent, static_cast<int>(data.size() - sent), kSendFlags));
    if (n <= 0) return false;
    sent += static_cast<std::size_t>(n);
  }
  return true;
}

// Waits in short slices so that a stopping server never hangs in a blocking call (under Wine,
// shutting a socket down from another thread does not wake a blocked recv or accept).
bool waitReadable(SocketHandle s, const std::atomic<bool>& stopping) {
  while (!stopping) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(s, &readable);
    timeval slice{0, 50000};
    const int ready = ::select(static_cast<int>(s) + 1, &readable, nullptr, nullptr, &slice);
    if (ready < 0) return false;
    if (ready > 0) return true;
  }
  return false;
}

int receiveSome(SocketHandle s, char* buffer, int size, const std::atomic<bool>& stopping) {
  if (!waitReadable(s, stopping)) return -1;
  return static_cast<int>(::recv(s, buffer, size, 0));
}

// Reads one request (headers, then Content-Length bytes). False when the peer closed.
bool readRequest(SocketHandle s, std::string& pending, std::string& head, std::string& body,
                 const std::atomic<bool>& stopping) {
  char buffer[4096];
  std::size_t end;
  while ((end = pending.find("\r\n\r\n")) == std::string::npos) {
    const int n = receiveSome(s, buffer, sizeof(buffer), stopping);
    if (n <= 0) return false;
    pending.append(buffer, static_cast<std::size_t>(n));
  }
  head = pending.substr(0, end);
  pending.erase(0, end + 4);
  std::size_t length = 0;
  std::string lower = head;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (const std::size_t at = lower.find("content-length:"); at != std::string::npos)
    length = static_cast<std::size_t>(std::stoul(head.substr(at + 15)));
  while (pending.size() < length) {
    const int n = receiveSome(s, buffer, sizeof(buffer), stopping);
    if (n <= 0) return false;
    pending.append(buffer, static_cast<std::size_t>(n));
  }
  body = pending.substr(0, length);
  pending.erase(0, length);
  return true;
}

std::string answerText(const Step& step, std::size_t announcedLength) {
  return "HTTP/1.1 " + std::to_string(step.status) + " Scripted\r\nContent-Type: application/json\r\nX-Step: yes\r\n" +
         "Content-Length: " + std::to_string(announcedLength) + "\r\n\r\n";
}

}  // namespace

LoopbackServer::LoopbackServer(const std::string& host, std::uint16_t port) {
  const SocketHandle listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (::inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
    closeSocket(listener);
    throw std::runtime_error("LoopbackServer: bad address " + host);
  }
  address.sin_port = htons(port);
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || ::listen(listener, 16) != 0) {
    closeSocket(listener);
    throw std::runtime_error("LoopbackServer: cannot listen on " + host + ":" + std::to_string(port));
  }
  SocketLength length = sizeof(address);
  ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  mPort = ntohs(address.sin_port);
  mListener = static_cast<std::intptr_t>(listener);
  mAcceptor = std::thread([this] { acceptLoop(); });
}

LoopbackServer::~LoopbackServer() {
  // A client library may keep its idle connection pooled after its handles are gone (Wine's
  // WinHTTP does, for half a minute); the workers notice the flag instead of waiting for it.
  mStopping = true;
  mAcceptor.join();
  closeSocket(handleOf(mListener));
  for (std::thread& worker : mWorkers) worker.join();
}

void LoopbackServer::script(Step step) {
  const std::lock_guard<std::mutex> lock(mMutex);
  mSteps.push_back(std::move(step));
}

std::vector<std::string> LoopbackServer::requests() const {
  const std::lock_guard<std::mutex> lock(mMutex);
  return mRequests;
}

bool LoopbackServer::nextStep(Step& step) {
  const std::lock_guard<std::mutex> lock(mMutex);
  if (mSteps.empty()) return false;
  step = mSteps.front();
  mSteps.pop_front();
  return true;
}

void LoopbackServer::acceptLoop() {
  while (waitReadable(handleOf(mListener), mStopping)) {
    const SocketHandle client = ::accept(handleOf(mListener), nullptr, nullptr);
    ++mConnections;
    mWorkers.emplace_back([this, client] { serve(static_cast<std::intptr_t>(client)); });
  }
}

void LoopbackServer::serve(std::intptr_t clientValue) {
  const SocketHandle client = handleOf(clientValue);
  std::string pending, head, body;
  bool handshake = false;
  {
    const std::lock_guard<std::mutex> lock(mMutex);
    handshake = !mSteps.empty() && mSteps.front().kind == Step::Kind::TrickleHandshake;
  }
  Step trickle;
  if (handshake && nextStep(trickle)) {
    char hello[4096];
    bool keep = receiveSome(client, hello, sizeof(hello), mStopping) > 0 && sendAll(client, std::string("\x16\x03\x03\x40\x00", 5));
    for (int i = 0; keep && i < 0x4000 && !mStopping; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(trickle.delayMs));
      keep = sendAll(client, std::string(1, '\x02'));
    }
  }
  while (!handshake && !mStopping && readRequest(client, pending, head, body, mStopping)) {
    {
      const std::lock_guard<std::mutex> lock(mMutex);
      mRequests.push_back(head.substr(0, head.find(" HTTP/")) + (body.empty() ? "" : " " + body));
    }
    Step step;
    if (!nextStep(step)) break;
    bool keep = true;
    switch (step.kind) {
      case Step::Kind::DelayThenAnswer:
        std::this_thread::sleep_for(std::chrono::milliseconds(step.delayMs));
        keep = sendAll(client, answerText(step, step.body.size()) + step.body);
        break;
      case Step::Kind::Answer:
        keep = sendAll(client, answerText(step, step.body.size()) + step.body);
        break;
      case Step::Kind::AnswerThenClose:
        sendAll(client, answerText(step, step.body.size()) + step.body);
        keep = false;
        break;
      case Step::Kind::CloseWithoutAnswer:
        keep = false;
        break;
      case Step::Kind::TruncatedBody:
        sendAll(client, answerText(step, step.body.size() + 100) + step.body);
        keep = false;
        break;
      case Step::Kind::OverAnnounced:
        keep = sendAll(client, answerText(step, std::size_t{64} << 20) + step.body);
        break;
      case Step::Kind::NotHttp:
        sendAll(client, "THIS IS NOT HTTP\r\n\r\n");
        keep = false;
        break;
      case Step::Kind::Trickle:
      case Step::Kind::TrickleBody: {
        const std::string headers = answerText(step, step.body.size());
        const bool wholeAnswer = step.kind == Step::Kind::Trickle;
        const std::string answer = wholeAnswer ? headers + step.body : step.body;
        if (!wholeAnswer) keep = sendAll(client, headers);
        for (std::size_t i = 0; keep && i < answer.size() && !mStopping; ++i) {
          keep = sendAll(client, answer.substr(i, 1));
          std::this_thread::sleep_for(std::chrono::milliseconds(step.delayMs));
        }
        break;
      }
      case Step::Kind::TrickleHandshake:
        keep = false;  // only the first step of a connection
        break;
      case Step::Kind::EndlessBody: {
        sendAll(client, "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nConnection: close\r\n\r\n");
        const std::string chunk(1 << 16, 'x');
        while (!mStopping && sendAll(client, chunk)) {
        }
        keep = false;
        break;
      }
    }
    if (!keep) break;
  }
  ::shutdown(client, kShutdownBoth);
  closeSocket(client);
}

std::uint16_t LoopbackServer::unusedPort() {
  const SocketHandle s = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(s, reinterpret_cast<sockaddr*>(&address), sizeof(address));
  SocketLength length = sizeof(address);
  ::getsockname(s, reinterpret_cast<sockaddr*>(&address), &length);
  closeSocket(s);
  return ntohs(address.sin_port);
}

}  // namespace http_test
