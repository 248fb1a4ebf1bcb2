// The multipath driver's reply record: good records, and broken ones that must stop the walk
// inside the buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "DsmRecordBuilder.h"
#include "discovery/DsmRecordParser.h"

namespace {

using discovery::DsmParseStatus;
using Bytes = std::vector<std::uint8_t>;

Bytes TwoEntries() {
  return testsupport::BuildDsmRecord({{"6e2a1b0c9d8e7f6a6e2a1b0c9d8e7f6a", "10.20.30.40", 11},
                                    {"0123456789abcdef0123456789abcdef", "", 0}});
}

// Record layout of TwoEntries(): header 0..2; entry 0 at 3 (length at 3..4, serial from 5,
// address length at 38..39, address from 40 to 51); entry 1 at 52.
TEST(DsmRecordParser, BrokenRecordsStopTheWalkWithoutLeavingTheBuffer) {
  struct Case {
    const char* name;
    void (*damage)(Bytes&);
    DsmParseStatus status;
    std::size_t entries;
  };
  const Case cases[] = {
      {"undamaged", [](Bytes&) {}, DsmParseStatus::Complete, 2},
      // The entry length, not the address, decides where the next entry starts.
      {"padding after the first address", [](Bytes& b) { b[3] += 4; b.insert(b.begin() + 52, 4, 0xAA); },
       DsmParseStatus::Complete, 2},
      {"empty", [](Bytes& b) { b.clear(); }, DsmParseStatus::TruncatedHeader, 0},
      {"two header bytes", [](Bytes& b) { b.resize(2); }, DsmParseStatus::TruncatedHeader, 0},
      {"version 2", [](Bytes& b) { b[0] = 2; }, DsmParseStatus::UnsupportedVersion, 0},
      {"version 0", [](Bytes& b) { b[0] = 0; }, DsmParseStatus::UnsupportedVersion, 0},
      {"count larger than the entries", [](Bytes& b) { b[1] = 3; }, DsmParseStatus::CountExceedsEntries, 2},
      {"count 65535", [](Bytes& b) { b[1] = 0xFF; b[2] = 0xFF; }, DsmParseStatus::CountExceedsEntries, 2},
      {"entry length 0", [](Bytes& b) { b[3] = 0; b[4] = 0; }, DsmParseStatus::ZeroEntryLength, 0},
      {"second entry length 0", [](Bytes& b) { b[52] = 0; b[53] = 0; }, DsmParseStatus::ZeroEntryLength, 1},
      {"entry length 3", [](Bytes& b) { b[3] = 3; b[4] = 0; }, DsmParseStatus::EntryTooShort, 0},
      {"entry length past the buffer", [](Bytes& b) { b[3] = 0xFF; b[4] = 0x7F; }, DsmParseStatus::EntryPastBuffer, 0},
      {"record cut inside the second entry", [](Bytes& b) { b.erase(b.end() - 3, b.end()); }, DsmParseStatus::EntryPastBuffer, 1},
      {"serial without terminator", [](Bytes& b) { std::memset(&b[5], 'x', 47); b.resize(52); b[1] = 1; },
       DsmParseStatus::MissingTerminator, 0},
      {"address without terminator", [](Bytes& b) { b[51] = '9'; }, DsmParseStatus::MissingTerminator, 0},
      {"entry ends before the address length", [](Bytes& b) { b[3] = 36; b.resize(39); b[1] = 1; },
       DsmParseStatus::EntryTooShort, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes record = TwoEntries();
    ASSERT_EQ(record.size(), 52u + 2 + 33 + 2);
    c.damage(record);
    // An exact-size heap copy, so that AddressSanitizer sees any read past the end.
    const std::size_t size = record.size();
    const auto copy = std::make_unique<std::uint8_t[]>(size == 0 ? 1 : size);
    if (size) std::memcpy(copy.get(), record.data(), size);
    const auto parsed = discovery::ParseDsmRecord({copy.get(), size});
    EXPECT_EQ(parsed.status, c.status) << discovery::ToString(parsed.status);
    EXPECT_EQ(parsed.entries.size(), c.entries);
  }
}

}  // namespace
