#include "discovery/DsmRecordParser.h"

#include <algorithm>
#include <stdexcept>

namespace discovery {
namespace {

constexpr std::size_t kHeaderSize = 3;
// Length field, the serial's terminator and the address length field.
constexpr std::size_t kMinimumEntrySize = 2 + 1 + 2;

std::uint16_t ReadU16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

// Reads a zero-terminated string starting at `at` inside `entry`; false when the terminator is
// missing. `at` moves past the terminator.
bool ReadTerminated(std::span<const std::uint8_t> entry, std::size_t& at, std::string& text) {
  const auto begin = entry.begin() + static_cast<std::ptrdiff_t>(at);
  const auto end = std::find(begin, entry.end(), std::uint8_t{0});
  if (end == entry.end()) return false;
  text.assign(begin, end);
  at = static_cast<std::size_t>(end - entry.begin()) + 1;
  return true;
}

}  // namespace

const char* ToString(DsmParseStatus status) {
  switch (status) {
    case DsmParseStatus::Complete: return "complete";
    case DsmParseStatus::TruncatedHeader: return "record shorter than its header";
    case DsmParseStatus::UnsupportedVersion: return "unsupported version";
    case DsmParseStatus::CountExceedsEntries: return "entry count larger than the entries in the record";
    case DsmParseStatus::ZeroEntryLength: return "entry length of 0";
    case DsmParseStatus::EntryTooShort: return "entry length too small for its fields";
    case DsmParseStatus::EntryPastBuffer: return "entry runs past the end of the record";
    case DsmParseStatus::MissingTerminator: return "string without terminator inside its entry";
  }
  return "unknown";
}

DsmParseResult ParseDsmRecord(std::span<const std::uint8_t> record) {
  DsmParseResult result;
  if (record.size() < kHeaderSize) {
    result.status = DsmParseStatus::TruncatedHeader;
    return result;
  }
  result.version = record[0];
  if (result.version != kDsmRecordVersion) {
    result.status = DsmParseStatus::UnsupportedVersion;
    return result;
  }
  result.declaredCount = ReadU16(record, 1);

  std::size_t offset = kHeaderSize;
  for (std::size_t index = 0; index < result.declaredCount; ++index) {
    const auto fail = [&](DsmParseStatus status) {
      result.status = status;
      result.failedEntry = index;
      result.failedOffset = offset;
      return result;
    };
    if (record.size() - offset < 2) return fail(DsmParseStatus::CountExceedsEntries);
    const std::uint16_t length = ReadU16(record, offset);
    if (length == 0) return fail(DsmParseStatus::ZeroEntryLength);
    if (length < kMinimumEntrySize) return fail(DsmParseStatus::EntryTooShort);
    if (length > record.size() - offset) return fail(DsmParseStatus::EntryPastBuffer);

    const auto entryBytes = record.subspan(offset, length);
    DsmEntry entry;
    std::size_t at = 2;
    if (!ReadTerminated(entryBytes, at, entry.serialNumber)) return fail(DsmParseStatus::MissingTerminator);
    if (entryBytes.size() - at < 2) return fail(DsmParseStatus::EntryTooShort);
    entry.ipLength = ReadU16(entryBytes, at);
    at += 2;
    if (entry.ipLength != 0 && !ReadTerminated(entryBytes, at, entry.ipAddress)) {
      return fail(DsmParseStatus::MissingTerminator);
    }
    result.entries.push_back(std::move(entry));
    offset += length;
  }
  return result;
}

}  // namespace discovery
