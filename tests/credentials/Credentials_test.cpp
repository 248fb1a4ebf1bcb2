// The password cipher and the array credential store: natively over the emulated host's key
// file, in the Windows build under Wine over DPAPI and the credential manager.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>

#include "HostTestSupport.h"
#include "common/DataProtection.h"
#include "common/EncryptDecrypt.h"
#include "credstore/CredentialVault.h"
#include "credstore/CsharpInterfaceWrapper.h"

#ifndef _WIN32
#include "common/emulated/HostKeyDataProtection.h"
#include "common/emulated/HostSecretCipher.h"
#include "credstore/emulated/EncryptedFileCredentialVault.h"
#endif

namespace {

// The host's backends: the Windows build's defaults, or the emulated ones in a fresh folder.
class CredentialsTest : public ::testing::Test {
 protected:
#ifdef _WIN32
  CredentialsTest() = default;
#else
  CredentialsTest()
      : mProtection(std::make_unique<common::HostKeyDataProtection>(mFolder.path())),
        mVault(std::make_unique<credstore::EncryptedFileCredentialVault>(mFolder.path())) {}
#endif
  ~CredentialsTest() override {
    for (const auto& address : mAddresses) credstore::RemoveArrayCredential(address);
  }
  // Addresses unique to this run, so a real credential manager is never disturbed.
  std::string Address(const std::string& tag) {
    std::random_device random;
    mAddresses.push_back("10.250." + std::to_string(random() % 250) + "." + std::to_string(random() % 250) + "-" + tag);
    return mAddresses.back();
  }

