#include "platform/emulated/EmulatedHostChannel.h"

#include <charconv>
#include <chrono>
#include <fstream>
#include <stdexcept>

#include "http/Transport.h"
#include "http/TransportError.h"

namespace platform {

EmulatedHostEndpoint ReadEmulatedHostEndpoint(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  nlohmann::json host;
  try {
    in >> host;
  } catch (const std::exception& e) {
    throw std::runtime_error(file.string() + " is not JSON: " + e.what());
  }
  if (!host.is_object() || !host.contains("initiator") || !host["initiator"].is_string() || !host.contains("control") ||
      !host["control"].is_string())
    throw std::runtime_error(file.string() + " must hold {\"initiator\": NAME, \"control\": \"http://127.0.0.1:PORT\"}");
  return {host["control"].get<std::string>(), host["initiator"].get<std::string>()};
}

namespace {

// Initiator names carry ':' and '.', which a path segment may hold; anything outside the
// unreserved set is escaped so that a name can never change the path.
std::string EscapePathSegment(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    const bool plain = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '-' ||
                       u == '.' || u == '_' || u == '~' || u == ':';
    if (plain) {
      out.push_back(c);
    } else {
      out.push_back('%');
      out.push_back(kHex[u >> 4]);
      out.push_back(kHex[u & 0xF]);
    }
  }
  return out;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int Base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

EmulatedHostChannel::EmulatedHostChannel(EmulatedHostEndpoint endpoint) : mEndpoint(std::move(endpoint)) {
  std::string_view url = mEndpoint.controlUrl;
  if (url.starts_with("http://")) {
    url.remove_prefix(7);
  } else if (url.starts_with("https://")) {
    url.remove_prefix(8);
    mTls = true;
  } else {
    throw std::invalid_argument("emulated host: control URL must start with http:// or https://: " + mEndpoint.controlUrl);
  }
  const auto slash = url.find('/');
  const std::string_view authority = url.substr(0, slash);
  mBasePath = slash == std::string_view::npos ? "" : std::string(url.substr(slash));
  while (!mBasePath.empty() && mBasePath.back() == '/') mBasePath.pop_back();
  const auto colon = authority.rfind(':');
  if (colon == std::string_view::npos || colon == 0) {
    throw std::invalid_argument("emulated host: control URL needs HOST:PORT: " + mEndpoint.controlUrl);
  }
  mHost = std::string(authority.substr(0, colon));
  const auto portText = authority.substr(colon + 1);
  unsigned port = 0;
  const auto [end, ec] = std::from_chars(portText.data(), portText.data() + portText.size(), port);
  if (ec != std::errc{} || end != portText.data() + portText.size() || port == 0 || port > 65535) {
    throw std::invalid_argument("emulated host: bad port in control URL: " + mEndpoint.controlUrl);
  }
  mPort = static_cast<std::uint16_t>(port);
  if (mEndpoint.initiatorName.empty()) throw std::invalid_argument("emulated host: initiator name is empty");
}

nlohmann::json EmulatedHostChannel::Get(std::string_view what) const { return Exchange("GET", what, {}); }

nlohmann::json EmulatedHostChannel::Post(std::string_view what, const nlohmann::json& body) const {
  return Exchange("POST", what, body.dump());
}

nlohmann::json EmulatedHostChannel::Exchange(const char* method, std::string_view what, const std::string& body) const {
  vantor::http::Request request;
  request.method = method;
  request.host = mHost;
  request.port = mPort;
  request.tls = mTls;
  request.path = mBasePath + "/host/" + EscapePathSegment(mEndpoint.initiatorName) + "/" + std::string(what);
  if (!body.empty()) {
    request.headers.push_back({"Content-Type", "application/json"});
    request.body = body;
  }
  vantor::http::Timeouts timeouts;
  timeouts.connect = std::chrono::seconds(5);
  timeouts.receive = std::chrono::seconds(30);

  vantor::http::Response response;
  try {
    response = vantor::http::sendOnce(request, timeouts);
  } catch (const vantor::http::TransportError& e) {
    throw HostChannelError(std::string("host channel ") + request.path + ": " + e.what());
  }
  if (response.status != 200) {
    throw HostChannelError("host channel " + request.path + ": HTTP status " + std::to_string(response.status));
  }
  nlohmann::json answer = nlohmann::json::parse(response.body, nullptr, /*allow_exceptions=*/false);
  if (answer.is_discarded()) throw HostChannelError("host channel " + request.path + ": answer is not JSON");
  return answer;
}

std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text) {
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  if (text.size() % 4 == 1) return std::nullopt;
  std::vector<std::uint8_t> out;
  out.reserve(text.size() * 3 / 4);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const int v = Base64Value(c);
    if (v < 0) return std::nullopt;
    bits = (bits << 6) | static_cast<std::uint32_t>(v);
    count += 6;
    if (count >= 8) {
      count -= 8;
      out.push_back(static_cast<std::uint8_t>(bits >> count));
    }
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> DecodeHex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint8_t> out;
  out.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int hi = HexValue(text[i]);
    const int lo = HexValue(text[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    out.push_back(static_cast<std::uint8_t>((hi << 4) | lo));
  }
  return out;
}

}  // namespace platform
