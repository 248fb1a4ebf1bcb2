#include "common/SecureBuffer.h"

namespace common {

void SecureWipe(void* data, std::size_t size) {
  // Writes through a volatile pointer are observable behaviour, so they survive optimisation
  // even though the memory is freed right after.
  volatile auto* bytes = static_cast<volatile std::uint8_t*>(data);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = 0;
}

}  // namespace common
