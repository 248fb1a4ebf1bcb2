#include "common/emulated/HostSecretCipher.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

namespace common {
namespace {

constexpr char kMagic[4] = {'V', 'H', 'S', '1'};
constexpr std::size_t kSecretSize = 32;
constexpr std::size_t kSaltSize = 16;
constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kKeySize = 32;
constexpr std::size_t kOverhead = sizeof(kMagic) + kSaltSize + kNonceSize + kTagSize;

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct CipherContextFree {
  void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree>;

bool DeriveKey(const SecureBytes& secret, const std::uint8_t* salt, SecureBytes& key) {
  key = SecureBytes(kKeySize);
  return PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(secret.data()), static_cast<int>(secret.size()), salt,
                           static_cast<int>(kSaltSize), static_cast<int>(HostSecretCipher::kPbkdf2Iterations),
                           EVP_sha256(), static_cast<int>(kKeySize), key.data()) == 1;
}

}  // namespace

HostSecretCipher::HostSecretCipher(std::filesystem::path hostFolder) : mHostFolder(std::move(hostFolder)) {}

DWORD HostSecretCipher::LoadSecret(bool create, SecureBytes& secret) const {
  const std::filesystem::path path = mHostFolder / kSecretFileName;
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (File in{std::fopen(path.string().c_str(), "rb")}) {
      secret = SecureBytes(kSecretSize + 1);
      const std::size_t read = std::fread(secret.data(), 1, secret.size(), in.get());
      if (read != kSecretSize) {
        secret.clear();
        return ERROR_INVALID_DATA;
      }
      secret.resize(kSecretSize);
      return ERROR_SUCCESS;
    }
    if (!create) return ERROR_FILE_NOT_FOUND;
    std::error_code ec;
    std::filesystem::create_directories(mHostFolder, ec);
    SecureBytes fresh(kSecretSize);
    if (RAND_bytes(fresh.data(), static_cast<int>(fresh.size())) != 1) return ERROR_GEN_FAILURE;
    // "x": only one of two processes that start at once creates the secret; the other reads it.
    File out{std::fopen(path.string().c_str(), "wbx")};
    if (!out) continue;
    std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::replace, ec);
    const bool written = std::fwrite(fresh.data(), 1, fresh.size(), out.get()) == fresh.size();
    if (std::fclose(out.release()) != 0 || !written) {
      std::filesystem::remove(path, ec);
      return ERROR_GEN_FAILURE;
    }
    secret = std::move(fresh);
    return ERROR_SUCCESS;
  }
  return ERROR_ACCESS_DENIED;
}

DWORD HostSecretCipher::Seal(std::span<const std::uint8_t> clear, std::string_view purpose,
                             std::vector<std::uint8_t>& blob) const {
  blob.clear();
  if (clear.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) - kOverhead) return ERROR_INVALID_PARAMETER;
  SecureBytes secret;
  if (const DWORD status = LoadSecret(true, secret); status != ERROR_SUCCESS) return status;

  std::vector<std::uint8_t> out(kOverhead + clear.size());
  std::memcpy(out.data(), kMagic, sizeof(kMagic));
  std::uint8_t* salt = out.data() + sizeof(kMagic);
  std::uint8_t* nonce = salt + kSaltSize;
  std::uint8_t* body = nonce + kNonceSize;
  std::uint8_t* tag = body + clear.size();
  if (RAND_bytes(salt, static_cast<int>(kSaltSize + kNonceSize)) != 1) return ERROR_GEN_FAILURE;
  SecureBytes key;
  if (!DeriveKey(secret, salt, key)) return ERROR_GEN_FAILURE;

  CipherContext ctx(EVP_CIPHER_CTX_new());
  int length = 0;
  const bool ok =
      ctx && EVP_EncryptInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(kNonceSize), nullptr) == 1 &&
      EVP_EncryptInit_ex(ctx.get(), nullptr, nullptr, key.data(), nonce) == 1 &&
      EVP_EncryptUpdate(ctx.get(), nullptr, &length, reinterpret_cast<const unsigned char*>(purpose.data()),
                        static_cast<int>(purpose.size())) == 1 &&
      EVP_EncryptUpdate(ctx.get(), body, &length, clear.data(), static_cast<int>(clear.size())) == 1 &&
      EVP_EncryptFinal_ex(ctx.get(), body + length, &length) == 1 &&
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize), tag) == 1;
  if (!ok) return ERROR_GEN_FAILURE;
  blob = std::move(out);
  return ERROR_SUCCESS;
}

DWORD HostSecretCipher::Open(std::span<const std::uint8_t> blob, std::string_view purpose, SecureBytes& clear) const {
  clear.clear();
  if (blob.size() < kOverhead || std::memcmp(blob.data(), kMagic, sizeof(kMagic)) != 0 ||
      blob.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    return ERROR_INVALID_DATA;
  }
  SecureBytes secret;
  if (const DWORD status = LoadSecret(false, secret); status != ERROR_SUCCESS) return status;
  const std::uint8_t* salt = blob.data() + sizeof(kMagic);
  const std::uint8_t* nonce = salt + kSaltSize;
  const std::uint8_t* body = nonce + kNonceSize;
  const std::size_t bodySize = blob.size() - kOverhead;
  const std::uint8_t* tag = body + bodySize;
  SecureBytes key;
  if (!DeriveKey(secret, salt, key)) return ERROR_GEN_FAILURE;

  SecureBytes out(bodySize);
  CipherContext ctx(EVP_CIPHER_CTX_new());
  int length = 0;
  const bool ok =
      ctx && EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(kNonceSize), nullptr) == 1 &&
      EVP_DecryptInit_ex(ctx.get(), nullptr, nullptr, key.data(), nonce) == 1 &&
      EVP_DecryptUpdate(ctx.get(), nullptr, &length, reinterpret_cast<const unsigned char*>(purpose.data()),
                        static_cast<int>(purpose.size())) == 1 &&
      EVP_DecryptUpdate(ctx.get(), out.data(), &length, body, static_cast<int>(bodySize)) == 1 &&
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize),
                          const_cast<std::uint8_t*>(tag)) == 1 &&
      EVP_DecryptFinal_ex(ctx.get(), out.data() + length, &length) == 1;
  if (!ok) return ERROR_INVALID_DATA;
  clear = std::move(out);
  return ERROR_SUCCESS;
}

}  // namespace common
