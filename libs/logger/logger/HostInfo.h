#pragma once
// The few facts about the running host that the trace needs: ids for the line layout, local
// time, and where the trace goes when nobody said otherwise. The only place of the logger that
// differs between Windows and the other platforms.
#include <cstdint>
#include <ctime>
#include <filesystem>

namespace logger::host {

std::uint32_t ProcessId();
std::uint32_t ThreadId();
std::tm LocalTime(std::time_t time);

// VANTOR_TRACE_DIR when set; else the product's log folder on Windows
// (%ProgramData%\Vantor Storage\Logs) and ./logs elsewhere.
std::filesystem::path DefaultTraceDirectory();

}  // namespace logger::host
