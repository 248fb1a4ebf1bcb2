#include "arraysim/Simulator.h"

#include "arraysim/ArrayState.h"
#include "arraysim/ControlHandler.h"
#include "arraysim/HttpServer.h"
#include "arraysim/RestHandler.h"
#include "arraysim/SoapServer.h"
#include "arraysim/TlsContext.h"

#include <Poco/Net/NetException.h>
#include <Poco/Net/SSLManager.h>
#include <Poco/Net/SecureServerSocket.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>

namespace arraysim {

std::string GroupInfo::restUrl() const { return "https://" + address + ":" + std::to_string(restPort); }
std::string GroupInfo::soapUrl() const { return "http://" + address + ":" + std::to_string(soapPort) + "/soap"; }

namespace {

constexpr int kAddressAttempts = 64;

// Keeps OpenSSL set up for POCO while any simulator lives.
struct SslLibrary {
    SslLibrary() { Poco::Net::initializeSSL(); }
    ~SslLibrary() { Poco::Net::uninitializeSSL(); }
    SslLibrary(const SslLibrary&) = delete;
    SslLibrary& operator=(const SslLibrary&) = delete;
};

// Sockets of a group, bound before the group exists so that a taken address costs nothing.
struct BoundGroup {
    std::optional<Poco::Net::SecureServerSocket> rest;
    std::unique_ptr<SoapServer> soap;
};

}  // namespace

class Simulator::Impl {
public:
    explicit Impl(Options options) : mOptions(options), mRandom(std::random_device{}()) {}

    // Separate from construction: the handler calls back into the Simulator, which must be
    // complete before the first request can arrive.
    void startControl(Simulator& owner) {
        Poco::Net::ServerSocket socket;
        bindListening(socket, "127.0.0.1", mOptions.controlPort);
        mControl = std::make_unique<HttpServer>(socket, ControlHandler(owner), nullptr);
    }

    ~Impl() {
        // Control first (no new groups), then wake injected delays, then the group servers;
        // the state outlives every thread that uses it.
        if (mControl) mControl->stop();
        mState.stop();
        const std::scoped_lock lock(mGroupsMutex);
        for (auto& g : mGroups) {
            if (g.rest) g.rest->stop();
            g.soap->stop();
        }
    }

    GroupInfo addGroup(const GroupSpec& spec) {
        const std::scoped_lock lock(mGroupsMutex);
        const ServerCertificate certificate = groupCertificate(spec.certificateFile, "vantor-array-sim " + spec.name);
        const Poco::Net::Context::Ptr tls = certificate.serverContext();
        std::string address;
        BoundGroup bound;
        if (!spec.address.empty()) {
            if (mState.hasAddress(spec.address)) {
                throw std::invalid_argument("address " + spec.address + " already belongs to a group");
            }
            address = spec.address;
            bound = bind(address, spec.rest, tls);  // a fixed address either binds or fails
        } else {
            for (int attempt = 0; attempt < kAddressAttempts && address.empty(); ++attempt) {
                const std::string candidate = randomLoopbackAddress();
                if (mState.hasAddress(candidate)) continue;
                try {
                    bound = bind(candidate, spec.rest, tls);
                    address = candidate;
                } catch (const std::exception&) {
                    // Taken, most likely by a simulator in another process: try another.
                }
            }
            if (address.empty()) throw std::runtime_error("no free loopback address for a group");
        }
        const std::uint16_t restPort = bound.rest ? bound.rest->address().port() : mOptions.restPort;
        GroupInfo info = mState.addGroup(spec, address, restPort, bound.soap->port());
        mState.setCertificateSha256(info.id, certificate.sha256());
        info.certificateSha256 = certificate.sha256();
        GroupServers servers;
        servers.id = info.id;
        servers.name = info.name;
        servers.certificateFile = spec.certificateFile;
        if (bound.rest) servers.rest = startRest(*bound.rest, info.id);
        bound.soap->start(info.id);
        servers.soap = std::move(bound.soap);
        mGroups.push_back(std::move(servers));
        return info;
    }

