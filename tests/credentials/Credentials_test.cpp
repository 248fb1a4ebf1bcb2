// The password cipher and the machine credential store: natively over the emulated registry
// and the emulated host's key, in the Windows build under Wine over the registry and DPAPI in
// machine scope.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "HostTestSupport.h"
#include "common/DataProtection.h"
#include "common/EncryptDecrypt.h"
#include "common/MemoryProtection.h"
#include "common/ProtectedSecret.h"
#include "credstore/CredentialVault.h"
#include "credstore/CsharpInterfaceWrapper.h"
#include "credstore/RegistryCredentialVault.h"
#include "platform/Registry.h"
#include "wincompat/WideString.h"

#ifdef _WIN32
#include "platform/win32/Win32Registry.h"
#else
#include "common/emulated/HostKeyDataProtection.h"
#include "platform/emulated/EmulatedRegistry.h"
#endif

namespace {

constexpr DWORD kOk = ERROR_SUCCESS;

// The host's backends: the Windows build's registry with the default store (DPAPI in machine
// scope), or the emulated registry and host key in a fresh folder.
class CredentialsTest : public ::testing::Test {
 protected:
#ifdef _WIN32
  CredentialsTest() : mRegistry(std::make_unique<platform::Win32Registry>()) {}
#else
  CredentialsTest()
      : mRegistry(std::make_unique<platform::EmulatedRegistry>()),
        mProtection(std::make_unique<common::HostKeyDataProtection>(mFolder.path())),
        mVault(std::make_unique<credstore::RegistryCredentialVault>(
            std::make_unique<common::HostKeyDataProtection>(mFolder.path(), common::kMachineCredentialPurpose))) {}
#endif
  ~CredentialsTest() override {
    for (const auto& address : mAddresses) credstore::RemoveArrayCredential(address);
  }
  // Addresses unique to this run, so that a real store is never disturbed.
  std::string Address(const std::string& tag) {
    std::random_device random;
    mAddresses.push_back("10.250." + std::to_string(random() % 250) + "." + std::to_string(random() % 250) + "-" + tag);
    return mAddresses.back();
  }
  static void SetStoreValue(const std::string& address, DWORD type, const std::vector<std::uint8_t>& data) {
    platform::RegKey key;
    ASSERT_EQ(platform::TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, credstore::kCredentialsKey, key.out()), kOk);
    const std::wstring name = wincompat::ToWide(address);
    ASSERT_EQ(platform::TheRegistry().SetValueExW(key.get(), name.c_str(), type, data.data(),
                                                  static_cast<DWORD>(data.size())),
              kOk);
  }
  static std::vector<std::uint8_t> StoreValue(const std::string& address) {
    std::vector<std::uint8_t> data(credstore::kMaxStoredValueBytes);
    DWORD size = static_cast<DWORD>(data.size());
    const std::wstring name = wincompat::ToWide(address);
    EXPECT_EQ(platform::TheRegistry().GetValueW(HKEY_LOCAL_MACHINE, credstore::kCredentialsKey, name.c_str(),
                                                RRF_RT_REG_BINARY, nullptr, data.data(), &size),
              kOk);
    data.resize(size);
    return data;
  }

  hosttest::TempFolder mFolder;
  hosttest::TraceCapture mTrace;
  hosttest::ScopedSeam<platform::Registry> mRegistry;
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

bool Holds(const std::vector<std::uint8_t>& bytes, const std::string& text) {
  return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
}

TEST_F(CredentialsTest, ProfilePasswordsSurviveTheRoundTripAndTamperingIsRefused) {
  for (const std::wstring& password : {std::wstring(L"s3cret!"), std::wstring(L"p\u00e4ss \u20ac \U0001F511"), std::wstring()}) {
    SCOPED_TRACE(testing::PrintToString(password));
    std::vector<unsigned char> blob;
    ASSERT_EQ(EncryptDecrypt().EncryptBuffer(password, blob), kOk);
    EXPECT_FALSE(Holds(blob, "s3cret")) << "the blob must not carry the clear text";
    DWORD status = 0;
    EXPECT_EQ(Decrypt(blob, &status), password);
    EXPECT_EQ(status, kOk);
  }

  std::vector<unsigned char> blob;
  ASSERT_EQ(EncryptDecrypt().EncryptBuffer(L"s3cret!", blob), kOk);
  DWORD status = 0;
  // Room for "s3cret!" and its terminator, less one character.
  Decrypt(blob, &status, 7 * sizeof(wchar_t));
  EXPECT_EQ(status, static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));

