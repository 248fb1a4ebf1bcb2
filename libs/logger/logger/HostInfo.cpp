#include "logger/HostInfo.h"

#ifdef _WIN32
#include <windows.h>

#include <cstdlib>
#include <string>
#else
#include <unistd.h>

#include <cstdlib>
#endif

namespace logger::host {

#ifdef _WIN32

std::uint32_t ProcessId() { return GetCurrentProcessId(); }

std::uint32_t ThreadId() { return GetCurrentThreadId(); }

std::tm LocalTime(std::time_t time) {
  std::tm result{};
  localtime_s(&result, &time);
  return result;
}

namespace {
std::wstring Environment(const wchar_t* name) {
  wchar_t buffer[1024];
  const DWORD length = GetEnvironmentVariableW(name, buffer, static_cast<DWORD>(std::size(buffer)));
  // 0 is "not set"; a value longer than the buffer is not a folder we can use either.
  if (length == 0 || length >= std::size(buffer)) return {};
  return std::wstring(buffer, length);
}
}  // namespace

std::filesystem::path DefaultTraceDirectory() {
  if (std::wstring dir = Environment(L"VANTOR_TRACE_DIR"); !dir.empty()) return dir;
  std::wstring programData = Environment(L"ProgramData");
  if (programData.empty()) programData = L"C:\\ProgramData";
  return std::filesystem::path(programData) / L"Vantor Storage" / L"Logs";
}

#else

std::uint32_t ProcessId() { return static_cast<std::uint32_t>(getpid()); }

std::uint32_t ThreadId() {
  thread_local const std::uint32_t id = static_cast<std::uint32_t>(gettid());
  return id;
}

std::tm LocalTime(std::time_t time) {
  std::tm result{};
  localtime_r(&time, &result);
  return result;
}

std::filesystem::path DefaultTraceDirectory() {
  const char* dir = std::getenv("VANTOR_TRACE_DIR");
  if (dir && *dir) return dir;
  return std::filesystem::path("logs");
}

#endif

}  // namespace logger::host
