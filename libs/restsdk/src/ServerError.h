#pragma once
// Reading an error answer: {"messages":[{"code","text","severity"}, ...]}. Anything else (no
// JSON, another shape, entries of the wrong type) yields what could be read, possibly nothing.
#include <string>
#include <vector>

#include "restsdk/Exceptions.h"

namespace VantorStorage::WS::detail {

std::vector<ServerMessage> parseServerMessages(const std::string& body);

// "<METHOD> <path> on <server> failed with HTTP status N: CODE (text); ..." for what().
std::string describeServerError(const std::string& request, int httpStatus, const std::vector<ServerMessage>& messages);

}  // namespace VantorStorage::WS::detail
