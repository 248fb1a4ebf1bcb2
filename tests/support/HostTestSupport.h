#pragma once
// Test support shared by the suites: scoped seam
// installation, a private temporary folder, the trace and the event log read back, and (native
// build) an emulated Windows host attached to an in-process array simulator.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/WindowsEventLogWrapper.h"
#include "platform/EventLog.h"
#include "platform/SeamSlot.h"
#include "platform/emulated/EmulatedEventLog.h"
#include "platform/emulated/EmulatedRegistry.h"

namespace hosttest {

// Installs a seam implementation for the scope and puts the previous one back afterwards.
template <class Seam>
class ScopedSeam {
 public:
  explicit ScopedSeam(std::unique_ptr<Seam> seam) : mCurrent(seam.get()) {
    mPrevious = platform::SeamSlot<Seam>::Install(std::move(seam));
  }
  ~ScopedSeam() { platform::SeamSlot<Seam>::Install(std::move(mPrevious)); }
  ScopedSeam(const ScopedSeam&) = delete;
  ScopedSeam& operator=(const ScopedSeam&) = delete;
  Seam& get() const { return *mCurrent; }

 private:
  Seam* mCurrent;
  std::unique_ptr<Seam> mPrevious;
};

// An empty emulated registry installed for the scope.
class ScopedEmulatedRegistry {
 public:
  ScopedEmulatedRegistry() : mSeam(std::make_unique<platform::EmulatedRegistry>()) {}
  platform::EmulatedRegistry& get() const { return static_cast<platform::EmulatedRegistry&>(mSeam.get()); }

 private:
  ScopedSeam<platform::Registry> mSeam;
};

// A fresh folder under the system's temporary folder, removed with its contents afterwards.
class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    mPath = std::filesystem::temp_directory_path() /
            ("vantor-h6-" + std::to_string(random()) + "-" + std::to_string(random()));
    std::filesystem::create_directories(mPath);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(mPath, ec);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  const std::filesystem::path& path() const { return mPath; }

 private:
  std::filesystem::path mPath;
};

// The process's trace in a private folder; Text() flushes and reads everything written so far.
// Every test runs in its own process, so the trace holds this test's lines only.
class TraceCapture {
 public:
  TraceCapture() {
    // Lines an earlier test queued are written where that test's trace went, not into this one.
    CFileLog::GetInstance()->Flush();
    CFileLog::SetTraceDirectory(mFolder.path());
    CFileLog::GetInstance()->InitializeLogging(L"VSSTrace");
  }
  std::string Text() const {
    CFileLog::GetInstance()->Flush();
    std::string all;
    for (const auto& entry : std::filesystem::directory_iterator(mFolder.path())) {
      std::ifstream in(entry.path(), std::ios::binary);
      all.append(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return all;
  }
  bool Contains(const std::string& text) const { return Text().find(text) != std::string::npos; }
  std::size_t Count(const std::string& text) const {
    const std::string all = Text();
    std::size_t n = 0;
    for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size())) ++n;
    return n;
  }
  // The trace lines that contain `text`, for readable failure messages.
  std::string LinesWith(const std::string& text) const {
    std::istringstream in(Text());
    std::string line, found;
    while (std::getline(in, line)) {
      if (line.find(text) != std::string::npos) found += line + "\n";
    }
    return found;
  }
  // The level ("DEBUG", "INFO", "WARN" or "ERROR") of each trace line that contains `text`.
  std::vector<std::string> LevelsOf(const std::string& text) const {
    std::istringstream in(Text());
    std::vector<std::string> levels;
    for (std::string line; std::getline(in, line);) {
      if (line.find(text) == std::string::npos) continue;
      const std::size_t start = line.find("] ");
      if (start == std::string::npos) continue;
      levels.push_back(line.substr(start + 2, line.find(' ', start + 2) - start - 2));
    }
    return levels;
  }

 private:
  TempFolder mFolder;
};

// An emulated event log behind the process's event forwarder.
class EventCapture {
 public:
  EventCapture() : mLog(std::make_unique<platform::EmulatedEventLog>()) {
    mWrapper.Init(L"Vantor VSS Hardware Provider", L"");
    logger::SetProcessEventLog(&mWrapper);
  }
  ~EventCapture() { logger::SetProcessEventLog(nullptr); }
  std::vector<platform::EventRecord> Records() const { return mLog.get().Records(); }
  std::vector<platform::EventRecord> WithId(DWORD id) const {
    std::vector<platform::EventRecord> found;
    for (auto& record : Records()) {
      if (record.eventId == id) found.push_back(record);
    }
    return found;
  }

 private:
  ScopedSeam<platform::EventLog> mLog;
  CWindowsEventLogWrapper mWrapper;
};

}  // namespace hosttest