    GroupInfo renewCertificate(const std::string& groupId, const CertificateSpec& spec) {
        const std::scoped_lock lock(mGroupsMutex);
        const auto servers = std::find_if(mGroups.begin(), mGroups.end(), [&](const auto& g) { return g.id == groupId; });
        if (servers == mGroups.end()) throw std::out_of_range("no group " + groupId);
        if (!servers->rest) throw std::invalid_argument("group " + groupId + " has no REST server");
        const ServerCertificate certificate = ServerCertificate::make("vantor-array-sim " + servers->name, spec);
        const GroupInfo before = [&] {
            for (const auto& g : mState.groups()) {
                if (g.id == groupId) return g;
            }
            throw std::out_of_range("no group " + groupId);
        }();
        // Like an array that restarts its management service: the old connections end.
        servers->rest->stop();
        servers->rest.reset();
        Poco::Net::SecureServerSocket socket(certificate.serverContext());
        bindListening(socket, before.address, before.restPort);
        servers->rest = startRest(socket, groupId);
        if (!servers->certificateFile.empty()) certificate.save(servers->certificateFile);
        mState.setCertificateSha256(groupId, certificate.sha256());
        GroupInfo after = before;
        after.certificateSha256 = certificate.sha256();
        return after;
    }

    IScsiLoginResult iscsiLogin(const std::string& initiator, const std::string& target, bool headerDigest,
                                bool dataDigest) {
        const auto group = mState.groupOfTarget(target);
        if (group) {
            const auto status = iscsiFault(*group, "iscsi_login", "/iscsi/login");
            if (status) return {*status, {}};
        }
        return mState.iscsiLogin(initiator, target, headerDigest, dataDigest);
    }

    std::uint32_t iscsiLogout(const std::string& initiator, const std::string& sessionId) {
        const auto group = mState.groupOfSession(sessionId);
        if (group) {
            const auto status = iscsiFault(*group, "iscsi_logout", "/iscsi/logout");
            if (status) return *status;
        }
        return mState.iscsiLogout(initiator, sessionId);
    }

    ArrayState& state() { return mState; }
    std::uint16_t controlPort() const { return mControl->port(); }

private:
    struct GroupServers {
        std::string id;
        std::string name;
        std::string certificateFile;
        std::unique_ptr<HttpServer> rest;
        std::unique_ptr<SoapServer> soap;
    };

    std::unique_ptr<HttpServer> startRest(const Poco::Net::ServerSocket& socket, const std::string& id) {
        return std::make_unique<HttpServer>(socket, RestHandler(mState, id), [this, id] { mState.countConnection(id); });
    }

    BoundGroup bind(const std::string& address, bool rest, const Poco::Net::Context::Ptr& tls) {
        BoundGroup bound;
        if (rest) {
            bound.rest.emplace(tls);
            bindListening(*bound.rest, address, mOptions.restPort);
        }
        bound.soap = std::make_unique<SoapServer>(mState, address, mOptions.soapPort);
        return bound;
    }

    std::string randomLoopbackAddress() {
        // Anywhere in 127/8 but the usual 127.0.x.x, and never a .0 or .255 host part.
        std::uniform_int_distribution<int> second(1, 254);
        std::uniform_int_distribution<int> third(0, 255);
        std::uniform_int_distribution<int> fourth(1, 254);
        return "127." + std::to_string(second(mRandom)) + "." + std::to_string(third(mRandom)) + "." +
               std::to_string(fourth(mRandom));
    }

    // The status an injected iSCSI fault makes the call answer; a fault with only a delay
    // slows the call down and lets it go on.
    std::optional<std::uint32_t> iscsiFault(const std::string& group, const std::string& op, const std::string& path) {
        const RequestTicket ticket = mState.beginRequest(group, op, "POST", path);
        if (ticket.fault && ticket.fault->delayMs > 0) mState.pause(ticket.fault->delayMs);
        if (ticket.fault && ticket.fault->status != 0) {
            mState.finishRequest(ticket.ticket, ticket.fault->status, true);
            return static_cast<std::uint32_t>(ticket.fault->status);
        }
        mState.finishRequest(ticket.ticket, 0, ticket.fault.has_value());
        return std::nullopt;
    }

