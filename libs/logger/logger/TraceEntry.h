#pragma once
// One trace line between the caller that logs it and the writer thread that puts it on disk.
// The message is formatted on the caller's thread (its arguments live only there); the layout
// around it is added by the writer.
#include <chrono>
#include <cstdint>
#include <string>

#include "logger/Category.h"

namespace logger {

struct TraceEntry {
  std::chrono::system_clock::time_point time;
  std::uint32_t threadId = 0;
  MSG_CATEGORY category = MSG_INFO;
  // The name of the logging unit: a literal (or other text that lives as long as the process),
  // since the line is written later on another thread.
  const wchar_t* source = L"?";
  unsigned long line = 0;
  std::wstring message;
};

// Detail lines are the first to go when the queue is full.
inline bool IsDetail(MSG_CATEGORY category) { return category == MSG_DEBUG || category == MSG_INFO; }

}  // namespace logger
