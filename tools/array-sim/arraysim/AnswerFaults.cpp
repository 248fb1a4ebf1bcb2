#include "arraysim/AnswerFaults.h"

#include "arraysim/ArrayState.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>

namespace arraysim {

namespace {

// A value of the same meaning in another JSON type, the way a broken array would send it.
nlohmann::json otherType(const nlohmann::json& value) {
    if (value.is_string()) return 12345;
    if (value.is_number()) return std::to_string(value.get<double>());
    if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
    if (value.is_array()) return nlohmann::json{{"unexpected", "object"}};
    if (value.is_object()) return "unexpected text";
    return 0;  // null
}

void reshape(const FaultSpec& fault, nlohmann::json& node) {
    if (node.is_object()) {
        if (!fault.omit.empty()) node.erase(fault.omit);
        if (!fault.wrongType.empty()) {
            if (const auto it = node.find(fault.wrongType); it != node.end()) *it = otherType(*it);
        }
        for (auto& [name, child] : node.items()) {
            if (name != fault.wrongType) reshape(fault, child);
        }
    } else if (node.is_array()) {
        for (auto& child : node) reshape(fault, child);
    }
}

nlohmann::json* answerList(nlohmann::json& body) {
    if (!body.is_object()) return nullptr;
    const auto data = body.find("data");
    if (data == body.end()) return nullptr;
    if (data->is_array()) return &*data;
    if (!data->is_object()) return nullptr;
    for (auto& [name, member] : data->items()) {
        if (member.is_array()) return &member;
    }
    return nullptr;
}

}  // namespace

bool shapesAnswer(const FaultSpec& fault) {
    return fault.lost || fault.trickleMs > 0 || !fault.wrongType.empty() || !fault.omit.empty() || fault.oversize > 0;
}

void shapeAnswerBody(const FaultSpec& fault, nlohmann::json& body) {
    if (fault.oversize > 0) {
        if (nlohmann::json* list = answerList(body); list != nullptr && !list->empty()) {
            const std::size_t original = list->size();
            const auto wanted = static_cast<std::size_t>(fault.oversize);
            for (std::size_t i = original; i < wanted; ++i) list->push_back((*list)[i % original]);
        }
    }
    if (!fault.omit.empty() || !fault.wrongType.empty()) reshape(fault, body);
}

bool sendTrickled(ArrayState& state, const FaultSpec& fault, Poco::Net::HTTPServerResponse& response, int status,
                  const nlohmann::json& body) {
    const std::string text = body.dump();
    response.setStatusAndReason(static_cast<Poco::Net::HTTPResponse::HTTPStatus>(status));
    response.setContentType("application/json");
    response.setContentLength(static_cast<std::streamsize>(text.size()));
    std::ostream& out = response.send();
    out.flush();
    const auto piece = static_cast<std::size_t>(fault.trickleBytes);
    for (std::size_t at = 0; at < text.size(); at += piece) {
        if (!state.pause(fault.trickleMs)) {
            response.setKeepAlive(false);
            return false;
        }
        out.write(text.data() + at, static_cast<std::streamsize>(std::min(piece, text.size() - at)));
        out.flush();
        if (!out) return true;  // the client went away; nothing more to send
    }
    return true;
}

bool generatesAnswer(const FaultSpec& fault) { return fault.floodBytes > 0 || fault.nestDepth > 0; }

void sendGenerated(ArrayState& state, const FaultSpec& fault, Poco::Net::HTTPServerResponse& response) {
    static constexpr std::string_view kOpen = R"({"data":[{"name":")";
    static constexpr std::string_view kClose = R"("}]})";
    const bool nested = fault.nestDepth > 0;
    const auto depth = static_cast<long long>(fault.nestDepth);
    const long long total =
        nested ? 2 * depth : std::max<long long>(fault.floodBytes, static_cast<long long>(kOpen.size() + kClose.size()));
    response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_OK);
    response.setContentType("application/json");
    // Without a length (chunked): only what arrives can stop the client, not what is announced.
    response.setChunkedTransferEncoding(true);
    std::ostream& out = response.send();
    constexpr long long kPiece = 64 * 1024;
    const std::string pad(kPiece, 'x');
    const std::string opens(kPiece, '[');
    const std::string closes(kPiece, ']');
    // What goes at byte `at` onwards, at most one piece.
    const auto piece = [&](long long at) -> std::string_view {
        if (nested) {
            const std::string& fill = at < depth ? opens : closes;
            const long long end = at < depth ? depth : total;
            return std::string_view(fill).substr(0, static_cast<std::size_t>(std::min(end - at, kPiece)));
        }
        if (at == 0) return kOpen;
        const long long closeAt = total - static_cast<long long>(kClose.size());
        if (at >= closeAt) return kClose;
        return std::string_view(pad).substr(0, static_cast<std::size_t>(std::min(closeAt - at, kPiece)));
    };
    try {
        for (long long at = 0; at < total && out && state.pause(0);) {
            const std::string_view next = piece(at);
            out.write(next.data(), static_cast<std::streamsize>(next.size()));
            at += static_cast<long long>(next.size());
        }
        out.flush();
    } catch (const std::exception&) {
        // The client went away: the answer simply ends.
    }
    response.setKeepAlive(false);
}

}  // namespace arraysim
