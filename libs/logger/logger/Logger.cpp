#include "logger/Logger.h"

#include <exception>

#include "logger/FileLog.h"

namespace {
constexpr const wchar_t* kLogSource = L"CLogger";
}  // namespace

CLogger::CLogger(const wchar_t* scopeName)
    : scope_(scopeName ? scopeName : L"(unnamed scope)"),
      uncaught_(std::uncaught_exceptions()),
      start_(std::chrono::steady_clock::now()) {
  VA_LOG(MSG_DEBUG, L"Enter %s", scope_);
}

CLogger::~CLogger() {
  const long long elapsedMs =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_).count();
  // An exception leaving the scope is worth keeping when the queue overflows, so that exit is
  // a warning; a normal exit is detail like the entry.
  if (std::uncaught_exceptions() > uncaught_) {
    VA_LOG(MSG_WARNING, L"Exit %s after %lld ms, leaving by an exception", scope_, elapsedMs);
  } else {
    VA_LOG(MSG_DEBUG, L"Exit %s after %lld ms", scope_, elapsedMs);
  }
}