  hosttest::TempFolder mFolder;
#ifndef _WIN32
  hosttest::ScopedSeam<common::DataProtection> mProtection;
  hosttest::ScopedSeam<credstore::CredentialVault> mVault;
#endif
  std::vector<std::string> mAddresses;
};

std::wstring Decrypt(std::vector<unsigned char> blob, DWORD* status, unsigned long capacity = 8192) {
  std::vector<unsigned char> out(8192, 0xCC);
  unsigned long length = capacity;
  *status = EncryptDecrypt().DecryptBuffer(blob.data(), static_cast<unsigned long>(blob.size()), out.data(), &length);
  if (*status != ERROR_SUCCESS) {
    EXPECT_EQ(out[0], 0xCC) << "nothing is written on failure";
    return {};
  }
  EXPECT_EQ(length % sizeof(wchar_t), 0u);
  const auto* text = reinterpret_cast<const wchar_t*>(out.data());
  EXPECT_EQ(text[length / sizeof(wchar_t) - 1], L'\0');
  return std::wstring(text);
}

TEST_F(CredentialsTest, ProfilePasswordsSurviveTheRoundTripAndTamperingIsRefused) {
  for (const std::wstring& password : {std::wstring(L"s3cret!"), std::wstring(L"p\u00e4ss \u20ac \U0001F511"), std::wstring()}) {
    SCOPED_TRACE(testing::PrintToString(password));
    std::vector<unsigned char> blob;
    ASSERT_EQ(EncryptDecrypt().EncryptBuffer(password, blob), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(std::search(blob.begin(), blob.end(), reinterpret_cast<const unsigned char*>("s3cret"),
                          reinterpret_cast<const unsigned char*>("s3cret") + 6),
              blob.end())
        << "the blob must not carry the clear text";
    DWORD status = 0;
    EXPECT_EQ(Decrypt(blob, &status), password);
    EXPECT_EQ(status, static_cast<DWORD>(ERROR_SUCCESS));
  }

  std::vector<unsigned char> blob;
  ASSERT_EQ(EncryptDecrypt().EncryptBuffer(L"s3cret!", blob), static_cast<DWORD>(ERROR_SUCCESS));
  DWORD status = 0;
  // Room for "s3cret!" and its terminator, less one character.
  Decrypt(blob, &status, 7 * sizeof(wchar_t));
  EXPECT_EQ(status, static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));

  // Both DPAPI and the emulated cipher end the blob with its authentication tag.
  ASSERT_GT(blob.size(), 16u);
  auto flipped = blob;
  const std::size_t last = flipped.size() - 1;
  flipped.at(last) = static_cast<unsigned char>(flipped.at(last) ^ 0x01);
  Decrypt(flipped, &status);
  EXPECT_NE(status, static_cast<DWORD>(ERROR_SUCCESS));
  Decrypt(std::vector<unsigned char>(blob.begin(), blob.begin() + 10), &status);
  EXPECT_NE(status, static_cast<DWORD>(ERROR_SUCCESS));
  Decrypt(std::vector<unsigned char>{'n', 'o', 't', ' ', 'a', ' ', 'b', 'l', 'o', 'b'}, &status);
  EXPECT_NE(status, static_cast<DWORD>(ERROR_SUCCESS));
  unsigned long length = 8;
  EXPECT_EQ(EncryptDecrypt().DecryptBuffer(nullptr, 0, nullptr, &length), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(CredentialsTest, StoreKeepsOneCredentialPerAddressForTheWrapper) {
  const std::string first = Address("a");
  const std::string second = Address("b");
  ASSERT_EQ(credstore::StoreArrayCredential(first, "admin", "pw-one"), static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_EQ(credstore::StoreArrayCredential(second, "backup", "pw-two"), static_cast<DWORD>(ERROR_SUCCESS));
  ASSERT_EQ(credstore::StoreArrayCredential(first, "admin2", "pw-three"), static_cast<DWORD>(ERROR_SUCCESS));

  CsharpInterfaceWrapper* wrapper = CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance();
  ASSERT_EQ(wrapper, CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance());
  ASSERT_TRUE(wrapper->W_GetCredential(first.c_str()));
  EXPECT_STREQ(wrapper->GetArrayUsername(), "admin2");
  EXPECT_STREQ(wrapper->GetArrayPassword(), "pw-three");
  ASSERT_TRUE(wrapper->W_GetCredential(second.c_str()));
  EXPECT_STREQ(wrapper->GetArrayUsername(), "backup");
  EXPECT_STREQ(wrapper->GetArrayPassword(), "pw-two");

  // A miss leaves nothing of the previous fetch behind.
  EXPECT_FALSE(wrapper->W_GetCredential(Address("none").c_str()));
  EXPECT_STREQ(wrapper->GetArrayUsername(), "");
  EXPECT_STREQ(wrapper->GetArrayPassword(), "");
  EXPECT_FALSE(wrapper->W_GetCredential(nullptr));

  EXPECT_EQ(credstore::RemoveArrayCredential(second), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_FALSE(wrapper->W_GetCredential(second.c_str()));
  EXPECT_EQ(credstore::RemoveArrayCredential(second), credstore::kCredentialNotFound);

  for (const char* bad : {"", "10.0.0.1 10.0.0.2", "10.0.0.1\t"}) {
    EXPECT_EQ(credstore::StoreArrayCredential(bad, "admin", "pw"), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << bad;
  }
  EXPECT_EQ(credstore::StoreArrayCredential(Address("c"), "", "pw"), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

#ifndef _WIN32
// The emulated host's files: the vault never holds clear text, and another host's secret (or
// none) opens neither the vault nor a profile password.
TEST_F(CredentialsTest, EmulatedHostFilesAreSealedWithThatHostsSecret) {
  const std::string address = Address("sealed");
  ASSERT_EQ(credstore::StoreArrayCredential(address, "admin", "hunter2-password"), static_cast<DWORD>(ERROR_SUCCESS));
  std::vector<unsigned char> profileBlob;
  ASSERT_EQ(EncryptDecrypt().EncryptBuffer(L"profile-pw", profileBlob), static_cast<DWORD>(ERROR_SUCCESS));

  const auto vaultPath = mFolder.path() / credstore::EncryptedFileCredentialVault::kVaultFileName;
  std::ifstream in(vaultPath, std::ios::binary);
  const std::string vault((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(vault.find("hunter2"), std::string::npos);
  EXPECT_EQ(vault.find("admin"), std::string::npos);
  const auto secret = mFolder.path() / common::HostSecretCipher::kSecretFileName;
  EXPECT_EQ(std::filesystem::file_size(secret), 32u);
  EXPECT_EQ(std::filesystem::status(secret).permissions() & std::filesystem::perms::others_read, std::filesystem::perms::none);

  // Another host: a new secret in another folder, with this host's vault file copied over.
  hosttest::TempFolder other;
  std::filesystem::copy_file(vaultPath, other.path() / credstore::EncryptedFileCredentialVault::kVaultFileName);
  credstore::EncryptedFileCredentialVault otherVault(other.path());
  credstore::ArrayCredential credential;
  EXPECT_EQ(otherVault.Read(address, credential), static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) << "no secret there yet";
  common::HostKeyDataProtection otherProtection(other.path());
  std::vector<std::uint8_t> ignored;
  ASSERT_EQ(otherProtection.Protect(std::vector<std::uint8_t>{1, 2}, ignored), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(otherVault.Read(address, credential), static_cast<DWORD>(ERROR_INVALID_DATA));
  common::SecureBytes clear;
  EXPECT_EQ(otherProtection.Unprotect(profileBlob, clear), static_cast<DWORD>(ERROR_INVALID_DATA));

  // A profile blob is not a vault and the other way round (the purposes differ).
  common::HostSecretCipher cipher(mFolder.path());
  std::ifstream again(vaultPath, std::ios::binary);
  const std::vector<std::uint8_t> vaultBlob((std::istreambuf_iterator<char>(again)), std::istreambuf_iterator<char>());
  EXPECT_EQ(mProtection.get().Unprotect(vaultBlob, clear), static_cast<DWORD>(ERROR_INVALID_DATA));
}
#endif

}  // namespace
