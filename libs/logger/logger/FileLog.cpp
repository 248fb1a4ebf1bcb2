#include "logger/FileLog.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "logger/BufferDump.h"
#include "logger/HostInfo.h"
#include "logger/RotatingFile.h"
#include "logger/TraceFolderCheck.h"
#include "logger/TraceBlock.h"
#include "logger/TraceLine.h"
#include "logger/TraceQueue.h"
#include "logger/WideFormat.h"

namespace {

constexpr std::size_t kDefaultQueueCapacity = 10000;
// One message longer than this is cut: a runaway argument must not fill the queue's memory.
constexpr std::size_t kMaxMessageChars = 16 * 1024;
constexpr int kMaxDumpBytes = 4096;
constexpr DWORD kErrorOpenFailed = 110;

// Cleared when the process's logger is destroyed at exit; log sites in later destructors then
// get null instead of a dead object. Trivially destructible, so it outlives everything.
std::atomic<bool> gLoggerGone{false};

struct TraceDirectorySetting {
  std::mutex mutex;
  std::optional<std::filesystem::path> directory;
};

TraceDirectorySetting& TraceDirectory() {
  static TraceDirectorySetting setting;
  return setting;
}

bool IsPlainFileName(const std::wstring& name) {
  return !name.empty() && name.size() <= 64 &&
         std::none_of(name.begin(), name.end(), [](wchar_t c) {
           return c == L'/' || c == L'\\' || c == L':' || c < 0x20;
         }) &&
         name != L"." && name != L"..";
}

DWORD ToWin32Status(const std::error_code& ec) {
  if (ec == std::errc::permission_denied) return static_cast<DWORD>(ERROR_ACCESS_DENIED);
  if (ec == std::errc::no_such_file_or_directory) return static_cast<DWORD>(ERROR_PATH_NOT_FOUND);
  return kErrorOpenFailed;
}

}  // namespace

struct CFileLog::Impl {
  // Guards the queue and the writer's progress. The file has its own lock, so that a caller
  // that logs never waits for the disk.
  std::mutex mutex;
  std::condition_variable wake;
  std::condition_variable progress;
  logger::TraceQueue queue{kDefaultQueueCapacity};
  std::uint64_t writtenThrough = 0;
  bool fileOpen = false;
  bool stopping = false;
  std::filesystem::path tracePath;
  std::string refusal;  // why the trace folder was refused, if it was
  logger::RotationPolicy policy;

  std::mutex fileMutex;
  std::unique_ptr<logger::RotatingFile> file;

  std::thread writer;

  void Enqueue(std::vector<logger::TraceEntry> entries) {
    {
      const std::lock_guard lock(mutex);
      for (logger::TraceEntry& entry : entries) queue.Push(std::move(entry));
    }
    wake.notify_one();
  }

  void WriteBatch(const logger::TraceQueue::Batch& batch) {
    const std::uint32_t processId = logger::host::ProcessId();
    const std::lock_guard lock(fileMutex);
    if (!file) return;
    for (const logger::TraceEntry& entry : batch.entries) file->Write(logger::FormatTraceLine(entry, processId));
    file->Flush();
  }

  void Run() {
    std::unique_lock lock(mutex);
    for (;;) {
      wake.wait(lock, [this] { return stopping || (fileOpen && !queue.Empty()); });
      if (!fileOpen || queue.Empty()) {
        if (stopping) return;
        continue;
      }
      logger::TraceQueue::Batch batch = queue.Drain();
      lock.unlock();
      try {
        WriteBatch(batch);
      } catch (...) {
        // A line that cannot be formatted or written is lost; the writer keeps going.
      }
      lock.lock();
      writtenThrough = batch.through;
      progress.notify_all();
    }
  }
};

CFileLog::CFileLog() : impl_(std::make_unique<Impl>()) {
  try {
    impl_->writer = std::thread([impl = impl_.get()] { impl->Run(); });
  } catch (...) {
    // Without a writer the lines stay queued (and bounded); logging still never fails a caller.
  }
}

CFileLog::~CFileLog() {
  gLoggerGone.store(true, std::memory_order_release);
  {
    const std::lock_guard lock(impl_->mutex);
    impl_->stopping = true;
  }
  impl_->wake.notify_all();
  if (impl_->writer.joinable()) impl_->writer.join();
}

CFileLog* CFileLog::GetInstance() {
  if (gLoggerGone.load(std::memory_order_acquire)) return nullptr;
  static CFileLog instance;
  return &instance;
}

void CFileLog::SetTraceDirectory(const std::filesystem::path& directory) {
  TraceDirectorySetting& setting = TraceDirectory();
  const std::lock_guard lock(setting.mutex);
  setting.directory = directory;
}

