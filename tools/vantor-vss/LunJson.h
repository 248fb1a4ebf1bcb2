#pragma once
// A VDS_LUN_INFORMATION as the shadow-copy document keeps it: every member, identifiers and
// interconnects as hex text, so that a later run (on this host or another) hands the provider
// exactly what it was given.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "provider/LunInformation.h"

namespace vantorvss {

nlohmann::json LunToJson(const VDS_LUN_INFORMATION& lun);
// Throws std::invalid_argument naming the member that is missing or malformed.
provider::OwnedLunInformation LunFromJson(const nlohmann::json& json);

std::string ToHex(const std::uint8_t* bytes, std::size_t size);
// Throws std::invalid_argument for text that is not an even number of hex digits.
std::vector<std::uint8_t> FromHex(const std::string& hex);

}  // namespace vantorvss
