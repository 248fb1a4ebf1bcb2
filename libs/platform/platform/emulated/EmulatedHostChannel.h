#pragma once
// The emulated Windows host's window on the array simulator: its "host channel"
// (GET/POST <control URL>/host/<initiator>/...), which answers what the host's storage stack,
// multipath driver and iSCSI initiator would see. The emulated storage-device, DSM and iSCSI
// seams share it. The host is one iSCSI initiator name; both values come from the emulated
// host's configuration (the tool's options, a test fixture).
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <filesystem>
#include <nlohmann/json.hpp>

namespace platform {

struct EmulatedHostEndpoint {
  std::string controlUrl;     // "http://127.0.0.1:PORT" of the simulator's control server
  std::string initiatorName;  // "iqn.1991-05.com.example:host1"
};

// Reads an emulated host's description, {"initiator": NAME, "control": URL}; throws
// std::runtime_error naming the file when it is missing or malformed.
EmulatedHostEndpoint ReadEmulatedHostEndpoint(const std::filesystem::path& file);

// No usable answer from the host channel: transport failure, HTTP status other than 200, or a
// body that is not JSON.
class HostChannelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class EmulatedHostChannel {
 public:
  // Throws std::invalid_argument when the control URL is not "http[s]://HOST:PORT[/base]".
  explicit EmulatedHostChannel(EmulatedHostEndpoint endpoint);

  const EmulatedHostEndpoint& endpoint() const { return mEndpoint; }

  // `what` is the part after /host/<initiator>/, e.g. "disks" or "iscsi/login".
  nlohmann::json Get(std::string_view what) const;
  nlohmann::json Post(std::string_view what, const nlohmann::json& body) const;

 private:
  nlohmann::json Exchange(const char* method, std::string_view what, const std::string& body) const;

  EmulatedHostEndpoint mEndpoint;
  std::string mHost;
  std::uint16_t mPort = 0;
  bool mTls = false;
  std::string mBasePath;
};

// Standard base64 (with or without padding, no line breaks); nullopt on any other character.
std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text);
// Hexadecimal digits (either case, even count) to bytes; nullopt otherwise.
std::optional<std::vector<std::uint8_t>> DecodeHex(std::string_view text);

}  // namespace platform
