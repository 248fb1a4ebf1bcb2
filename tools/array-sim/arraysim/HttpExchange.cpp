#include "arraysim/HttpExchange.h"

#include "arraysim/ArrayError.h"
#include "arraysim/ArrayState.h"

#include <Poco/URI.h>

#include <algorithm>
#include <istream>

namespace arraysim {

std::string readBody(Poco::Net::HTTPServerRequest& request) {
    std::string body;
    std::istream& in = request.stream();
    char chunk[8192];
    while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
        body.append(chunk, static_cast<std::size_t>(in.gcount()));
        if (body.size() > kMaxBodyBytes) throw invalidArgument("Request body too large");
    }
    return body;
}

namespace {

constexpr int kMaxNesting = 64;  // far beyond any real request; bounds the parser's work

int deepestNesting(const std::string& text) {
    int depth = 0;
    int deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            else if (c == '"') inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

}  // namespace

nlohmann::json parseBody(const std::string& body) {
    if (body.empty()) return nullptr;
    if (deepestNesting(body) > kMaxNesting) throw invalidArgument("Request body nested too deeply");
    nlohmann::json parsed = nlohmann::json::parse(body, nullptr, false);
    if (parsed.is_discarded()) throw invalidArgument("Request body is not valid JSON");
    return parsed;
}

std::vector<std::string> pathSegments(const Poco::Net::HTTPServerRequest& request) {
    const std::string path = Poco::URI(request.getURI()).getPath();  // decoded
    std::vector<std::string> segments;
    std::size_t start = 0;
    while (start <= path.size()) {
        const auto end = path.find('/', start);
        const std::string segment = path.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!segment.empty()) segments.push_back(segment);
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return segments;
}

void sendJson(Poco::Net::HTTPServerResponse& response, int status, const nlohmann::json& body) {
    const std::string text = body.dump();
    response.setStatusAndReason(static_cast<Poco::Net::HTTPResponse::HTTPStatus>(status));
    response.setContentType("application/json");
    response.setContentLength(static_cast<std::streamsize>(text.size()));
    // Flushed here, so the whole answer has left before the request's time is accounted.
    response.send() << text << std::flush;
}

nlohmann::json errorBody(const std::string& code, const std::string& text) {
    nlohmann::json messages = nlohmann::json::array();
    if (!code.empty()) messages.push_back({{"code", code}, {"text", text}, {"severity", "error"}});
    return {{"messages", messages}};
}

void sendError(Poco::Net::HTTPServerResponse& response, int status, const std::string& code,
               const std::string& text) {
    sendJson(response, status, errorBody(code, text));
}

int applyTransportFault(ArrayState& state, const FaultSpec& fault, Poco::Net::HTTPServerResponse& response,
                        const std::function<void(int status)>& answering) {
    if (fault.delayMs > 0 && !state.pause(fault.delayMs)) {
        // The simulator is stopping: give up on the request like a dropped connection.
        response.setKeepAlive(false);
        return 0;
    }
    if (fault.drop) {
        // Answer nothing and do not keep the connection: POCO then closes it.
        response.setKeepAlive(false);
        return 0;
    }
    if (fault.malformed) {
        const int status = fault.status != 0 ? fault.status : 200;
        const std::string text = "<html><body>Internal Server Error</body></html>";
        answering(status);
        response.setStatusAndReason(static_cast<Poco::Net::HTTPResponse::HTTPStatus>(status));
        response.setContentType("application/json");  // claims JSON, as a broken server would
        response.setContentLength(static_cast<std::streamsize>(text.size()));
        response.send() << text;
        return status;
    }
    return -1;
}

}  // namespace arraysim
