#pragma once
// Test-side clients of the simulator: HTTPS for a group's REST API (certificate not checked,
// as the provider does with the self-signed one) and plain HTTP for the control API.

#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/StreamCopier.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace simtest {

struct Reply {
    int status = 0;
    std::string text;
    nlohmann::json json() const { return nlohmann::json::parse(text, nullptr, false); }
    std::string code() const {
        const auto body = json();
        return body.is_object() && !body["messages"].empty() ? body["messages"][0].value("code", "") : "";
    }
};

// One client session: requests reuse its connection while the server keeps it open.
class Client {
public:
    Client(const std::string& host, std::uint16_t port, bool tls) {
        if (tls) {
            Poco::Net::Context::Ptr context =
                new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, "", Poco::Net::Context::VERIFY_NONE);
            mSession = std::make_unique<Poco::Net::HTTPSClientSession>(host, port, context);
        } else {
            mSession = std::make_unique<Poco::Net::HTTPClientSession>(host, port);
        }
        mSession->setTimeout(Poco::Timespan(10, 0));
        mSession->setKeepAlive(true);  // the session's setting wins over the request's
    }

    // Throws Poco::Exception when the connection ends without an answer.
    Reply call(const std::string& method, const std::string& path, const nlohmann::json& body = nullptr,
               const std::string& token = "") {
        return callText(method, path, body.is_null() ? std::string() : body.dump(), token);
    }
    Reply callText(const std::string& method, const std::string& path, const std::string& text,
                   const std::string& token = "") {
        Poco::Net::HTTPRequest request(method, path, Poco::Net::HTTPMessage::HTTP_1_1);
        if (!token.empty()) request.set("X-Auth-Token", token);
        request.setContentType("application/json");
        request.setContentLength(static_cast<std::streamsize>(text.size()));
        mSession->sendRequest(request) << text;
        Poco::Net::HTTPResponse response;
        std::istream& in = mSession->receiveResponse(response);
        Reply reply;
        reply.status = response.getStatus();
        Poco::StreamCopier::copyToString(in, reply.text);
        return reply;
    }

private:
    std::unique_ptr<Poco::Net::HTTPClientSession> mSession;
};

// Logs in to a group and keeps the token.
class RestClient : public Client {
public:
    RestClient(const std::string& host, std::uint16_t port) : Client(host, port, true) {}

    Reply login(const std::string& user = "admin", const std::string& password = "admin") {
        const Reply reply = call("POST", "/v1/tokens",
                                 {{"data", {{"username", user}, {"password", password}, {"app_name", "tests"}}}});
        if (reply.status == 201) token = reply.json()["data"]["session_token"];
        return reply;
    }
    Reply rest(const std::string& method, const std::string& path, const nlohmann::json& body = nullptr) {
        return call(method, path, body, token);
    }

    std::string token;
};

}  // namespace simtest