DWORD CFileLog::InitializeLogging(const std::wstring& component) {
  try {
    if (!IsPlainFileName(component)) return static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    std::filesystem::path directory;
    {
      TraceDirectorySetting& setting = TraceDirectory();
      const std::lock_guard lock(setting.mutex);
      directory = setting.directory.value_or(logger::host::DefaultTraceDirectory());
    }
    const auto refuse = [&](std::string refusal) {
      const std::lock_guard lock(impl_->mutex);
      impl_->refusal = std::move(refusal);
      return static_cast<DWORD>(ERROR_ACCESS_DENIED);
    };
    // Checked before the folder is made (a redirected parent must not receive it) and again
    // once it exists, with the files that rotation would rename and delete.
    if (std::string refusal = logger::TraceFolderRefusal(directory, component); !refusal.empty())
      return refuse(std::move(refusal));
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    if (ec) return ToWin32Status(ec);
    if (std::string refusal = logger::TraceFolderRefusal(directory, component); !refusal.empty())
      return refuse(std::move(refusal));
    {
      const std::lock_guard lock(impl_->mutex);
      impl_->refusal.clear();
    }

    logger::RotationPolicy policy;
    {
      const std::lock_guard lock(impl_->mutex);
      policy = impl_->policy;
    }
    auto file = std::make_unique<logger::RotatingFile>(directory / (component + L".log"), policy);
    if (file->Open()) return kErrorOpenFailed;
    const std::filesystem::path path = file->Path();
    {
      const std::lock_guard lock(impl_->fileMutex);
      impl_->file = std::move(file);
    }
    {
      const std::lock_guard lock(impl_->mutex);
      impl_->tracePath = path;
      impl_->fileOpen = true;
    }
    impl_->wake.notify_one();
    return static_cast<DWORD>(ERROR_SUCCESS);
  } catch (...) {
    return static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY);
  }
}

std::string CFileLog::TraceRefusal() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->refusal;
}

std::filesystem::path CFileLog::TracePath() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->tracePath;
}

void CFileLog::SetRotation(std::uintmax_t maxBytes, unsigned keptFiles) {
  const logger::RotationPolicy policy{std::max<std::uintmax_t>(1, maxBytes), keptFiles};
  {
    const std::lock_guard lock(impl_->mutex);
    impl_->policy = policy;
  }
  const std::lock_guard lock(impl_->fileMutex);
  if (impl_->file) impl_->file->SetPolicy(policy);
}

void CFileLog::SetQueueCapacity(std::size_t lines) {
  const std::lock_guard lock(impl_->mutex);
  impl_->queue.SetCapacity(lines);
}

void CFileLog::Flush() {
  std::unique_lock lock(impl_->mutex);
  const std::uint64_t target = impl_->queue.LastPushed();
  impl_->progress.wait(lock, [&] {
    return impl_->writtenThrough >= target || !impl_->fileOpen || impl_->stopping || !impl_->writer.joinable();
  });
}

void CFileLog::CloseTrace() {
  Flush();
  {
    const std::lock_guard lock(impl_->mutex);
    impl_->fileOpen = false;
    impl_->tracePath.clear();
  }
  // Waits for a batch the writer took before the file was marked closed.
  const std::lock_guard lock(impl_->fileMutex);
  impl_->file.reset();
}

void CFileLog::LogV(MSG_CATEGORY category, const wchar_t* sourceFile, unsigned long line, const wchar_t* format,
                    std::span<const logger::LogArg> args) {
  try {
    logger::TraceEntry entry;
    entry.time = std::chrono::system_clock::now();
    entry.threadId = logger::host::ThreadId();
    entry.category = category;
    entry.source = sourceFile ? sourceFile : L"?";
    entry.line = line;
    entry.message = logger::FormatWide(format ? format : L"", args);
    if (entry.message.size() > kMaxMessageChars) {
      entry.message.resize(kMaxMessageChars);
      entry.message += L"... (cut)";
    }
    if (logger::TraceBlock::Hold(entry)) return;
    std::vector<logger::TraceEntry> entries;
    entries.push_back(std::move(entry));
    impl_->Enqueue(std::move(entries));
  } catch (...) {
    // Logging never fails a caller.
  }
}

void CFileLog::LogEntries(std::vector<logger::TraceEntry> entries) noexcept {
  try {
    impl_->Enqueue(std::move(entries));
  } catch (...) {
  }
}

void CFileLog::LogBuffer(MSG_CATEGORY category, const wchar_t* sourceFile, unsigned long line,
                         const unsigned char* buffer, int length) {
  try {
    if (!buffer || length <= 0) {
      Log(category, sourceFile, line, L"Buffer dump: no data (length %d)", length);
      return;
    }
    const int shown = std::min(length, kMaxDumpBytes);
    std::vector<std::wstring> rows =
        logger::FormatBufferRows(std::span<const unsigned char>(buffer, static_cast<std::size_t>(shown)));
    if (shown < length) rows.push_back(L"... " + std::to_wstring(length - shown) + L" more bytes not shown");

    const auto now = std::chrono::system_clock::now();
    const std::uint32_t threadId = logger::host::ThreadId();
    std::vector<logger::TraceEntry> entries;
    entries.reserve(rows.size() + 1);
    auto add = [&](std::wstring message) {
      entries.push_back(logger::TraceEntry{now, threadId, category, sourceFile ? sourceFile : L"?", line,
                                           std::move(message)});
    };
    add(L"Buffer dump of " + std::to_wstring(length) + L" bytes:");
    for (std::wstring& row : rows) add(std::move(row));
    // One push for the whole dump, so that other threads' lines do not land between its rows.
    if (!logger::TraceBlock::Hold(entries)) impl_->Enqueue(std::move(entries));
  } catch (...) {
  }
}
