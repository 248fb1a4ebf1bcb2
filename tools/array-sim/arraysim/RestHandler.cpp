#include "arraysim/RestHandler.h"

#include "arraysim/AnswerFaults.h"
#include "arraysim/ArrayError.h"
#include "arraysim/ArrayState.h"
#include "arraysim/HttpExchange.h"

#include <iostream>

namespace arraysim {

RestRoute routeRestRequest(const std::string& method, const std::vector<std::string>& s) {
    const auto n = s.size();
    if (n < 2 || s[0] != "v1") return {"unknown", {}};
    const std::string& set = s[1];
    if (method == "POST") {
        if (n == 2 && set == "tokens") return {"tokens", {}};
        if (n == 2 && set == "debug_log") return {"debug_log", {}};
        if (n == 3 && s[2] == "search" && (set == "volumes" || set == "snapshots" || set == "groups")) {
            return {"search:" + set, {}};
        }
        if (n == 3 && set == "snapshots" && s[2] == "bulk_create") return {"bulk_create", {}};
        if (n == 5 && set == "volumes" && s[3] == "actions" && s[4] == "restore") return {"restore", s[2]};
    } else if (method == "PUT" && n == 3 && (set == "snapshots" || set == "volumes")) {
        return {"update:" + set, s[2]};
    } else if (method == "DELETE" && n == 3 && (set == "snapshots" || set == "tokens")) {
        return {"delete:" + set, s[2]};
    }
    return {"unknown", {}};
}

void RestHandler::operator()(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) const {
    const std::string method = request.getMethod();
    const RestRoute route = routeRestRequest(method, pathSegments(request));
    const RequestTicket ticket = mState.beginRequest(mGroupId, route.op, method, request.getURI());
    int status = -1;
    bool injected = false;
    // The outcome is logged before the answer leaves, so that a client holding the answer
    // finds it in the log; the time is accounted once the answer has left (finishRequest).
    const auto answering = [&](int answerStatus, bool answerInjected) {
        mState.noteAnswer(ticket.ticket, answerStatus, answerInjected);
    };
    try {
        // The request is read before a fault strikes, as with a server that fails while
        // working on it rather than one that stops listening.
        const std::string body = readBody(request);
        // An array checks the session when a request arrives, not when a slow array gets round
        // to the work: a client that gave up and logged out meanwhile still gets it done.
        bool authorized = false;
        if (ticket.fault && ticket.fault->delayMs > 0 && route.op != "tokens" && route.op != "unknown") {
            try {
                mState.authorize(mGroupId, request.get("X-Auth-Token", ""));
                authorized = true;
            } catch (const ArrayError&) {
                // serve() answers the refusal after the delay
            }
        }
        if (ticket.fault) {
            status = applyTransportFault(mState, *ticket.fault, response,
                                         [&](int answerStatus) { answering(answerStatus, true); });
            injected = status != -1;
            if (status == -1 && generatesAnswer(*ticket.fault)) {
                answering(200, true);
                sendGenerated(mState, *ticket.fault, response);
                status = 200;
                injected = true;
            }
            if (status == -1 && ticket.fault->status != 0) {
                answering(ticket.fault->status, true);
                sendError(response, ticket.fault->status, ticket.fault->code, ticket.fault->text);
                status = ticket.fault->status;
                injected = true;
            }
        }
        if (status == -1) {
            Answer answer = serve(route, method, request, body, authorized);
            const FaultSpec* shaping = ticket.fault && shapesAnswer(*ticket.fault) ? &*ticket.fault : nullptr;
            if (shaping == nullptr) {
                answering(answer.status, false);
                sendJson(response, answer.status, answer.body);
                status = answer.status;
            } else {
                injected = true;
                if (answer.status / 100 == 2) shapeAnswerBody(*shaping, answer.body);
                if (shaping->lost) {
                    // The work is done; the answer never leaves. POCO closes the connection.
                    response.setKeepAlive(false);
                    status = 0;
                } else if (shaping->trickleMs > 0) {
                    answering(answer.status, true);
                    status = sendTrickled(mState, *shaping, response, answer.status, answer.body) ? answer.status : 0;
                } else {
                    answering(answer.status, true);
                    sendJson(response, answer.status, answer.body);
                    status = answer.status;
                }
            }
        }
    } catch (const ArrayError& e) {
        answering(e.status(), injected);
        sendError(response, e.status(), e.code(), e.what());
        status = e.status();
    } catch (const std::exception& e) {
        // Only a broken connection lands here; the request cannot be answered any more.
        std::cerr << "vantor-array-sim: REST request " << method << ' ' << request.getURI() << " failed: " << e.what()
                  << '\n';
        status = 0;
    }
    mState.finishRequest(ticket.ticket, status, injected);
}

RestHandler::Answer RestHandler::serve(const RestRoute& route, const std::string& method,
                                       const Poco::Net::HTTPServerRequest& request, const std::string& bodyText,
                                       bool authorized) const {
    Answer answer{200, nlohmann::json::object()};
    try {
        const nlohmann::json body = parseBody(bodyText);
        if (route.op == "unknown") throw notFound("No such resource: " + method + " " + request.getURI());
        if (route.op != "tokens" && !authorized) mState.authorize(mGroupId, request.get("X-Auth-Token", ""));

        if (route.op == "tokens") {
            answer = {201, mState.createToken(mGroupId, body)};
        } else if (route.op == "delete:tokens") {
            mState.deleteToken(mGroupId, route.id);
        } else if (route.op.starts_with("search:")) {
            answer.body = mState.search(mGroupId, route.op.substr(7), body);
        } else if (route.op == "bulk_create") {
            answer = {201, mState.bulkCreate(mGroupId, body)};
        } else if (route.op == "update:snapshots") {
            answer.body = mState.updateSnapshot(mGroupId, route.id, body);
        } else if (route.op == "update:volumes") {
            answer.body = mState.updateVolume(mGroupId, route.id, body);
        } else if (route.op == "delete:snapshots") {
            mState.deleteSnapshot(mGroupId, route.id);
        } else if (route.op == "restore") {
            answer.body = mState.restore(mGroupId, route.id, body);
        } else if (route.op == "debug_log") {
            mState.debugLog(mGroupId, body);
            answer.status = 201;
        }
    } catch (const ArrayError& e) {
        return {e.status(), errorBody(e.code(), e.what())};
    } catch (const nlohmann::json::exception& e) {
        return {400, errorBody("SM_invalid_arg", e.what())};
    }
    return answer;
}

}  // namespace arraysim
