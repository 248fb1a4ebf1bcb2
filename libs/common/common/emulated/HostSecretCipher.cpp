#include "common/emulated/HostSecretCipher.h"

#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/rand.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>

#include "platform/emulated/OwnerOnlyFile.h"

namespace common {
namespace {

constexpr std::size_t kMagicSize = 4;
constexpr char kMagicLegacy[kMagicSize] = {'V', 'H', 'S', '1'};
constexpr char kMagic[kMagicSize] = {'V', 'H', 'S', '2'};
constexpr std::size_t kSecretSize = 32;
constexpr std::size_t kSaltSize = HostSecretCipher::kSaltSize;
constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kKeySize = 32;
constexpr std::size_t kOverhead = kMagicSize + kSaltSize + kNonceSize + kTagSize;
// Enough for every legacy blob an emulated host holds; beyond it the oldest salts are dropped.
constexpr std::size_t kMaxLegacyKeys = 256;
constexpr std::string_view kKeyLabel = "vantor host cipher 2/";
constexpr LSTATUS kFileExists = 80;  // ERROR_FILE_EXISTS

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct CipherContextFree {
  void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree>;

struct KeyContextFree {
  void operator()(EVP_PKEY_CTX* c) const { EVP_PKEY_CTX_free(c); }
};
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, KeyContextFree>;

bool DeriveKey(const SecureBytes& secret, const std::uint8_t* salt, std::string_view purpose, SecureBytes& key) {
  key = SecureBytes(kKeySize);
  std::string info(kKeyLabel);
  info.append(purpose);
  std::size_t length = kKeySize;
  const KeyContext ctx(EVP_PKEY_CTX_new_id(EVP_PKEY_HKDF, nullptr));
  return ctx && EVP_PKEY_derive_init(ctx.get()) > 0 && EVP_PKEY_CTX_set_hkdf_md(ctx.get(), EVP_sha256()) > 0 &&
         EVP_PKEY_CTX_set1_hkdf_salt(ctx.get(), salt, static_cast<int>(kSaltSize)) > 0 &&
         EVP_PKEY_CTX_set1_hkdf_key(ctx.get(), secret.data(), static_cast<int>(secret.size())) > 0 &&
         EVP_PKEY_CTX_add1_hkdf_info(ctx.get(), reinterpret_cast<const unsigned char*>(info.data()),
                                     static_cast<int>(info.size())) > 0 &&
         EVP_PKEY_derive(ctx.get(), key.data(), &length) > 0 && length == kKeySize;
}

// AES-256-GCM over `size` bytes of `in` into `out`; `aad` is authenticated, not enciphered.
// Sealing writes the tag, opening checks it.
bool Gcm(bool seal, const SecureBytes& key, const std::uint8_t* nonce, std::span<const std::string_view> aad,
         const std::uint8_t* in, std::size_t size, std::uint8_t* out, std::uint8_t* tag) {
  const CipherContext ctx(EVP_CIPHER_CTX_new());
  if (!ctx || EVP_CipherInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr, seal ? 1 : 0) != 1 ||
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(kNonceSize), nullptr) != 1 ||
      EVP_CipherInit_ex(ctx.get(), nullptr, nullptr, key.data(), nonce, seal ? 1 : 0) != 1) {
    return false;
  }
  std::uint8_t scratch[1];
  if (!out) out = scratch;  // an empty text: nothing is written, but OpenSSL wants somewhere to write it
  int length = 0;
  for (const std::string_view piece : aad) {
    if (EVP_CipherUpdate(ctx.get(), nullptr, &length, reinterpret_cast<const unsigned char*>(piece.data()),
                         static_cast<int>(piece.size())) != 1) {
      return false;
    }
  }
  if (size > 0 && EVP_CipherUpdate(ctx.get(), out, &length, in, static_cast<int>(size)) != 1) return false;
  if (!seal && EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize), tag) != 1) return false;
  if (EVP_CipherFinal_ex(ctx.get(), out + (size > 0 ? length : 0), &length) != 1) return false;
  return !seal || EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize), tag) == 1;
}

}  // namespace

HostSecretCipher::HostSecretCipher(std::filesystem::path hostFolder) : mHostFolder(std::move(hostFolder)) {}

