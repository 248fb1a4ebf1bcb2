#include "logger/TraceBlock.h"

#include <iterator>
#include <utility>

#include "logger/FileLog.h"

namespace logger {
namespace {
thread_local TraceBlock* tOpenBlock = nullptr;
// Room for what one array operation on a few dozen volumes logs, so the block rarely grows.
constexpr std::size_t kReservedLines = 256;
}  // namespace

TraceBlock::TraceBlock() : active_(tOpenBlock == nullptr) {
  if (!active_) return;
  tOpenBlock = this;
  try {
    held_.reserve(kReservedLines);
  } catch (...) {
    // The block grows as lines come, or passes them on when it cannot.
  }
}

TraceBlock::~TraceBlock() {
  if (!active_) return;
  tOpenBlock = nullptr;
  PassOn();
}

bool TraceBlock::Hold(std::vector<TraceEntry>& entries) {
  TraceBlock* const block = tOpenBlock;
  if (block == nullptr) return false;
  block->held_.insert(block->held_.end(), std::make_move_iterator(entries.begin()),
                      std::make_move_iterator(entries.end()));
  entries.clear();
  if (block->held_.size() >= kMaxHeldLines) block->PassOn();
  return true;
}

bool TraceBlock::Hold(TraceEntry& entry) {
  TraceBlock* const block = tOpenBlock;
  if (block == nullptr) return false;
  block->held_.push_back(std::move(entry));
  if (block->held_.size() >= kMaxHeldLines) block->PassOn();
  return true;
}

void TraceBlock::PassOn() {
  if (held_.empty()) return;
  std::vector<TraceEntry> lines = std::exchange(held_, {});
  if (CFileLog* log = CFileLog::GetInstance()) log->LogEntries(std::move(lines));
}

}  // namespace logger
