#pragma once
// The process-wide file trace. Every log site fetches the instance and skips the line when
// there is none. Formats follow the Windows wide-format convention on every platform: %s takes
// a wide string, %S a narrow one.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "logger/Category.h"
#include "logger/LogArg.h"
#include "logger/TraceEntry.h"
#include "wincompat/WinTypes.h"

class CFileLog {
 public:
  static CFileLog* GetInstance();

  // Opens the trace named after `component` in the trace folder; returns a Win32 status.
  // A folder that fails the checks of TraceFolderCheck.h gets no trace: ERROR_ACCESS_DENIED,
  // with the reason kept for TraceRefusal().
  DWORD InitializeLogging(const std::wstring& component);
  // Why the last InitializeLogging refused the trace folder; empty when it did not.
  std::string TraceRefusal() const;

  // `sourceFile` names the logging unit and must live as long as the process (a literal: see
  // VA_LOG); the line keeps it, not a copy.
  template <class... Args>
  void Log(MSG_CATEGORY category, const wchar_t* sourceFile, unsigned long line, const wchar_t* format,
           const Args&... args) {
    const std::initializer_list<logger::LogArg> list{logger::LogArg(args)...};
    LogV(category, sourceFile, line, format, std::span<const logger::LogArg>(list.begin(), list.size()));
  }
  void LogV(MSG_CATEGORY category, const wchar_t* sourceFile, unsigned long line, const wchar_t* format,
            std::span<const logger::LogArg> args);
  void LogBuffer(MSG_CATEGORY category, const wchar_t* sourceFile, unsigned long line,
                 const unsigned char* buffer, int length);
  // Lines made elsewhere (those a logger::TraceBlock held), queued as one piece.
  void LogEntries(std::vector<logger::TraceEntry> entries) noexcept;

  // Where trace files go; set before InitializeLogging (the tool's --trace-dir, test fixtures).
  static void SetTraceDirectory(const std::filesystem::path& directory);
  // Path of the current trace file (empty before InitializeLogging).
  std::filesystem::path TracePath() const;
  // Blocks until every line queued so far is on disk.
  void Flush();
  // Writes what is queued, then closes the trace file; later lines wait in the queue until
  // InitializeLogging opens a trace again (in the directory set by then).
  void CloseTrace();
  // Size limit of one trace file and how many older files are kept (10 MiB and 5 by default).
  void SetRotation(std::uintmax_t maxBytes, unsigned keptFiles);
  // Lines that may wait for the writer before detail lines are dropped (10000 by default).
  void SetQueueCapacity(std::size_t lines);

  ~CFileLog();
  CFileLog(const CFileLog&) = delete;
  CFileLog& operator=(const CFileLog&) = delete;

 private:
  CFileLog();
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// VA_LOG(MSG_INFO, L"format %S", arg): one trace line from the file that defines
// `kLogSource` (a wide string naming the source unit, e.g. L"VantorGroupFinder").
#define VA_LOG(category, ...)                                                       \
  do {                                                                              \
    if (CFileLog* vaFileLog_ = CFileLog::GetInstance())                             \
      vaFileLog_->Log((category), kLogSource, static_cast<unsigned long>(__LINE__), __VA_ARGS__); \
  } while (0)
