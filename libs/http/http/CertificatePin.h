#pragma once
// Certificate pins: the lower-case hex SHA-256 of a server's DER certificate. Arrays ship
// self-signed certificates, so a pinned certificate stands in for the chain of trust and the
// name check; its validity dates still count.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantor::http {

// 64 hex digits, lower case.
std::string sha256Hex(const unsigned char* data, std::size_t size);

// Takes "AB:cd:..." or "abcd..." (64 hex digits, optionally in pairs separated by ':') and
// answers the 64 lower-case digits; nullopt for anything else.
std::optional<std::string> normalizeSha256Hex(std::string_view text);

// Why a presented certificate is refused under `pinned`, or empty when it is accepted.
// notBefore/notAfter: the certificate's validity period.
std::string pinRefusal(const std::string& presentedSha256, const std::string& pinnedSha256,
                       std::chrono::system_clock::time_point notBefore, std::chrono::system_clock::time_point notAfter,
                       std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

}  // namespace vantor::http
