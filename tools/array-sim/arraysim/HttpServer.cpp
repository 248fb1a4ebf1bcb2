#include "arraysim/HttpServer.h"

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServerConnectionFactory.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/TCPServer.h>

#include <chrono>
#include <thread>

namespace arraysim {

namespace {

constexpr int kMaxThreads = 16;

class CallbackHandler : public Poco::Net::HTTPRequestHandler {
public:
    explicit CallbackHandler(const HttpServer::Handler& handler) : mHandler(handler) {}
    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override {
        mHandler(request, response);
    }

private:
    const HttpServer::Handler& mHandler;
};

// Counts a connection when the server takes it up, then lets POCO's HTTP connection serve it.
class CountingConnectionFactory : public Poco::Net::TCPServerConnectionFactory {
public:
    CountingConnectionFactory(Poco::Net::HTTPServerParams::Ptr params,
                              Poco::Net::HTTPRequestHandlerFactory::Ptr handlers,
                              std::function<void()> onConnection)
        : mInner(std::move(params), std::move(handlers)), mOnConnection(std::move(onConnection)) {}

    Poco::Net::TCPServerConnection* createConnection(const Poco::Net::StreamSocket& socket) override {
        if (mOnConnection) mOnConnection();
        return mInner.createConnection(socket);
    }

private:
    Poco::Net::HTTPServerConnectionFactory mInner;
    std::function<void()> mOnConnection;
};

}  // namespace

class HttpServer::HandlerFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    explicit HandlerFactory(Handler handler) : mHandler(std::move(handler)) {}
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest&) override {
        return new CallbackHandler(mHandler);  // POCO takes ownership
    }
    // Tells every open connection to shut its socket down now.
    void abortConnections() { serverStopped(this, true); }

private:
    Handler mHandler;
};

void bindListening(Poco::Net::ServerSocket& socket, const std::string& address, std::uint16_t port) {
    socket.bind(Poco::Net::SocketAddress(address, port), true, false);
    socket.listen(64);
}

HttpServer::HttpServer(const Poco::Net::ServerSocket& socket, Handler handler, std::function<void()> onConnection)
    : mPort(socket.address().port()), mPool(2, kMaxThreads) {
    Poco::Net::HTTPServerParams::Ptr params = new Poco::Net::HTTPServerParams;
    params->setMaxThreads(kMaxThreads);
    params->setMaxQueued(64);
    params->setKeepAlive(true);
    params->setMaxKeepAliveRequests(1000000);  // POCO's default of 0 turns keep-alive off
    params->setKeepAliveTimeout(Poco::Timespan(10, 0));
    params->setTimeout(Poco::Timespan(30, 0));
    // The handler factory is shared with POCO's connections and kept here to abort them on stop.
    mHandlers = new HandlerFactory(std::move(handler));
    mServer = std::make_unique<Poco::Net::TCPServer>(
        new CountingConnectionFactory(params, mHandlers, std::move(onConnection)), mPool, socket, params);
    mServer->start();
}

HttpServer::~HttpServer() { stop(); }

void HttpServer::stop() {
    if (mStopped) return;
    mStopped = true;
    mServer->stop();
    // A connection taken up just as the server stopped may have missed the first abort; repeat
    // until every worker has left (bounded, a worker stuck elsewhere must not hang the stop).
    for (int i = 0; i < 500 && mPool.used() > 0; ++i) {
        mHandlers->abortConnections();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    mPool.joinAll();
}

}  // namespace arraysim
