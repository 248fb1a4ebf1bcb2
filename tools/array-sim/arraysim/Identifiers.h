#pragma once
// Identifiers an array hands out: object ids, LUN serial numbers, EUI-64 designators, session
// tokens and iSCSI target names. Values mix a per-simulator random prefix with a counter, so they
// are unique within one simulator and unlikely to repeat across simulators.

#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <string>

namespace arraysim {

using Eui64 = std::array<std::uint8_t, 16>;

std::string toHex(std::span<const std::uint8_t> bytes);

class IdentifierSource {
public:
    IdentifierSource();

    // 42 hex digits: two for the kind of object, then prefix and counter.
    std::string objectId(std::uint8_t kind);
    std::string serialNumber();  // 32 lower-case hex digits
    Eui64 eui64();
    std::string token();  // 32 hex digits, not guessable from earlier ones

private:
    std::uint64_t next();

    std::mt19937_64 mRandom;
    std::uint64_t mPrefix;
    std::uint64_t mCounter = 0;
};

inline constexpr std::uint8_t kGroupKind = 0x00;
inline constexpr std::uint8_t kVolumeKind = 0x06;
inline constexpr std::uint8_t kSnapshotKind = 0x05;
inline constexpr std::uint8_t kTokenKind = 0x0a;

// "iqn.2007-11.com.vantor:<group>-<object>-<suffix>" with the names reduced to the characters an
// iSCSI qualified name allows.
std::string iscsiTargetName(const std::string& groupName, const std::string& objectName,
                            const std::string& suffix);

// The T10 vendor identification designator: vendor id padded to 8 bytes, then the serial.
std::string t10Designator(const std::string& serialNumber, const std::string& vendor = "Vantor");

}  // namespace arraysim
