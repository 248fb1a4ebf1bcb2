#include "logger/TraceQueue.h"

#include <algorithm>
#include <iterator>

#include "logger/HostInfo.h"

namespace logger {

TraceQueue::TraceQueue(std::size_t capacity) : capacity_(std::max<std::size_t>(1, capacity)) {}

void TraceQueue::SetCapacity(std::size_t capacity) {
  capacity_ = std::max<std::size_t>(1, capacity);
  while (Size() > capacity_) MakeRoom();
}

void TraceQueue::MakeRoom() {
  std::deque<Queued>& victims = detail_.empty() ? important_ : detail_;
  victims.pop_front();
  ++dropped_;
}

void TraceQueue::Push(TraceEntry entry) {
  const std::uint64_t number = ++lastPushed_;
  if (Size() >= capacity_) {
    // A full queue of warnings and errors keeps them rather than take a new detail line.
    if (detail_.empty() && IsDetail(entry.category)) {
      ++dropped_;
      return;
    }
    MakeRoom();
  }
  (IsDetail(entry.category) ? detail_ : important_).push_back(Queued{number, std::move(entry)});
}

TraceQueue::Batch TraceQueue::Drain() {
  Batch batch;
  batch.through = lastPushed_;
  batch.entries.reserve(Size() + 1);
  if (dropped_ > 0) {
    TraceEntry notice;
    notice.time = std::chrono::system_clock::now();
    notice.threadId = host::ThreadId();
    notice.category = MSG_WARNING;
    notice.source = L"CFileLog";
    notice.message = L"Trace queue full: " + std::to_wstring(dropped_) + L" line(s) dropped";
    batch.entries.push_back(std::move(notice));
    dropped_ = 0;
  }
  // Both queues are in push order; merging them by number restores the order of the whole.
  auto d = detail_.begin();
  auto i = important_.begin();
  while (d != detail_.end() || i != important_.end()) {
    const bool takeDetail = i == important_.end() || (d != detail_.end() && d->number < i->number);
    auto& from = takeDetail ? d : i;
    batch.entries.push_back(std::move(from->entry));
    ++from;
  }
  detail_.clear();
  important_.clear();
  return batch;
}

}  // namespace logger
