#include "http/Exchange.h"

#include <algorithm>
#include <cctype>

namespace vantor::http {

namespace {
bool hasControlBreak(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}
bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}
}  // namespace

const std::string* Response::findHeader(std::string_view name) const {
  for (const Header& header : headers) {
    if (equalsIgnoreCase(header.name, name)) return &header.value;
  }
  return nullptr;
}

Response sendOnce(const Request& request, const Timeouts& timeouts, const TlsOptions& tls) {
  const std::unique_ptr<Connection> connection = createConnection(timeouts, tls);
  return connection->send(request);
}

namespace detail {

std::string endpointText(const Request& request) {
  return std::string(request.tls ? "https://" : "http://") + request.host + ":" + std::to_string(request.port);
}

void validateRequest(const Request& request) {
  if (request.host.empty()) fail(TransportErrorKind::InvalidRequest, request, "no host given");
  if (request.port == 0) fail(TransportErrorKind::InvalidRequest, request, "port 0");
  if (request.method.empty() || hasControlBreak(request.method) || hasControlBreak(request.host))
    fail(TransportErrorKind::InvalidRequest, request, "bad method or host");
  if (request.path.empty() || request.path.front() != '/' || hasControlBreak(request.path))
    fail(TransportErrorKind::InvalidRequest, request, "the path must be absolute and on one line");
  for (const Header& header : request.headers) {
    if (header.name.empty() || hasControlBreak(header.name) || hasControlBreak(header.value) ||
        header.name.find(':') != std::string::npos)
      fail(TransportErrorKind::InvalidRequest, request, "bad header '" + header.name + "'");
  }
}

void appendBodyPiece(const Request& request, std::string& body, std::string_view piece) {
  const std::size_t limit = std::min(request.maxBodyBytes, kMaxResponseBodyBytes);
  if (piece.size() > limit - body.size())
    fail(TransportErrorKind::Protocol, request,
         "the answer is over the answer size limit of " + std::to_string(limit) + " bytes");
  if (request.inspectBody) {
    try {
      request.inspectBody(piece);
    } catch (const TransportError&) {
      throw;
    } catch (const std::exception& e) {
      fail(TransportErrorKind::Protocol, request, e.what());
    }
  }
  body.append(piece);
}

void reserveAnnouncedBody(const Request& request, std::string& body, std::uint64_t announced) {
  const std::size_t limit = std::min(request.maxBodyBytes, kMaxResponseBodyBytes);
  if (announced > limit)
    fail(TransportErrorKind::Protocol, request,
         "the answer announces " + std::to_string(announced) + " bytes, over the answer size limit of " +
             std::to_string(limit) + " bytes");
  body.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(announced, std::uint64_t{1} << 20)) +
               kResponseBodySpareBytes);
}

void fail(TransportErrorKind kind, const Request& request, const std::string& detail) {
  throw TransportError(kind, std::string(toString(kind)) + ": " + request.method + " " + endpointText(request) +
                                 request.path + ": " + detail);
}

}  // namespace detail
}  // namespace vantor::http
