// The multipath driver's reply record: any bytes must parse without reading outside the
// buffer, and whatever the walk accepts must stand for the same entries when rebuilt.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "DsmRecordBuilder.h"
#include "discovery/DsmRecordParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exact-size copy: the sanitizer then sees every byte read past the end.
  const auto copy = std::make_unique<std::uint8_t[]>(size + 1);
  if (size) std::memcpy(copy.get(), data, size);
  const auto parsed = discovery::ParseDsmRecord({copy.get(), size});
  if (parsed.status != discovery::DsmParseStatus::Complete) return 0;

  // A complete walk read exactly the announced entries; rebuilding them must parse back to
  // the same entries (the record may carry padding the rebuild leaves out).
  if (parsed.entries.size() != parsed.declaredCount) std::abort();
  const auto rebuilt = discovery::ParseDsmRecord(testsupport::BuildDsmRecord(parsed.entries));
  if (rebuilt.status != discovery::DsmParseStatus::Complete || rebuilt.entries.size() != parsed.entries.size()) {
    std::abort();
  }
  for (std::size_t i = 0; i < parsed.entries.size(); ++i) {
    const auto& a = parsed.entries[i];
    const auto& b = rebuilt.entries[i];
    if (a.serialNumber != b.serialNumber || a.ipAddress != b.ipAddress || (a.ipLength == 0) != (b.ipLength == 0)) {
      std::abort();
    }
  }
  return 0;
}
