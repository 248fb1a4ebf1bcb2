// Who can read the machine credential store. Under Wine: the access list of the store's key
// and the account check over it. Natively: the emulated host's owner-only files, the host.json
// it refuses, and its cipher (current and first blob formats).
#include <gtest/gtest.h>

#include <fstream>

#include "HostTestSupport.h"
#include "common/HostSecurity.h"
#include "credstore/CredentialVault.h"
#include "credstore/RegistryCredentialVault.h"
#include "platform/Registry.h"

#ifdef _WIN32
#include <windows.h>
#include <sddl.h>

#include "KeyAccessList.h"
#include "common/win32/Win32HostSecurity.h"
#include "platform/win32/Win32Registry.h"
#else
#include <unistd.h>

#include "common/emulated/EmulatedHostSecurity.h"
#include "common/emulated/HostKeyDataProtection.h"
#include "common/emulated/HostSecretCipher.h"
#include "platform/emulated/EmulatedRegistry.h"
#include "platform/emulated/OwnerOnlyFile.h"
#endif

namespace {

constexpr DWORD kOk = ERROR_SUCCESS;

#ifdef _WIN32

constexpr const wchar_t* kScratchKey = L"SOFTWARE\\Vantor Storage\\ProtectionTest";

using testsupport::DaclOf;

void SetDacl(const wchar_t* path, const wchar_t* sddl) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr));
  HKEY key = nullptr;
  // The owner may always change the list, whatever it says.
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, WRITE_DAC, &key) == ERROR_SUCCESS) {
    EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor), kOk);
    RegCloseKey(key);
  }
  LocalFree(descriptor);
}

// Removes the scratch key whatever list an earlier (failed) run left on it.
void RemoveScratchKey() {
  SetDacl(kScratchKey, L"D:(A;OICI;KA;;;BA)(A;OICI;KA;;;SY)");
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kScratchKey);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, kScratchKey);
}

bool RunsOnWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

TEST(CredentialStoreProtection, TheStoreKeyAdmitsSystemAndAdministratorsOnly) {
  hosttest::ScopedSeam<platform::Registry> registry(std::make_unique<platform::Win32Registry>());
  // A key made before with what HKLM\SOFTWARE passes down is put right, not kept.
  RemoveScratchKey();
  {
    platform::RegKey open;
    ASSERT_EQ(platform::TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, kScratchKey, open.out()), kOk);
  }
  for (const wchar_t* path : {kScratchKey, L"SOFTWARE\\Vantor Storage\\ProtectionTest\\Fresh"}) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(path)));
    platform::RegKey key;
    ASSERT_EQ(platform::TheRegistry().CreateProtectedKeyW(HKEY_LOCAL_MACHINE, path, key.out()), kOk);
    EXPECT_EQ(DaclOf(path), L"D:P(A;OICI;KA;;;SY)(A;OICI;KA;;;BA)");
  }
  // Its subkeys inherit the list on Windows; Wine stores and returns a key's list but passes
  // nothing on to subkeys.
  if (!RunsOnWine()) {
    platform::RegKey child;
    ASSERT_EQ(platform::TheRegistry().CreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantor Storage\\ProtectionTest\\Child",
                                                   child.out()),
              kOk);
    EXPECT_EQ(DaclOf(L"SOFTWARE\\Vantor Storage\\ProtectionTest\\Child"), L"D:AI(A;OICIID;KA;;;SY)(A;OICIID;KA;;;BA)");
  }

  common::Win32HostSecurity security;
  // Wine gives every process an administrator's token; the tool's add-group relies on it there.
  if (RunsOnWine()) {
    EXPECT_TRUE(security.IsElevated());
  }
  EXPECT_EQ(security.CanAccountReadKey(kScratchKey, L"LocalSystem").access, common::Access::Granted);
  EXPECT_EQ(security.CanAccountReadKey(kScratchKey, L"NT AUTHORITY\\SYSTEM").access, common::Access::Granted);
  const common::AccessVerdict service = security.CanAccountReadKey(kScratchKey, L"NT AUTHORITY\\LocalService");
  EXPECT_EQ(service.access, common::Access::Denied) << service.reason;
  EXPECT_EQ(security.CanAccountReadKey(L"SOFTWARE\\Vantor Storage\\NoSuchKey", L"LocalSystem").access,
            common::Access::Unknown);
  // Lists made by hand: one that lets every signed-in account read, one that denies them first.
  struct Case {
    const wchar_t* sddl;
    const wchar_t* account;
    common::Access expected;
  };
  for (const Case& c : {Case{L"D:(A;;KR;;;AU)(A;;KA;;;BA)", L"NT AUTHORITY\\LocalService", common::Access::Granted},
                        Case{L"D:(D;;KR;;;AU)(A;;KA;;;SY)", L"LocalSystem", common::Access::Denied},
                        Case{L"D:(A;;KW;;;SY)", L"LocalSystem", common::Access::Denied}}) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.sddl)));
    SetDacl(kScratchKey, c.sddl);
    EXPECT_EQ(security.CanAccountReadKey(kScratchKey, c.account).access, c.expected);
  }
  RemoveScratchKey();
}

#else

std::filesystem::perms ModeOf(const std::filesystem::path& file) {
  return std::filesystem::status(file).permissions() & std::filesystem::perms::all;
}
constexpr auto kOwnerOnly = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

