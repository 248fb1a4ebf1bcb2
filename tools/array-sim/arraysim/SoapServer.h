#pragma once
// A group's group-management SOAP service (getProtocols) on plain HTTP, served by the gSOAP
// skeleton generated from VssProvider/soap. One thread per group answers one request at a time,
// which is all the provider ever sends.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

struct soap;

namespace arraysim {

class ArrayState;

class SoapServer {
public:
    // Binds at once (throws std::runtime_error when the address and port are taken); serves
    // only after start().
    SoapServer(ArrayState& state, const std::string& address, std::uint16_t port);
    ~SoapServer();
    SoapServer(const SoapServer&) = delete;
    SoapServer& operator=(const SoapServer&) = delete;

    std::uint16_t port() const { return mPort; }
    void start(const std::string& groupId);
    void stop();

    // Called by the generated dispatcher (through the context's user pointer).
    int getProtocols(struct soap* context, std::vector<std::string>& protocols);

private:
    void run();

    struct ContextDeleter {
        void operator()(struct soap* context) const;
    };

    ArrayState& mState;
    std::string mGroupId;
    std::unique_ptr<struct soap, ContextDeleter> mContext;
    std::uint16_t mPort = 0;
    std::atomic<bool> mStopping{false};
    std::thread mThread;
};

}  // namespace arraysim