DWORD HostSecretCipher::Secret(bool create) const {
  if (!mSecret.empty()) return ERROR_SUCCESS;
  const std::filesystem::path path = mHostFolder / kSecretFileName;
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (File in{std::fopen(path.string().c_str(), "rb")}) {
      SecureBytes secret(kSecretSize + 1);
      const std::size_t read = std::fread(secret.data(), 1, secret.size(), in.get());
      if (read == 0 && attempt + 1 < 50) {
        // Another process has just created the file and is writing it.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        continue;
      }
      if (read != kSecretSize) return ERROR_INVALID_DATA;
      secret.resize(kSecretSize);
      mSecret = std::move(secret);
      return ERROR_SUCCESS;
    }
    if (!create) return ERROR_FILE_NOT_FOUND;
    std::error_code ec;
    std::filesystem::create_directories(mHostFolder, ec);
    SecureBytes fresh(kSecretSize);
    if (RAND_bytes(fresh.data(), static_cast<int>(fresh.size())) != 1) return ERROR_GEN_FAILURE;
    const LSTATUS made = platform::CreateOwnerOnlyFile(path, std::span<const std::uint8_t>(fresh.data(), fresh.size()));
    if (made == ERROR_SUCCESS) {
      mSecret = std::move(fresh);
      return ERROR_SUCCESS;
    }
    if (made != kFileExists) return ERROR_ACCESS_DENIED;  // else another process made it first: read that one
  }
  return ERROR_ACCESS_DENIED;
}

DWORD HostSecretCipher::LegacyKey(const std::uint8_t* salt, SecureBytes& key) const {
  Salt id;
  std::memcpy(id.data(), salt, kSaltSize);
  if (const auto known = mLegacyKeys.find(id); known != mLegacyKeys.end()) {
    key = SecureBytes(known->second.data(), known->second.size());
    return ERROR_SUCCESS;
  }
  key = SecureBytes(kKeySize);
  if (PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(mSecret.data()), static_cast<int>(mSecret.size()), salt,
                        static_cast<int>(kSaltSize), static_cast<int>(kLegacyPbkdf2Iterations), EVP_sha256(),
                        static_cast<int>(kKeySize), key.data()) != 1) {
    return ERROR_GEN_FAILURE;
  }
  if (mLegacyKeys.size() >= kMaxLegacyKeys) mLegacyKeys.erase(mLegacyKeys.begin());
  mLegacyKeys.emplace(id, SecureBytes(key.data(), key.size()));
  return ERROR_SUCCESS;
}

DWORD HostSecretCipher::Seal(std::span<const std::uint8_t> clear, std::string_view purpose,
                             std::vector<std::uint8_t>& blob) const {
  blob.clear();
  if (clear.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) - kOverhead) return ERROR_INVALID_PARAMETER;
  SecureBytes key;
  std::vector<std::uint8_t> out(kOverhead + clear.size());
  std::memcpy(out.data(), kMagic, kMagicSize);
  std::uint8_t* salt = out.data() + kMagicSize;
  std::uint8_t* nonce = salt + kSaltSize;
  std::uint8_t* body = nonce + kNonceSize;
  std::uint8_t* tag = body + clear.size();
  if (RAND_bytes(salt, static_cast<int>(kSaltSize + kNonceSize)) != 1) return ERROR_GEN_FAILURE;
  {
    const std::lock_guard lock(mMutex);
    if (const DWORD status = Secret(true); status != ERROR_SUCCESS) return status;
    if (!DeriveKey(mSecret, salt, purpose, key)) return ERROR_GEN_FAILURE;
  }
  const std::string_view aad[] = {std::string_view(kMagic, kMagicSize), purpose};
  if (!Gcm(true, key, nonce, aad, clear.data(), clear.size(), body, tag)) return ERROR_GEN_FAILURE;
  blob = std::move(out);
  return ERROR_SUCCESS;
}

DWORD HostSecretCipher::Open(std::span<const std::uint8_t> blob, std::string_view purpose, SecureBytes& clear) const {
  clear.clear();
  if (blob.size() < kOverhead || blob.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    return ERROR_INVALID_DATA;
  const bool legacy = std::memcmp(blob.data(), kMagicLegacy, kMagicSize) == 0;
  if (!legacy && std::memcmp(blob.data(), kMagic, kMagicSize) != 0) return ERROR_INVALID_DATA;
  const std::uint8_t* salt = blob.data() + kMagicSize;
  const std::uint8_t* nonce = salt + kSaltSize;
  const std::uint8_t* body = nonce + kNonceSize;
  const std::size_t bodySize = blob.size() - kOverhead;
  std::uint8_t tag[kTagSize];
  std::memcpy(tag, body + bodySize, kTagSize);

  SecureBytes key;
  {
    const std::lock_guard lock(mMutex);
    if (const DWORD status = Secret(false); status != ERROR_SUCCESS) return status;
    if (legacy) {
      if (const DWORD status = LegacyKey(salt, key); status != ERROR_SUCCESS) return status;
    } else if (!DeriveKey(mSecret, salt, purpose, key)) {
      return ERROR_GEN_FAILURE;
    }
  }
  SecureBytes out(bodySize);
  const std::string_view modern[] = {std::string_view(kMagic, kMagicSize), purpose};
  const std::string_view old[] = {purpose};
  const std::span<const std::string_view> aad = legacy ? std::span<const std::string_view>(old) : modern;
  if (!Gcm(false, key, nonce, aad, body, bodySize, out.data(), tag)) return ERROR_INVALID_DATA;
  clear = std::move(out);
  return ERROR_SUCCESS;
}

}  // namespace common
