#pragma once
// Holds the trace lines that one thread logs while the block lives and hands them to the trace
// in one piece when it ends, so that threads working side by side (the commit's workers, one
// per array group) each leave an unbroken run of lines. Every line keeps the time it was
// logged at. A block that grows past kMaxHeldLines passes on what it holds and goes on
// holding, so its memory stays bounded whatever the thread logs. A block opened while the
// thread already has one open adds nothing: the lines stay in the outer one.
#include <cstddef>
#include <vector>

#include "logger/TraceEntry.h"

namespace logger {

class TraceBlock {
 public:
  static constexpr std::size_t kMaxHeldLines = 4096;

  TraceBlock();
  ~TraceBlock();
  TraceBlock(const TraceBlock&) = delete;
  TraceBlock& operator=(const TraceBlock&) = delete;

  // Moves `entries` into the calling thread's open block; false (and `entries` left as they
  // are) when the thread has none.
  static bool Hold(std::vector<TraceEntry>& entries);
  // The same for one line: moved from only when held.
  static bool Hold(TraceEntry& entry);

 private:
  void PassOn();

  std::vector<TraceEntry> held_;
  bool active_;
};

}  // namespace logger
