// Version strings come from the array and from the registry: any text must parse or be
// refused without harm, and a parsed version printed back in canonical form must parse to
// the same four numbers and reach the same capabilities.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "array/ArrayVersion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Vantor::ArrayVersion version;
  if (!Vantor::ParseArrayVersion(text, version)) return 0;

  // The numbers wrap on overflow; printing them as unsigned keeps the wrapped value.
  const auto print = [](std::int32_t n) { return std::to_string(static_cast<std::uint32_t>(n)); };
  const std::string canonical = print(version.major) + "." + print(version.minor) + "." +
                                print(version.maintenance) + "." + print(version.build) + "-0-opt";
  Vantor::ArrayVersion again;
  if (!Vantor::ParseArrayVersion(canonical, again) || again != version) std::abort();
  if (Vantor::CapabilitiesForVersion(again) != Vantor::CapabilitiesForVersion(version)) std::abort();
  for (const std::int32_t capability : Vantor::CapabilitiesForVersion(version)) {
    if (capability < 0 || capability > 2) std::abort();
  }
  return 0;
}
