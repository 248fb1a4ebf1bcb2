#include "logger/TraceFolderCheck.h"

#include <atomic>

#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "platform/FileTrust.h"
#include "wincompat/WideString.h"

namespace logger {

namespace {
constexpr WORD kEventError = 1;       // EVENTLOG_ERROR_TYPE
constexpr DWORD kPlainTextEvent = 0;  // "%1"
}  // namespace

std::string TraceFolderRefusal(const std::filesystem::path& folder, const std::wstring& component) {
  for (const std::filesystem::path& path : {folder.parent_path(), folder}) {
    if (path.empty()) continue;
    if (std::string refusal = platform::PathTrustRefusal(path); !refusal.empty()) return refusal;
  }
  std::error_code ec;
  for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    if (!it->path().filename().wstring().starts_with(component)) continue;
    if (std::string refusal = platform::PathTrustRefusal(it->path()); !refusal.empty()) return refusal;
  }
  return {};
}

void ReportRefusedTraceFolder() {
  static std::atomic<bool> reported{false};
  CFileLog* log = CFileLog::GetInstance();
  if (log == nullptr) return;
  const std::string refusal = log->TraceRefusal();
  if (refusal.empty() || reported.exchange(true)) return;
  const std::wstring text = L"The trace folder is refused and no trace is written: " + wincompat::ToWide(refusal) +
                            L". Only SYSTEM and Administrators may own the folder and its files, and none of them may "
                            L"be a link or a junction.";
  ReportProviderEvent(kEventError, kPlainTextEvent, text.c_str());
}

}  // namespace logger
