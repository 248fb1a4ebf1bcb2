#include "arraysim/Identifiers.h"

#include <cctype>
#include <cstdio>

namespace arraysim {

std::string toHex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 0x0f]);
    }
    return text;
}

namespace {

std::string hex64(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::string iqnPart(const std::string& name) {
    std::string part;
    for (const char c : name) {
        const auto u = static_cast<unsigned char>(c);
        if (std::isalnum(u) || c == '-' || c == '.') {
            part.push_back(static_cast<char>(std::tolower(u)));
        } else if (!part.empty() && part.back() != '-') {
            part.push_back('-');
        }
    }
    return part.empty() ? std::string("x") : part;
}

}  // namespace

IdentifierSource::IdentifierSource() : mRandom(std::random_device{}()), mPrefix(mRandom()) {}

std::uint64_t IdentifierSource::next() { return ++mCounter; }

std::string IdentifierSource::objectId(std::uint8_t kind) {
    char head[3];
    std::snprintf(head, sizeof head, "%02x", kind);
    // 2 + 16 + 8 + 16 = 42 digits: kind, simulator prefix, zero padding, counter.
    return head + hex64(mPrefix) + "00000000" + hex64(next());
}

std::string IdentifierSource::serialNumber() {
    // The high half varies per object too, so serials of consecutive volumes differ early.
    const std::uint64_t n = next();
    return hex64(mPrefix ^ (n * 0x9e3779b97f4a7c15ULL)) + hex64(n);
}

Eui64 IdentifierSource::eui64() {
    const std::uint64_t n = next();
    const std::uint64_t high = (mPrefix & 0x00ffffffffffffffULL) | 0x0200000000000000ULL;
    Eui64 eui{};
    for (int i = 0; i < 8; ++i) {
        eui[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(high >> (56 - 8 * i));
        eui[static_cast<std::size_t>(8 + i)] = static_cast<std::uint8_t>(n >> (56 - 8 * i));
    }
    return eui;
}

std::string IdentifierSource::token() { return hex64(mRandom()) + hex64(mRandom() ^ next()); }

std::string iscsiTargetName(const std::string& groupName, const std::string& objectName,
                            const std::string& suffix) {
    return "iqn.2007-11.com.vantor:" + iqnPart(groupName) + "-" + iqnPart(objectName) + "-" + suffix;
}

std::string t10Designator(const std::string& serialNumber, const std::string& vendor) {
    std::string designator = vendor.substr(0, 8);
    designator.resize(8, ' ');
    return designator + serialNumber;
}

}  // namespace arraysim
