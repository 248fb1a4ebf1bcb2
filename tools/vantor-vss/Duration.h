#pragma once
// Durations as an administrator types them: one or more NUMBER UNIT pairs, units s, m, h, d
// ("90s", "24h", "1d12h"). Anything else is a usage error.
#include <chrono>
#include <string>

namespace vantorvss {

// Throws std::invalid_argument naming the text when it does not parse or is absurdly long.
std::chrono::seconds ParseDuration(const std::string& text);

}  // namespace vantorvss
