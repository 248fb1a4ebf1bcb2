#include "arraysim/ControlHandler.h"

#include "arraysim/ArrayError.h"
#include "arraysim/HttpExchange.h"
#include "arraysim/Simulator.h"
#include "arraysim/SpecJson.h"

#include <Poco/Base64Encoder.h>

#include <sstream>
#include <stdexcept>

namespace arraysim {
namespace {

std::string base64(const std::vector<std::uint8_t>& bytes) {
    std::ostringstream out;
    Poco::Base64Encoder encoder(out);
    encoder.rdbuf()->setLineLength(0);
    encoder.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    encoder.close();
    return out.str();
}

std::string stringField(const nlohmann::json& body, const char* name) {
    if (!body.is_object() || !body.contains(name) || !body[name].is_string()) {
        throw std::invalid_argument(std::string("'") + name + "' must be a string");
    }
    return body[name].get<std::string>();
}

bool boolField(const nlohmann::json& body, const char* name) {
    if (!body.is_object() || !body.contains(name) || body[name].is_null()) return false;
    if (!body[name].is_boolean()) throw std::invalid_argument(std::string("'") + name + "' must be true or false");
    return body[name].get<bool>();
}

struct NoRoute {};

nlohmann::json control(Simulator& sim, const std::string& method, const std::vector<std::string>& s,
                       const nlohmann::json& body) {
    const auto n = s.size();
    if (method == "GET" && n == 2 && s[1] == "state") return sim.state();
    if (method == "GET" && n == 2 && s[1] == "requests") return sim.requestLog();
    if (method == "POST" && n == 2 && s[1] == "reset_log") {
        sim.resetLog();
        return nlohmann::json::object();
    }
    if (method == "POST" && n == 2 && s[1] == "groups") return toJson(sim.addGroup(groupSpecFromJson(body)));
    if (method == "POST" && n == 4 && s[1] == "groups" && s[3] == "volumes") {
        return toJson(sim.addVolume(s[2], volumeSpecFromJson(body)));
    }
    if (method == "POST" && n == 4 && s[1] == "groups" && s[3] == "soap_protocols") {
        sim.setSoapProtocols(s[2], stringListFromJson(body.value("protocols", nlohmann::json()), "protocols"));
        return nlohmann::json::object();
    }
    if (method == "POST" && n == 4 && s[1] == "groups" && s[3] == "certificate") {
        CertificateSpec spec;
        spec.expired = boolField(body, "expired");
        return toJson(sim.renewCertificate(s[2], spec));
    }
    if (method == "POST" && n == 4 && s[1] == "volumes" && s[3] == "write") {
        sim.writeVolume(s[2]);
        return nlohmann::json::object();
    }
    if (method == "POST" && n == 2 && s[1] == "faults") {
        sim.injectFault(faultSpecFromJson(body));
        return nlohmann::json::object();
    }
    if (method == "DELETE" && n == 2 && s[1] == "faults") {
        sim.clearFaults();
        return nlohmann::json::object();
    }
    if (method == "POST" && n == 2 && s[1] == "misreport_eui64") {
        sim.misreportEui64(stringField(body, "serial_number"), stringField(body, "eui64"));
        return nlohmann::json::object();
    }
    if (method == "POST" && n == 2 && s[1] == "expire_sessions") {
        sim.expireSessions(stringField(body, "group"));
        return nlohmann::json::object();
    }
    throw NoRoute{};
}

nlohmann::json host(Simulator& sim, const std::string& method, const std::vector<std::string>& s,
                    const nlohmann::json& body) {
    const auto n = s.size();
    const std::string& initiator = s[1];
    if (method == "GET" && n == 3 && s[2] == "disks") return sim.hostDisks(initiator);
    if (method == "GET" && n == 3 && s[2] == "dsm") return {{"record", base64(sim.hostDsmRecord(initiator))}};
    if (n == 4 && s[2] == "iscsi") {
        if (method == "GET" && s[3] == "sessions") return sim.hostSessions(initiator);
        if (method == "POST" && s[3] == "login") {
            const IScsiLoginResult result = sim.iscsiLogin(initiator, stringField(body, "target_name"),
                                                           boolField(body, "header_digest"),
                                                           boolField(body, "data_digest"));
            if (result.status != 0) return {{"status", result.status}};
            return {{"status", 0}, {"session_id", result.sessionId}};
        }
        if (method == "POST" && s[3] == "logout") {
            return {{"status", sim.iscsiLogout(initiator, stringField(body, "session_id"))}};
        }
        if (method == "POST" && s[3] == "refresh") return {{"status", sim.iscsiRefresh(initiator)}};
    }
    throw NoRoute{};
}

}  // namespace

void ControlHandler::operator()(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) const {
    try {
        const std::string method = request.getMethod();
        const auto segments = pathSegments(request);
        const nlohmann::json body = parseBody(readBody(request));
        if (segments.size() >= 2 && segments[0] == "control") {
            sendJson(response, 200, control(mSimulator, method, segments, body));
        } else if (segments.size() >= 3 && segments[0] == "host") {
            sendJson(response, 200, host(mSimulator, method, segments, body));
        } else {
            throw NoRoute{};
        }
    } catch (const NoRoute&) {
        sendError(response, 404, "not_found", "No such control request: " + request.getMethod() + " " + request.getURI());
    } catch (const std::out_of_range& e) {
        sendError(response, 404, "not_found", e.what());
    } catch (const std::invalid_argument& e) {
        sendError(response, 400, "invalid_argument", e.what());
    } catch (const ArrayError& e) {
        sendError(response, e.status(), e.code(), e.what());
    } catch (const nlohmann::json::exception& e) {
        sendError(response, 400, "invalid_argument", e.what());
    } catch (const std::exception& e) {
        sendError(response, 500, "internal", e.what());
    }
}

}  // namespace arraysim
