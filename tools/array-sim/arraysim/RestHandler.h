#pragma once
// The REST management API of one group: routing, injected faults, authentication, and the
// mapping of array refusals to error bodies.

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace arraysim {

class ArrayState;

struct RestRoute {
    std::string op;  // the request log and fault name; "unknown" for no route
    std::string id;  // object id from the path, when the route has one
};

RestRoute routeRestRequest(const std::string& method, const std::vector<std::string>& segments);

class RestHandler {
public:
    RestHandler(ArrayState& state, std::string groupId) : mState(state), mGroupId(std::move(groupId)) {}
    void operator()(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) const;

private:
    struct Answer {
        int status = 200;
        nlohmann::json body;
    };
    // Carries the request out; what the array answers, refusals included. `authorized`: the
    // session was already checked when the request arrived.
    Answer serve(const RestRoute& route, const std::string& method, const Poco::Net::HTTPServerRequest& request,
                 const std::string& bodyText, bool authorized) const;

    ArrayState& mState;
    std::string mGroupId;
};

}  // namespace arraysim
