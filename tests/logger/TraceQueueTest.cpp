// When the writer falls behind, the queue gives up detail lines before warnings and errors
// and says how many lines it dropped.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "logger/TraceQueue.h"

namespace {

logger::TraceEntry Line(MSG_CATEGORY category, const std::wstring& message) {
  logger::TraceEntry entry;
  entry.category = category;
  entry.source = L"Test";
  entry.message = message;
  return entry;
}

std::vector<std::wstring> Messages(const logger::TraceQueue::Batch& batch) {
  std::vector<std::wstring> messages;
  for (const logger::TraceEntry& entry : batch.entries) messages.push_back(entry.message);
  return messages;
}

TEST(TraceQueue, FullQueueDropsOldestDetailFirstAndCountsWhatItDropped) {
  struct Case {
    const char* name;
    std::size_t capacity;
    std::vector<logger::TraceEntry> pushed;
    std::vector<std::wstring> drained;
  };
  const std::wstring notice2 = L"Trace queue full: 2 line(s) dropped";
  const std::vector<Case> cases = {
      {"room for all", 4, {Line(MSG_DEBUG, L"d1"), Line(MSG_ERROR, L"e2")}, {L"d1", L"e2"}},
      {"detail goes before warnings and errors", 4,
       {Line(MSG_DEBUG, L"d1"), Line(MSG_INFO, L"i2"), Line(MSG_ERROR, L"e3"), Line(MSG_DEBUG, L"d4"),
        Line(MSG_WARNING, L"w5"), Line(MSG_ERROR, L"e6")},
       {notice2, L"e3", L"d4", L"w5", L"e6"}},
      {"a new detail line does not push out an error", 2,
       {Line(MSG_ERROR, L"e1"), Line(MSG_WARNING, L"w2"), Line(MSG_INFO, L"i3"), Line(MSG_ERROR, L"e4")},
       {notice2, L"w2", L"e4"}},
  };
  for (const Case& c : cases) {
    logger::TraceQueue queue(c.capacity);
    for (const logger::TraceEntry& entry : c.pushed) queue.Push(entry);
    EXPECT_LE(queue.Size(), c.capacity) << c.name;
    const logger::TraceQueue::Batch batch = queue.Drain();
    EXPECT_EQ(Messages(batch), c.drained) << c.name;
    EXPECT_EQ(batch.through, c.pushed.size()) << c.name;
    EXPECT_TRUE(queue.Empty()) << c.name;
    if (batch.entries.size() < c.pushed.size()) {
      EXPECT_EQ(batch.entries.front().category, MSG_WARNING) << c.name;
    }
  }
}

TEST(TraceQueue, DropCountStartsAgainAfterEachDrain) {
  logger::TraceQueue queue(1);
  queue.Push(Line(MSG_INFO, L"a"));
  queue.Push(Line(MSG_INFO, L"b"));
  EXPECT_EQ(Messages(queue.Drain()).front(), L"Trace queue full: 1 line(s) dropped");
  queue.Push(Line(MSG_INFO, L"c"));
  EXPECT_EQ(Messages(queue.Drain()), std::vector<std::wstring>{L"c"});
}

}  // namespace
