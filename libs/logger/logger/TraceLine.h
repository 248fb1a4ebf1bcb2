#pragma once
// The layout of one line of the trace file, UTF-8, ending in a line feed:
//   2025-01-31 14:02:07.123 [4312:4388] INFO  VantorGroupFinder(214): message
// local time with milliseconds, process and thread id, category, source unit and line.
// Control characters inside the message are escaped, so that text from outside (an array's
// error message, a registry value) can never forge a line of its own.
#include <cstdint>
#include <string>

#include "logger/TraceEntry.h"

namespace logger {

std::string FormatTraceLine(const TraceEntry& entry, std::uint32_t processId);

}  // namespace logger
