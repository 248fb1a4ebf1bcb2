#pragma once
// Request and response helpers shared by the REST server and the control server.

#include "arraysim/Simulator.h"

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

namespace arraysim {

class ArrayState;

// The body, at most kMaxBodyBytes (a larger one is refused as SM_invalid_arg).
inline constexpr std::size_t kMaxBodyBytes = 4 * 1024 * 1024;
std::string readBody(Poco::Net::HTTPServerRequest& request);
// An empty body is null; text that is not JSON is SM_invalid_arg.
nlohmann::json parseBody(const std::string& body);

// The path split at '/', each segment percent-decoded, the query left out.
std::vector<std::string> pathSegments(const Poco::Net::HTTPServerRequest& request);

void sendJson(Poco::Net::HTTPServerResponse& response, int status, const nlohmann::json& body);
// {"messages":[{"code","text","severity":"error"}]}, or an empty list when there is no code.
nlohmann::json errorBody(const std::string& code, const std::string& text);
void sendError(Poco::Net::HTTPServerResponse& response, int status, const std::string& code,
               const std::string& text);

// The transport half of an injected fault: the delay, then a dropped connection or a body that
// is not JSON (`answering` is told its status before it is sent). Returns the status answered
// (0 for a drop) or -1 when the request goes on.
int applyTransportFault(ArrayState& state, const FaultSpec& fault, Poco::Net::HTTPServerResponse& response,
                        const std::function<void(int status)>& answering);

}  // namespace arraysim
