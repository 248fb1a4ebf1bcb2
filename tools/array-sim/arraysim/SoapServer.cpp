#include "arraysim/SoapServer.h"

#include "arraysim/ArrayState.h"

#include "soapH.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <string_view>
#include <stdexcept>

namespace arraysim {
namespace {

constexpr int kAcceptPollMicroseconds = 100000;  // how soon a stop is noticed
constexpr int kIoTimeoutSeconds = 5;             // a silent client cannot hold the one thread

// Leaves the connection without an answer: gSOAP sends nothing for a status at or above
// SOAP_STOP, and the socket is closed here.
int closeWithoutAnswer(struct soap* context) {
    context->keep_alive = 0;
    soap_force_closesock(context);
    return SOAP_STOP;
}

int answerNotXml(struct soap* context, int status) {
    const std::string body = "this is not a SOAP envelope";
    const std::string reply = "HTTP/1.1 " + std::to_string(status) +
                              " OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
                              std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
    // Raw bytes on purpose: gSOAP would only ever write a well-formed message.
    (void)::send(context->socket, reply.data(), reply.size(), MSG_NOSIGNAL);
    return closeWithoutAnswer(context);
}

// A getProtocols answer padded with whitespace between its elements to `total` bytes, made
// piece by piece as it goes out: a service that floods the client. Ends when the client goes.
int answerFlood(struct soap* context, ArrayState& state, long long total) {
    static constexpr std::string_view kOpen =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SOAP-ENV:Envelope "
        "xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" xmlns:ns=\"urn:vantor:groupmgmt:1\">"
        "<SOAP-ENV:Body><ns:getProtocolsResponse>";
    static constexpr std::string_view kClose =
        "<protocol>rest-v1</protocol></ns:getProtocolsResponse></SOAP-ENV:Body></SOAP-ENV:Envelope>";
    total = std::max<long long>(total, static_cast<long long>(kOpen.size() + kClose.size()));
    const std::string header = "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
                               std::to_string(total) + "\r\nConnection: close\r\n\r\n";
    const timeval sendTimeout{kIoTimeoutSeconds, 0};
    ::setsockopt(context->socket, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout);
    const auto put = [context](std::string_view bytes) {
        return ::send(context->socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    };
    const std::string pad(64 * 1024, ' ');
    bool sending = put(header) && put(kOpen);
    const long long padding = total - static_cast<long long>(kOpen.size() + kClose.size());
    for (long long sent = 0; sending && sent < padding && state.pause(0);) {
        const auto size = static_cast<std::size_t>(std::min<long long>(padding - sent, static_cast<long long>(pad.size())));
        sending = put(std::string_view(pad).substr(0, size));
        sent += static_cast<long long>(size);
    }
    if (sending) put(kClose);
    return closeWithoutAnswer(context);
}

}  // namespace

void SoapServer::ContextDeleter::operator()(struct soap* context) const {
    soap_destroy(context);
    soap_end(context);
    soap_free(context);
}

SoapServer::SoapServer(ArrayState& state, const std::string& address, std::uint16_t port)
    : mState(state), mContext(soap_new()) {
    if (!mContext) throw std::runtime_error("cannot create a SOAP context");
    struct soap* context = mContext.get();
    context->user = this;
    context->bind_flags = SO_REUSEADDR;  // never SO_REUSEPORT: addresses must not be shared
    context->accept_timeout = -kAcceptPollMicroseconds;
    context->recv_timeout = kIoTimeoutSeconds;
    context->send_timeout = kIoTimeoutSeconds;
    if (!soap_valid_socket(soap_bind(context, address.c_str(), port, 16))) {
        throw std::runtime_error("cannot listen on " + address + ":" + std::to_string(port) + " for SOAP");
    }
    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    if (::getsockname(context->master, reinterpret_cast<sockaddr*>(&bound), &length) != 0) {
        throw std::runtime_error("cannot read the SOAP port");
    }
    mPort = bound.ss_family == AF_INET6 ? ntohs(reinterpret_cast<const sockaddr_in6*>(&bound)->sin6_port)
                                        : ntohs(reinterpret_cast<const sockaddr_in*>(&bound)->sin_port);
}

SoapServer::~SoapServer() { stop(); }

void SoapServer::start(const std::string& groupId) {
    mGroupId = groupId;
    mThread = std::thread([this] { run(); });
}

void SoapServer::stop() {
    mStopping = true;
    if (mThread.joinable()) mThread.join();
}

void SoapServer::run() {
    struct soap* context = mContext.get();
    while (!mStopping) {
        if (!soap_valid_socket(soap_accept(context))) continue;  // timeout: look at the flag again
        // A fault that was answered is no failure of the server; a broken request is worth a line.
        const int result = soap_serve(context);
        if (result != SOAP_OK && result != SOAP_FAULT && result != SOAP_STOP && result != SOAP_EOF) {
            std::cerr << "vantor-array-sim: SOAP request failed with gSOAP error " << context->error << '\n';
        }
        soap_destroy(context);
        soap_end(context);
    }
}

int SoapServer::getProtocols(struct soap* context, std::vector<std::string>& protocols) {
    const RequestTicket ticket = mState.beginRequest(mGroupId, "soap", "POST", "/soap");
    protocols = mState.soapProtocols(mGroupId);
    if (!ticket.fault) {
        mState.finishRequest(ticket.ticket, 200, false);
        return SOAP_OK;
    }
    const FaultSpec& fault = *ticket.fault;
    if (fault.delayMs > 0 && !mState.pause(fault.delayMs)) {
        mState.finishRequest(ticket.ticket, 0, true);
        return closeWithoutAnswer(context);
    }
    if (fault.drop) {
        mState.finishRequest(ticket.ticket, 0, true);
        return closeWithoutAnswer(context);
    }
    if (fault.floodBytes > 0) {
        mState.finishRequest(ticket.ticket, 200, true);
        return answerFlood(context, mState, fault.floodBytes);
    }
    if (fault.malformed) {
        const int status = fault.status != 0 ? fault.status : 200;
        mState.finishRequest(ticket.ticket, status, true);
        return answerNotXml(context, status);
    }
    if (fault.status != 0 || !fault.code.empty() || !fault.text.empty()) {
        mState.finishRequest(ticket.ticket, 500, true);
        soap_receiver_fault(context, fault.text.empty() ? "Injected fault" : fault.text.c_str(), nullptr);
        if (!fault.code.empty()) *soap_faultcode(context) = soap_strdup(context, fault.code.c_str());
        return SOAP_FAULT;
    }
    mState.finishRequest(ticket.ticket, 200, true);
    return SOAP_OK;
}

}  // namespace arraysim

// The operation the generated dispatcher calls; the answer is the group's protocol list.
int ns__getProtocols(struct soap* context, ns__getProtocolsResponse& response) {
    auto* server = static_cast<arraysim::SoapServer*>(context->user);
    return server->getProtocols(context, response.protocol);
}
