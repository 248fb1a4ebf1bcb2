#include "credstore/emulated/EncryptedFileCredentialVault.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <map>
#include <vector>

namespace credstore {

struct EncryptedFileCredentialVault::Entries {
  std::map<std::string, ArrayCredential> byAddress;
};

namespace {

constexpr const char* kPurpose = "vantor credential vault";
// A vault file beyond this is not ours; refusing it keeps a stray file from filling memory.
constexpr std::uintmax_t kMaxVaultBytes = 16u * 1024u * 1024u;

}  // namespace

EncryptedFileCredentialVault::EncryptedFileCredentialVault(std::filesystem::path hostFolder)
    : mCipher(hostFolder), mPath(hostFolder / kVaultFileName) {}

DWORD EncryptedFileCredentialVault::Load(Entries& entries) const {
  entries.byAddress.clear();
  std::error_code ec;
  const auto size = std::filesystem::file_size(mPath, ec);
  if (ec) return std::filesystem::exists(mPath) ? static_cast<DWORD>(ERROR_ACCESS_DENIED) : kCredentialNotFound;
  if (size > kMaxVaultBytes) return ERROR_INVALID_DATA;
  std::ifstream in(mPath, std::ios::binary);
  const std::vector<std::uint8_t> blob((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in && !in.eof()) return ERROR_ACCESS_DENIED;

  common::SecureBytes clear;
  if (const DWORD status = mCipher.Open(blob, kPurpose, clear); status != ERROR_SUCCESS) return status;
  const nlohmann::json document =
      nlohmann::json::parse(clear.data(), clear.data() + clear.size(), nullptr, /*allow_exceptions=*/false);
  if (!document.is_object()) return ERROR_INVALID_DATA;
  const auto credentials = document.find("credentials");
  if (credentials == document.end() || !credentials->is_object()) return ERROR_INVALID_DATA;
  for (const auto& [address, item] : credentials->items()) {
    const auto user = item.find("user");
    const auto password = item.find("password");
    if (!item.is_object() || user == item.end() || !user->is_string() || password == item.end() ||
        !password->is_string()) {
      return ERROR_INVALID_DATA;
    }
    const auto& text = password->get_ref<const std::string&>();
    ArrayCredential credential;
    credential.userName = user->get<std::string>();
    credential.password.assign(text.data(), text.size());
    entries.byAddress.emplace(address, std::move(credential));
  }
  return ERROR_SUCCESS;
}

DWORD EncryptedFileCredentialVault::Save(const Entries& entries) const {
  nlohmann::json credentials = nlohmann::json::object();
  for (const auto& [address, credential] : entries.byAddress) {
    credentials[address] = {{"user", credential.userName}, {"password", credential.password.str()}};
  }
  std::string text = nlohmann::json{{"version", 1}, {"credentials", std::move(credentials)}}.dump();
  std::vector<std::uint8_t> blob;
  const DWORD status =
      mCipher.Seal(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()),
                   kPurpose, blob);
  common::SecureWipe(text.data(), text.size());
  if (status != ERROR_SUCCESS) return status;

  // Write beside, then rename over: a reader never sees half a vault.
  const std::filesystem::path temporary = mPath.string() + ".new";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(blob.data()), static_cast<std::streamsize>(blob.size()));
    if (!out.flush()) return ERROR_ACCESS_DENIED;
  }
  std::error_code ec;
  std::filesystem::permissions(temporary, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::replace, ec);
  std::filesystem::rename(temporary, mPath, ec);
  if (ec) {
    std::filesystem::remove(temporary, ec);
    return ERROR_ACCESS_DENIED;
  }
  return ERROR_SUCCESS;
}

DWORD EncryptedFileCredentialVault::Read(const std::string& address, ArrayCredential& credential) {
  credential = {};
  const std::lock_guard lock(mMutex);
  Entries entries;
  if (const DWORD status = Load(entries); status != ERROR_SUCCESS) return status;
  const auto it = entries.byAddress.find(address);
  if (it == entries.byAddress.end()) return kCredentialNotFound;
  credential = std::move(it->second);
  return ERROR_SUCCESS;
}

DWORD EncryptedFileCredentialVault::Write(const std::string& address, const ArrayCredential& credential) {
  const std::lock_guard lock(mMutex);
  Entries entries;
  const DWORD status = Load(entries);
  if (status != ERROR_SUCCESS && status != kCredentialNotFound) return status;
  entries.byAddress[address] = credential;
  return Save(entries);
}

DWORD EncryptedFileCredentialVault::Remove(const std::string& address) {
  const std::lock_guard lock(mMutex);
  Entries entries;
  if (const DWORD status = Load(entries); status != ERROR_SUCCESS) return status;
  if (entries.byAddress.erase(address) == 0) return kCredentialNotFound;
  return Save(entries);
}

}  // namespace credstore
