#pragma once
// One listening HTTP(S) server on an already bound socket, with its own threads. It reports
// every TCP connection it accepts (the request log counts them) and, when stopped, ends the
// connections still open instead of waiting for their keep-alive to run out.

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/SharedPtr.h>
#include <Poco/ThreadPool.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace Poco::Net {
class TCPServer;
}

namespace arraysim {

class HttpServer {
public:
    using Handler = std::function<void(Poco::Net::HTTPServerRequest&, Poco::Net::HTTPServerResponse&)>;

    HttpServer(const Poco::Net::ServerSocket& socket, Handler handler, std::function<void()> onConnection);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const { return mPort; }
    void stop();

    class HandlerFactory;

private:
    std::uint16_t mPort;
    Poco::ThreadPool mPool;
    Poco::SharedPtr<HandlerFactory> mHandlers;
    std::unique_ptr<Poco::Net::TCPServer> mServer;
    bool mStopped = false;
};

// Binds without SO_REUSEPORT: two simulators must never share an address and port.
void bindListening(Poco::Net::ServerSocket& socket, const std::string& address, std::uint16_t port);

}  // namespace arraysim
