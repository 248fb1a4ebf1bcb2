#include "arraysim/DsmRecord.h"

#include <limits>
#include <stdexcept>

namespace arraysim {
namespace {

constexpr std::uint8_t kDsmRecordVersion = 1;

void putU16(std::vector<std::uint8_t>& out, std::size_t value) {
    if (value > std::numeric_limits<std::uint16_t>::max()) {
        throw std::length_error("DSM record field exceeds 16 bits");
    }
    out.push_back(static_cast<std::uint8_t>(value & 0xff));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void putString(std::vector<std::uint8_t>& out, const std::string& text) {
    out.insert(out.end(), text.begin(), text.end());
    out.push_back(0);
}

}  // namespace

std::vector<std::uint8_t> encodeDsmRecord(const std::vector<DsmEntry>& entries) {
    std::vector<std::uint8_t> record;
    record.push_back(kDsmRecordVersion);
    putU16(record, entries.size());
    for (const auto& entry : entries) {
        std::vector<std::uint8_t> body;
        putString(body, entry.serialNumber);
        putU16(body, entry.managementAddress.size());
        if (!entry.managementAddress.empty()) putString(body, entry.managementAddress);
        putU16(record, body.size() + 2);
        record.insert(record.end(), body.begin(), body.end());
    }
    return record;
}

}  // namespace arraysim
