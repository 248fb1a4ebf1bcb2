// The emulated counterpart of CryptProtectMemory (same-process): AES-256-CBC over whole blocks
// with a key drawn at random the first time this process seals anything. The key lives only
// in this process's memory, as the system's own does.
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <climits>
#include <memory>
#include <mutex>

#include "common/MemoryProtection.h"
#include "common/SecureBuffer.h"

namespace common {
namespace {

struct ProcessKey {
  std::array<unsigned char, 32> bytes{};
  bool made = false;
};

const ProcessKey& TheProcessKey() {
  static ProcessKey key;
  static std::once_flag once;
  std::call_once(once, [] { key.made = RAND_bytes(key.bytes.data(), static_cast<int>(key.bytes.size())) == 1; });
  return key;
}

struct CipherContextFree {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

bool Run(std::uint8_t* data, std::size_t size, bool seal) {
  if (size == 0 || size % kMemoryProtectionBlock != 0 || size > static_cast<std::size_t>(INT_MAX)) return false;
  const ProcessKey& key = TheProcessKey();
  if (!key.made) return false;
  const std::unique_ptr<EVP_CIPHER_CTX, CipherContextFree> context(EVP_CIPHER_CTX_new());
  const std::array<unsigned char, 16> iv{};
  if (!context || EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key.bytes.data(), iv.data(),
                                    seal ? 1 : 0) != 1)
    return false;
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  // OpenSSL's CBC works in place, so no second copy of the clear bytes is made.
  int written = 0;
  if (EVP_CipherUpdate(context.get(), data, &written, data, static_cast<int>(size)) != 1) return false;
  int tail = 0;
  return EVP_CipherFinal_ex(context.get(), data + written, &tail) == 1 &&
         static_cast<std::size_t>(written + tail) == size;
}

}  // namespace

bool ProtectMemory(std::uint8_t* data, std::size_t size) { return Run(data, size, true); }
bool UnprotectMemory(std::uint8_t* data, std::size_t size) { return Run(data, size, false); }

}  // namespace common