    SslLibrary mSsl;
    Options mOptions;
    ArrayState mState;
    std::mt19937 mRandom;
    std::mutex mGroupsMutex;
    std::vector<GroupServers> mGroups;
    std::unique_ptr<HttpServer> mControl;
};

Simulator::Simulator(Options options) : mImpl(std::make_unique<Impl>(options)) { mImpl->startControl(*this); }
Simulator::~Simulator() = default;

std::uint16_t Simulator::controlPort() const { return mImpl->controlPort(); }
std::string Simulator::controlUrl() const { return "http://127.0.0.1:" + std::to_string(controlPort()); }

GroupInfo Simulator::addGroup(const GroupSpec& spec) { return mImpl->addGroup(spec); }
VolumeInfo Simulator::addVolume(const std::string& groupId, const VolumeSpec& spec) {
    return mImpl->state().addVolume(groupId, spec);
}
void Simulator::writeVolume(const std::string& volumeId) { mImpl->state().writeVolume(volumeId); }
std::vector<GroupInfo> Simulator::groups() const { return mImpl->state().groups(); }
GroupInfo Simulator::renewCertificate(const std::string& groupId, const CertificateSpec& spec) {
    return mImpl->renewCertificate(groupId, spec);
}
void Simulator::setSoapProtocols(const std::string& groupId, std::vector<std::string> protocols) {
    mImpl->state().setSoapProtocols(groupId, std::move(protocols));
}
void Simulator::injectFault(const FaultSpec& fault) { mImpl->state().injectFault(fault); }
void Simulator::clearFaults() { mImpl->state().clearFaults(); }
void Simulator::expireSessions(const std::string& groupId) { mImpl->state().expireSessions(groupId); }
nlohmann::json Simulator::state() const { return mImpl->state().state(); }
nlohmann::json Simulator::requestLog() const { return mImpl->state().requestLog(); }
void Simulator::resetLog() { mImpl->state().resetLog(); }
int Simulator::requestCount(const std::string& groupId, const std::string& op) const {
    return mImpl->state().requestCount(groupId, op);
}
int Simulator::connectionCount(const std::string& groupId) const { return mImpl->state().connectionCount(groupId); }
double Simulator::accountedMs(const std::string& groupId) const { return mImpl->state().accountedMs(groupId); }

nlohmann::json Simulator::hostDisks(const std::string& initiator) const { return mImpl->state().hostDisks(initiator); }
std::vector<std::uint8_t> Simulator::hostDsmRecord(const std::string& initiator) const {
    return mImpl->state().hostDsmRecord(initiator);
}
nlohmann::json Simulator::hostSessions(const std::string& initiator) const {
    return mImpl->state().hostSessions(initiator);
}
IScsiLoginResult Simulator::iscsiLogin(const std::string& initiator, const std::string& targetName, bool headerDigest,
                                       bool dataDigest) {
    return mImpl->iscsiLogin(initiator, targetName, headerDigest, dataDigest);
}
std::uint32_t Simulator::iscsiLogout(const std::string& initiator, const std::string& sessionId) {
    return mImpl->iscsiLogout(initiator, sessionId);
}
std::uint32_t Simulator::iscsiRefresh(const std::string& initiator) const {
    return mImpl->state().iscsiRefresh(initiator);
}
void Simulator::misreportEui64(const std::string& serialNumber, const std::string& eui64Hex) {
    Eui64 eui{};
    const auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    if (eui64Hex.size() != 2 * eui.size()) throw std::invalid_argument("an EUI-64 designator is 32 hex digits");
    for (std::size_t i = 0; i < eui.size(); ++i) {
        const int high = digit(eui64Hex[2 * i]);
        const int low = digit(eui64Hex[2 * i + 1]);
        if (high < 0 || low < 0) throw std::invalid_argument("an EUI-64 designator is 32 hex digits");
        eui[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    mImpl->state().misreportEui64(serialNumber, eui);
}

}  // namespace arraysim