TEST(CredentialStoreProtection, EmulatedHostFilesThatHoldSecretsAreOwnerOnly) {
  hosttest::TempFolder host;
  const auto registryFile = host.path() / "registry.reg";
  // A stale temporary file of this process with a wide mode must not pass its mode on.
  const std::string stale = registryFile.string() + ".tmp" + std::to_string(::getpid());
  std::ofstream(stale) << "stale";
  std::filesystem::permissions(stale, std::filesystem::perms::all);
  auto emulated = std::make_unique<platform::EmulatedRegistry>();
  emulated->PersistTo(registryFile);
  hosttest::ScopedSeam<platform::Registry> registry(std::move(emulated));
  hosttest::ScopedSeam<credstore::CredentialVault> vault(std::make_unique<credstore::RegistryCredentialVault>(
      std::make_unique<common::HostKeyDataProtection>(host.path(), common::kMachineCredentialPurpose)));
  ASSERT_EQ(credstore::StoreArrayCredential("10.1.1.1", "admin", "pw-owner-only"), kOk);

  EXPECT_EQ(ModeOf(registryFile), kOwnerOnly);
  EXPECT_EQ(ModeOf(host.path() / common::HostSecretCipher::kSecretFileName), kOwnerOnly);
  EXPECT_EQ(std::filesystem::file_size(host.path() / common::HostSecretCipher::kSecretFileName), 32u);

  // An existing file is never replaced by the exclusive create.
  const std::vector<std::uint8_t> bytes{1, 2, 3};
  EXPECT_EQ(platform::CreateOwnerOnlyFile(registryFile, bytes), 80);
  EXPECT_NE(std::filesystem::file_size(registryFile), 3u);
}

// What host.json grants is shown end to end by the tool's config tests; here, what it refuses.
TEST(CredentialStoreProtection, EmulatedHostRefusesAMalformedDescription) {
  hosttest::TempFolder host;
  const auto file = host.path() / "host.json";
  for (const char* bad : {R"({"elevated": "yes"})", R"({"administrators": "CORP\\x"})", R"({"administrators": [1]})"}) {
    std::ofstream(file) << bad;
    EXPECT_THROW(common::EmulatedHostSecurity::FromHostFile(file), std::runtime_error) << bad;
  }
}

// A blob of the first format, made outside this code base (PBKDF2-HMAC-SHA256 of the secret
// 00 01 .. 1f and the salt, 100,000 iterations; AES-256-GCM with the purpose as associated data):
// "VHS1" | salt 64..73 | nonce c8..d3 | "old-password" sealed | tag.
constexpr const char* kFirstFormatBlob =
    "564853316465666768696a6b6c6d6e6f70717273c8c9cacbcccdcecfd0d1d2d3a6b9965d05c07a18566b33da9208236f66e8aacd6fc3567c"
    "3524ffec";

TEST(CredentialStoreProtection, EmulatedCipherIsBoundToHostAndPurposeAndStillOpensTheFirstFormat) {
  hosttest::TempFolder host;
  const common::HostSecretCipher cipher(host.path());
  const std::vector<std::uint8_t> clear{'s', 'e', 'c', 'r', 'e', 't'};
  std::vector<std::uint8_t> blob;
  ASSERT_EQ(cipher.Seal(clear, "purpose a", blob), kOk);
  EXPECT_EQ(std::string(blob.begin(), blob.begin() + 4), "VHS2");
  common::SecureBytes opened;
  ASSERT_EQ(cipher.Open(blob, "purpose a", opened), kOk);
  EXPECT_EQ(std::vector<std::uint8_t>(opened.data(), opened.data() + opened.size()), clear);
  EXPECT_EQ(cipher.Open(blob, "purpose b", opened), static_cast<DWORD>(ERROR_INVALID_DATA));
  auto relabelled = blob;
  relabelled[3] = '1';  // the magic is authenticated too: no downgrade to the first format's key
  EXPECT_EQ(cipher.Open(relabelled, "purpose a", opened), static_cast<DWORD>(ERROR_INVALID_DATA));

  hosttest::TempFolder otherHost;
  const common::HostSecretCipher other(otherHost.path());
  EXPECT_EQ(other.Open(blob, "purpose a", opened), static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) << "no secret there";
  std::vector<std::uint8_t> ignored;
  ASSERT_EQ(other.Seal(clear, "purpose a", ignored), kOk);
  EXPECT_EQ(other.Open(blob, "purpose a", opened), static_cast<DWORD>(ERROR_INVALID_DATA));

  hosttest::TempFolder earlierHost;
  std::vector<std::uint8_t> secret(32), legacy;
  for (std::size_t i = 0; i < secret.size(); ++i) secret[i] = static_cast<std::uint8_t>(i);
  ASSERT_EQ(platform::CreateOwnerOnlyFile(earlierHost.path() / common::HostSecretCipher::kSecretFileName, secret), 0);
  for (std::size_t i = 0; kFirstFormatBlob[i] != '\0'; i += 2)
    legacy.push_back(static_cast<std::uint8_t>(std::stoi(std::string(kFirstFormatBlob + i, 2), nullptr, 16)));
  const common::HostSecretCipher fresh(earlierHost.path());
  ASSERT_EQ(fresh.Open(legacy, "vantor profile password", opened), kOk);
  EXPECT_EQ(std::string(opened.data(), opened.data() + opened.size()), "old-password");
  EXPECT_EQ(fresh.Open(legacy, "vantor machine credential", opened), static_cast<DWORD>(ERROR_INVALID_DATA));
}

#endif

}  // namespace
