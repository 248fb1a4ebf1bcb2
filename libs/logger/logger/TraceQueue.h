#pragma once
// The bounded queue between the threads that log and the one that writes. Pushing never
// waits: when the queue is full the oldest detail line (MSG_DEBUG, MSG_INFO) makes room, and
// only when no detail line is left does the oldest warning or error go. Drain hands the writer
// what is left in order, led by a warning that says how many lines were dropped.
// Not synchronised; its owner holds the lock.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "logger/TraceEntry.h"

namespace logger {

class TraceQueue {
 public:
  explicit TraceQueue(std::size_t capacity);

  void Push(TraceEntry entry);
  void SetCapacity(std::size_t capacity);

  struct Batch {
    std::vector<TraceEntry> entries;
    // Every line pushed up to this number is in `entries` or was dropped.
    std::uint64_t through = 0;
  };
  Batch Drain();

  bool Empty() const { return detail_.empty() && important_.empty(); }
  std::size_t Size() const { return detail_.size() + important_.size(); }
  // Number of the last line pushed (0 before the first).
  std::uint64_t LastPushed() const { return lastPushed_; }

 private:
  struct Queued {
    std::uint64_t number;
    TraceEntry entry;
  };
  void MakeRoom();

  std::size_t capacity_;
  std::deque<Queued> detail_;
  std::deque<Queued> important_;
  std::uint64_t lastPushed_ = 0;
  std::uint64_t dropped_ = 0;
};

}  // namespace logger