  // Both DPAPI and the emulated cipher end the blob with its authentication tag.
  ASSERT_GT(blob.size(), 16u);
  auto flipped = blob;
  flipped.back() = static_cast<unsigned char>(flipped.back() ^ 0x01);
  Decrypt(flipped, &status);
  EXPECT_NE(status, kOk);
  Decrypt(std::vector<unsigned char>(blob.begin(), blob.begin() + 10), &status);
  EXPECT_NE(status, kOk);
  Decrypt(std::vector<unsigned char>{'n', 'o', 't', ' ', 'a', ' ', 'b', 'l', 'o', 'b'}, &status);
  EXPECT_NE(status, kOk);
  unsigned long length = 8;
  EXPECT_EQ(EncryptDecrypt().DecryptBuffer(nullptr, 0, nullptr, &length), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(CredentialsTest, StoreKeepsOneSealedCredentialPerAddressForTheWrapper) {
  const std::string first = Address("a");
  const std::string second = Address("b");
  ASSERT_EQ(credstore::StoreArrayCredential(first, "admin", "pw-one"), kOk);
  ASSERT_EQ(credstore::StoreArrayCredential(second, "backup", "pw-two"), kOk);
  ASSERT_EQ(credstore::StoreArrayCredential(first, "admin2", "hunter2-three"), kOk);

  const std::vector<std::uint8_t> sealed = StoreValue(first);
  EXPECT_FALSE(sealed.empty());
  EXPECT_FALSE(Holds(sealed, "hunter2")) << "the registry must not hold the clear password";
  EXPECT_FALSE(Holds(sealed, "admin2")) << "nor the user name";

  CsharpInterfaceWrapper* wrapper = CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance();
  ASSERT_EQ(wrapper, CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance());
  ASSERT_TRUE(wrapper->W_GetCredential(first.c_str()));
  EXPECT_STREQ(wrapper->GetArrayUsername(), "admin2");
  EXPECT_EQ(wrapper->GetArrayPassword().Reveal().str(), "hunter2-three");
  ASSERT_TRUE(wrapper->W_GetCredential(second.c_str()));
  EXPECT_STREQ(wrapper->GetArrayUsername(), "backup");
  EXPECT_EQ(wrapper->GetArrayPassword().Reveal().str(), "pw-two");

  // A miss leaves nothing of the previous fetch behind.
  EXPECT_FALSE(wrapper->W_GetCredential(Address("none").c_str()));
  EXPECT_STREQ(wrapper->GetArrayUsername(), "");
  EXPECT_EQ(wrapper->GetArrayPassword().Reveal().str(), "");
  EXPECT_FALSE(wrapper->W_GetCredential(nullptr));

  EXPECT_EQ(credstore::RemoveArrayCredential(second), kOk);
  EXPECT_FALSE(wrapper->W_GetCredential(second.c_str()));
  EXPECT_EQ(credstore::RemoveArrayCredential(second), credstore::kCredentialNotFound);
  EXPECT_FALSE(mTrace.Contains("pw-two") || mTrace.Contains("hunter2")) << "no password reaches the trace";

  for (const char* bad : {"", "10.0.0.1 10.0.0.2", "10.0.0.1\t"}) {
    EXPECT_EQ(credstore::StoreArrayCredential(bad, "admin", "pw"), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << bad;
  }
  const std::string third = Address("c");
  EXPECT_EQ(credstore::StoreArrayCredential(third, "", "pw"), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(credstore::StoreArrayCredential(third, "admin", ""), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(credstore::StoreArrayCredential(third, "admin", std::string(1025, 'p')),
            static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(credstore::StoreArrayCredential(third, "admin", std::string(1024, 'p')), kOk);
}

// A value that cannot be used is skipped with a trace line naming its address; the other
// groups still read.
TEST_F(CredentialsTest, UnusableStoredValuesAreSkippedWithALineNamingTheAddress) {
  const std::string good = Address("good");
  ASSERT_EQ(credstore::StoreArrayCredential(good, "admin", "pw-good"), kOk);
  const std::string donor = Address("donor");
  ASSERT_EQ(credstore::StoreArrayCredential(donor, "admin", "pw-donor"), kOk);
  const std::vector<std::uint8_t> sealed = StoreValue(donor);
  ASSERT_GT(sealed.size(), 40u);

  struct Case {
    const char* name;
    DWORD type;
    std::function<std::vector<std::uint8_t>()> data;
  };
  const std::vector<Case> cases = {
      {"truncated", REG_BINARY, [&] { return std::vector<std::uint8_t>(sealed.begin(), sealed.begin() + sealed.size() / 2); }},
      {"one byte altered", REG_BINARY,
       [&] {
         auto altered = sealed;
         altered[altered.size() / 2] ^= 0x40;
         return altered;
       }},
      {"another address's value", REG_BINARY, [&] { return sealed; }},
      {"empty", REG_BINARY, [] { return std::vector<std::uint8_t>(); }},
      {"too large", REG_BINARY, [] { return std::vector<std::uint8_t>(credstore::kMaxStoredValueBytes + 1, 0x5A); }},
      {"not sealed at all", REG_BINARY, [] { return std::vector<std::uint8_t>{1, 0, 0, 5, 0, 'a', 'd', 'm', 'i', 'n'}; }},
      {"REG_SZ", REG_SZ, [] { return std::vector<std::uint8_t>{'p', 0, 'w', 0, 0, 0}; }},
      {"REG_DWORD", REG_DWORD, [] { return std::vector<std::uint8_t>{1, 0, 0, 0}; }},
#ifndef _WIN32
      // Sealed with another host's key: the emulated stand-in for a value copied from another
      // computer, which DPAPI in machine scope refuses (Wine's DPAPI has no machine key to tell).
      {"sealed on another host", REG_BINARY,
       [] {
         hosttest::TempFolder otherHost;
         common::HostKeyDataProtection other(otherHost.path(), common::kMachineCredentialPurpose);
         const std::vector<std::uint8_t> record{1, 0, 0, 5, 0, 'a', 'd', 'm', 'i', 'n', 2, 0, 'p', 'w'};
         std::vector<std::uint8_t> blob;
         EXPECT_EQ(other.Protect(record, blob), kOk);
         return blob;
       }},
#endif
  };
  CsharpInterfaceWrapper* wrapper = CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string bad = Address("bad");
    SetStoreValue(bad, c.type, c.data());
    credstore::ArrayCredential credential;
    EXPECT_NE(credstore::CurrentCredentialVault()->Read(bad, credential), kOk);
    EXPECT_FALSE(wrapper->W_GetCredential(bad.c_str()));
    EXPECT_STREQ(wrapper->GetArrayUsername(), "");
    EXPECT_EQ(wrapper->GetArrayPassword().Reveal().str(), "");
    EXPECT_EQ(mTrace.Count("The stored credential of array IP " + bad + " is unusable"), 2u)
        << mTrace.LinesWith("The stored credential");

    ASSERT_TRUE(wrapper->W_GetCredential(good.c_str()));
    EXPECT_EQ(wrapper->GetArrayPassword().Reveal().str(), "pw-good");
  }
  EXPECT_FALSE(mTrace.Contains("pw-donor") || mTrace.Contains("pw-good"));
}

// Between uses a password is held sealed with this process's key; it comes back exactly, and
// only through Reveal. Wine's CryptProtectMemory is a stub that leaves the bytes as they are.
TEST(ProtectedSecret, SealedBytesHoldNoClearCopyAndRevealGivesItBack) {
  const std::string clear = "hunter2-hunter2-hunter2";  // two blocks
  std::vector<std::uint8_t> block(32, 0);
  std::copy(clear.begin(), clear.end(), block.begin());
  ASSERT_TRUE(common::ProtectMemory(block.data(), block.size()));
#ifdef _WIN32
  const bool sealsForReal = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr;
#else
  const bool sealsForReal = true;
#endif
  if (sealsForReal) {
    EXPECT_EQ(std::search(block.begin(), block.end(), clear.begin(), clear.end()), block.end());
  }
  ASSERT_TRUE(common::UnprotectMemory(block.data(), block.size()));
  EXPECT_EQ(std::string(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(clear.size())), clear);
  EXPECT_FALSE(common::ProtectMemory(block.data(), 15)) << "only whole blocks";

  for (const std::string& text : {clear, std::string("x"), std::string()}) {
    const common::ProtectedSecret sealed = common::ProtectedSecret::Protect(text);
    const common::ProtectedSecret copy = sealed;
    EXPECT_EQ(copy.Reveal().str(), text);
    EXPECT_TRUE(copy == sealed);
    EXPECT_EQ(sealed.empty(), text.empty());
  }
  EXPECT_FALSE(common::ProtectedSecret::Protect("pw-a") == common::ProtectedSecret::Protect("pw-b"));
  std::string handed = "handed-over";
  EXPECT_EQ(common::ProtectedSecret::Take(handed).Reveal().str(), "handed-over");
  EXPECT_TRUE(handed.empty());
}

}  // namespace
