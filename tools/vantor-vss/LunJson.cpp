#include "LunJson.h"

#include <cstring>
#include <limits>
#include <stdexcept>

#include "wincompat/Com.h"
#include "wincompat/Guid.h"

namespace vantorvss {
namespace {

constexpr std::size_t kMaxIdentifiers = 64;
constexpr std::size_t kMaxIdentifierBytes = 4096;

const nlohmann::json& Member(const nlohmann::json& json, const char* name) {
  if (!json.is_object() || !json.contains(name)) throw std::invalid_argument(std::string("'") + name + "' is missing");
  return json.at(name);
}

template <class T>
T Number(const nlohmann::json& json, const char* name) {
  const auto& value = Member(json, name);
  if (!value.is_number_integer()) throw std::invalid_argument(std::string("'") + name + "' must be an integer");
  const auto n = value.get<long long>();
  if (n < static_cast<long long>(std::numeric_limits<T>::min()) || n > static_cast<long long>(std::numeric_limits<T>::max()))
    throw std::invalid_argument(std::string("'") + name + "' is out of range");
  return static_cast<T>(n);
}

// A LUN string: JSON null stands for a null pointer (a device without that string).
std::string Text(const nlohmann::json& json, const char* name, bool& present) {
  const auto& value = Member(json, name);
  present = !value.is_null();
  if (present && !value.is_string()) throw std::invalid_argument(std::string("'") + name + "' must be a string or null");
  return present ? value.get<std::string>() : std::string();
}

std::vector<std::uint8_t> Bytes(const nlohmann::json& json, const char* name) {
  const auto& value = Member(json, name);
  if (!value.is_string()) throw std::invalid_argument(std::string("'") + name + "' must be hex text");
  auto bytes = FromHex(value.get<std::string>());
  if (bytes.size() > kMaxIdentifierBytes) throw std::invalid_argument(std::string("'") + name + "' is too long");
  return bytes;
}

nlohmann::json TextJson(const char* text) { return text ? nlohmann::json(text) : nlohmann::json(nullptr); }

// Task memory holding `bytes`; null for none. Throws std::bad_alloc when memory runs out.
BYTE* TaskBytes(const std::vector<std::uint8_t>& bytes) {
  if (bytes.empty()) return nullptr;
  auto* block = static_cast<BYTE*>(CoTaskMemAlloc(bytes.size()));
  if (block == nullptr) throw std::bad_alloc();
  std::memcpy(block, bytes.data(), bytes.size());
  return block;
}

char* TaskText(const nlohmann::json& json, const char* name) {
  bool present = false;
  const std::string text = Text(json, name, present);
  if (!present) return nullptr;
  char* copy = provider::CoTaskStrDup(text.c_str());
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

}  // namespace

std::string ToHex(const std::uint8_t* bytes, std::size_t size) {
  static const char* digits = "0123456789abcdef";
  std::string hex;
  for (std::size_t i = 0; bytes != nullptr && i < size; ++i) {
    hex += digits[bytes[i] >> 4];
    hex += digits[bytes[i] & 0xF];
  }
  return hex;
}

std::vector<std::uint8_t> FromHex(const std::string& hex) {
  const auto digit = [&](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    throw std::invalid_argument("'" + hex + "' is not hex text");
  };
  if (hex.size() % 2 != 0) throw std::invalid_argument("'" + hex + "' has an odd number of hex digits");
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(digit(hex[i]) * 16 + digit(hex[i + 1])));
  return bytes;
}

nlohmann::json LunToJson(const VDS_LUN_INFORMATION& lun) {
  nlohmann::json identifiers = nlohmann::json::array();
  const auto& descriptor = lun.m_deviceIdDescriptor;
  for (ULONG i = 0; descriptor.m_rgIdentifiers != nullptr && i < descriptor.m_cIdentifiers; ++i) {
    const auto& id = descriptor.m_rgIdentifiers[i];
    identifiers.push_back({{"code_set", static_cast<int>(id.m_CodeSet)},
                           {"type", static_cast<int>(id.m_Type)},
                           {"bytes", ToHex(id.m_rgbIdentifier, id.m_cbIdentifier)}});
  }
  nlohmann::json interconnects = nlohmann::json::array();
  for (ULONG i = 0; lun.m_rgInterconnects != nullptr && i < lun.m_cInterconnects; ++i) {
    const auto& link = lun.m_rgInterconnects[i];
    interconnects.push_back({{"address_type", static_cast<int>(link.m_addressType)},
                             {"port", ToHex(link.m_pbPort, link.m_cbPort)},
                             {"address", ToHex(link.m_pbAddress, link.m_cbAddress)}});
  }
  return {{"version", lun.m_version},
          {"device_type", lun.m_DeviceType},
          {"device_type_modifier", lun.m_DeviceTypeModifier},
          {"command_queueing", lun.m_bCommandQueueing != FALSE},
          {"bus_type", static_cast<int>(lun.m_BusType)},
          {"vendor_id", TextJson(lun.m_szVendorId)},
          {"product_id", TextJson(lun.m_szProductId)},
          {"product_revision", TextJson(lun.m_szProductRevision)},
          {"serial_number", TextJson(lun.m_szSerialNumber)},
          {"disk_signature", wincompat::GuidToString(lun.m_diskSignature)},
          {"device_id_descriptor", {{"version", descriptor.m_version}, {"identifiers", identifiers}}},
          {"interconnects", interconnects}};
}

provider::OwnedLunInformation LunFromJson(const nlohmann::json& json) {
  if (!json.is_object()) throw std::invalid_argument("a LUN must be a JSON object");
  provider::OwnedLunInformation owned;
  VDS_LUN_INFORMATION& lun = owned.get();
  lun.m_version = Number<ULONG>(json, "version");
  lun.m_DeviceType = Number<BYTE>(json, "device_type");
  lun.m_DeviceTypeModifier = Number<BYTE>(json, "device_type_modifier");
  const auto& queueing = Member(json, "command_queueing");
  if (!queueing.is_boolean()) throw std::invalid_argument("'command_queueing' must be true or false");
  lun.m_bCommandQueueing = queueing.get<bool>() ? TRUE : FALSE;
  lun.m_BusType = static_cast<VDS_STORAGE_BUS_TYPE>(Number<int>(json, "bus_type"));
  const auto& signature = Member(json, "disk_signature");
  if (!signature.is_string() || !wincompat::GuidFromString(signature.get<std::string>(), lun.m_diskSignature))
    throw std::invalid_argument("'disk_signature' must be a GUID");
  // From here on the LUN owns task memory, which `owned` frees if anything below throws.
  lun.m_szVendorId = TaskText(json, "vendor_id");
  lun.m_szProductId = TaskText(json, "product_id");
  lun.m_szProductRevision = TaskText(json, "product_revision");
  lun.m_szSerialNumber = TaskText(json, "serial_number");

  const auto& descriptor = Member(json, "device_id_descriptor");
  lun.m_deviceIdDescriptor.m_version = Number<ULONG>(descriptor, "version");
  const auto& identifiers = Member(descriptor, "identifiers");
  if (!identifiers.is_array() || identifiers.size() > kMaxIdentifiers)
    throw std::invalid_argument("'identifiers' must be a list of at most 64 identifiers");
  if (!identifiers.empty()) {
    auto* ids = static_cast<VDS_STORAGE_IDENTIFIER*>(CoTaskMemAlloc(sizeof(VDS_STORAGE_IDENTIFIER) * identifiers.size()));
    if (ids == nullptr) throw std::bad_alloc();
    std::memset(static_cast<void*>(ids), 0, sizeof(VDS_STORAGE_IDENTIFIER) * identifiers.size());
    lun.m_deviceIdDescriptor.m_rgIdentifiers = ids;
    // Each slot is counted before it owns anything, so that a throw below frees what it got.
    for (const auto& id : identifiers) {
      VDS_STORAGE_IDENTIFIER& slot = ids[lun.m_deviceIdDescriptor.m_cIdentifiers++];
      const auto bytes = Bytes(id, "bytes");
      slot.m_CodeSet = static_cast<VDS_STORAGE_IDENTIFIER_CODE_SET>(Number<int>(id, "code_set"));
      slot.m_Type = static_cast<VDS_STORAGE_IDENTIFIER_TYPE>(Number<int>(id, "type"));
      slot.m_rgbIdentifier = TaskBytes(bytes);
      slot.m_cbIdentifier = static_cast<ULONG>(bytes.size());
    }
  }

  const auto& interconnects = Member(json, "interconnects");
  if (!interconnects.is_array() || interconnects.size() > kMaxIdentifiers)
    throw std::invalid_argument("'interconnects' must be a list of at most 64 interconnects");
  if (!interconnects.empty()) {
    auto* links = static_cast<VDS_INTERCONNECT*>(CoTaskMemAlloc(sizeof(VDS_INTERCONNECT) * interconnects.size()));
    if (links == nullptr) throw std::bad_alloc();
    std::memset(static_cast<void*>(links), 0, sizeof(VDS_INTERCONNECT) * interconnects.size());
    lun.m_rgInterconnects = links;
    for (const auto& link : interconnects) {
      VDS_INTERCONNECT& slot = links[lun.m_cInterconnects++];
      const auto port = Bytes(link, "port");
      const auto address = Bytes(link, "address");
      slot.m_addressType = static_cast<VDS_INTERCONNECT_ADDRESS_TYPE>(Number<int>(link, "address_type"));
      slot.m_pbPort = TaskBytes(port);
      slot.m_cbPort = static_cast<ULONG>(port.size());
      slot.m_pbAddress = TaskBytes(address);
      slot.m_cbAddress = static_cast<ULONG>(address.size());
    }
  }
  return owned;
}

}  // namespace vantorvss
