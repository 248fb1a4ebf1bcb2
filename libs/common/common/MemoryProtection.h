#pragma once
// The platform's seal for secrets kept in this process's memory: CryptProtectMemory with
// CRYPTPROTECTMEMORY_SAME_PROCESS in the Windows build; natively its emulated counterpart, AES
// with a key made at random for this process and never written anywhere. Both work in place on
// whole blocks of kMemoryProtectionBlock bytes and answer false when the platform refuses.
#include <cstddef>
#include <cstdint>

namespace common {

inline constexpr std::size_t kMemoryProtectionBlock = 16;

bool ProtectMemory(std::uint8_t* data, std::size_t size);
bool UnprotectMemory(std::uint8_t* data, std::size_t size);

}  // namespace common
