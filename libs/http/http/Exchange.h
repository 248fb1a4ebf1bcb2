#pragma once
// Helpers both backends share: request checks before anything touches the network, and the
// error texts, so a failure reads the same whichever backend produced it.
#include <cstdint>
#include <string>

#include "http/Transport.h"
#include "http/TransportError.h"

namespace vantor::http::detail {

// "https://host:port" (or "http://...") for messages.
std::string endpointText(const Request& request);

// Throws TransportError(InvalidRequest) for an empty host or method, port 0, a path that does
// not start with '/', and CR/LF or NUL in the method, path or any header (header injection).
void validateRequest(const Request& request);

// Adds one received piece of the body to `body`: refuses it (TransportErrorKind::Protocol, the
// text naming the limit) when the body would grow past the request's limit, and hands it to the
// request's inspector first.
void appendBodyPiece(const Request& request, std::string& body, std::string_view piece);

// Makes room in `body` for the length an answer announced (at most a megabyte, whatever a liar
// announces) and kResponseBodySpareBytes more; refuses an announcement over the request's limit
// (TransportErrorKind::Protocol) before a byte of the body is read.
void reserveAnnouncedBody(const Request& request, std::string& body, std::uint64_t announced);

// "<kind>: <METHOD> <endpoint><path>: <detail>"
[[noreturn]] void fail(TransportErrorKind kind, const Request& request, const std::string& detail);

}  // namespace vantor::http::detail
