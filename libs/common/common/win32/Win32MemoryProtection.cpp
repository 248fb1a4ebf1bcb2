// CryptProtectMemory with CRYPTPROTECTMEMORY_SAME_PROCESS: the system's key for this process.
#include <windows.h>
#include <dpapi.h>

#include "common/MemoryProtection.h"

namespace common {

static_assert(kMemoryProtectionBlock == CRYPTPROTECTMEMORY_BLOCK_SIZE);

bool ProtectMemory(std::uint8_t* data, std::size_t size) {
  if (size == 0 || size % kMemoryProtectionBlock != 0 || size > 0xffffffffu) return false;
  return CryptProtectMemory(data, static_cast<DWORD>(size), CRYPTPROTECTMEMORY_SAME_PROCESS) != FALSE;
}

bool UnprotectMemory(std::uint8_t* data, std::size_t size) {
  if (size == 0 || size % kMemoryProtectionBlock != 0 || size > 0xffffffffu) return false;
  return CryptUnprotectMemory(data, static_cast<DWORD>(size), CRYPTPROTECTMEMORY_SAME_PROCESS) != FALSE;
}

}  // namespace common
