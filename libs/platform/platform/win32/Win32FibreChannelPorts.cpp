#include "platform/win32/Win32FibreChannelPorts.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace platform {
namespace {

// The HBA API's records (hbaapi.h), with the members before the ones read here laid out as the
// SDK does; each is read into a buffer with room to spare.
using HBA_HANDLE = std::uint32_t;
using HBA_STATUS = std::uint32_t;
struct HbaAdapterAttributes {
  char manufacturer[64];
  char serialNumber[64];
  char model[256];
  char modelDescription[256];
  std::uint8_t nodeWwn[8];
  char nodeSymbolicName[256];
  char hardwareVersion[256];
  char driverVersion[256];
  char optionRomVersion[256];
  char firmwareVersion[256];
  std::uint32_t vendorSpecificId;
  std::uint32_t numberOfPorts;
  char driverName[256];
};
struct HbaPortAttributes {
  std::uint8_t nodeWwn[8];
  std::uint8_t portWwn[8];
};
// Bounds on what a broken driver may report.
constexpr std::uint32_t kMaxAdapters = 16;
constexpr std::uint32_t kMaxPortsPerAdapter = 16;

template <class F>
F Entry(HMODULE module, const char* name) {
  return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

class Library {
 public:
  Library() : module_(LoadLibraryExW(L"hbaapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {}
  ~Library() {
    if (module_) FreeLibrary(module_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  HMODULE get() const { return module_; }

 private:
  HMODULE module_;
};

}  // namespace

std::vector<std::string> Win32FibreChannelPorts::PortNames() {
  using Count = std::uint32_t(WINAPI*)();
  using Name = HBA_STATUS(WINAPI*)(std::uint32_t, char*);
  using Open = HBA_HANDLE(WINAPI*)(char*);
  using Close = void(WINAPI*)(HBA_HANDLE);
  using Adapter = HBA_STATUS(WINAPI*)(HBA_HANDLE, void*);
  using Port = HBA_STATUS(WINAPI*)(HBA_HANDLE, std::uint32_t, void*);
  std::vector<std::string> names;
  const Library library;
  if (!library.get()) return names;
  const auto count = Entry<Count>(library.get(), "HBA_GetNumberOfAdapters");
  const auto name = Entry<Name>(library.get(), "HBA_GetAdapterName");
  const auto open = Entry<Open>(library.get(), "HBA_OpenAdapter");
  const auto close = Entry<Close>(library.get(), "HBA_CloseAdapter");
  const auto adapter = Entry<Adapter>(library.get(), "HBA_GetAdapterAttributes");
  const auto port = Entry<Port>(library.get(), "HBA_GetAdapterPortAttributes");
  if (!count || !name || !open || !close || !adapter || !port) return names;
  const std::uint32_t adapters = std::min(count(), kMaxAdapters);
  for (std::uint32_t a = 0; a < adapters; ++a) {
    std::array<char, 1024> adapterName{};
    if (name(a, adapterName.data()) != 0) continue;
    adapterName.back() = '\0';
    const HBA_HANDLE handle = open(adapterName.data());
    if (handle == 0) continue;
    std::array<std::uint8_t, 2 * sizeof(HbaAdapterAttributes)> adapterBuffer{};
    if (adapter(handle, adapterBuffer.data()) == 0) {
      HbaAdapterAttributes attributes{};
      std::memcpy(&attributes, adapterBuffer.data(), sizeof attributes);
      for (std::uint32_t p = 0; p < std::min(attributes.numberOfPorts, kMaxPortsPerAdapter); ++p) {
        std::array<std::uint8_t, 4096> portBuffer{};  // the whole record is under 400 bytes
        if (port(handle, p, portBuffer.data()) != 0) continue;
        HbaPortAttributes ids{};
        std::memcpy(&ids, portBuffer.data(), sizeof ids);
        char text[17];
        for (int i = 0; i < 8; ++i) std::snprintf(text + 2 * i, 3, "%02x", ids.portWwn[i]);
        names.emplace_back(text);
      }
    }
    close(handle);
  }
  return names;
}

}  // namespace platform
