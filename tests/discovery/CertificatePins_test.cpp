// Certificate pins in the registry: what the provider makes of stored values, and (under Wine)
// who may change the key that holds them.
#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "discovery/CertificatePins.h"
#include "discovery/ConfigurationKeys.h"
#include "platform/Registry.h"
#include "platform/emulated/EmulatedRegistry.h"

#ifdef _WIN32
#include <windows.h>
#include <sddl.h>

#include "KeyAccessList.h"
#include "platform/win32/Win32Registry.h"
#endif

namespace {

const std::string kPin = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

TEST(CertificatePins, StoredValuesThatAreNoPinReadAsNone) {
  const hosttest::ScopedEmulatedRegistry seam;
  std::string upper;
  for (const char c : kPin) upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  ASSERT_FALSE(seam.get()
                   .LoadText("Windows Registry Editor Version 5.00\n\n"
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Certificates]\n"
                             "\"10.0.0.1\"=\"" + upper + "\"\n"
                             "\"10.0.0.2\"=\"not a fingerprint\"\n"
                             "\"10.0.0.3\"=dword:00000001\n"
                             "\"10.0.0.4\"=\"" + kPin + "00\"\n")
                   .has_value());
  EXPECT_EQ(discovery::ReadCertificatePin("10.0.0.1"), kPin);  // typed by hand in upper case
  for (const char* address : {"10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"})
    EXPECT_EQ(discovery::ReadCertificatePin(address), "") << address;

  ASSERT_EQ(discovery::WriteCertificatePin("10.0.0.5", kPin), ERROR_SUCCESS);
  EXPECT_EQ(discovery::ReadCertificatePin("10.0.0.5"), kPin);
  EXPECT_EQ(discovery::RemoveCertificatePin("10.0.0.5"), ERROR_SUCCESS);
  EXPECT_EQ(discovery::RemoveCertificatePin("10.0.0.5"), ERROR_SUCCESS);  // already gone
  EXPECT_EQ(discovery::ReadCertificatePin("10.0.0.5"), "");
  EXPECT_EQ(discovery::ReadCertificatePin("10.0.0.1"), kPin);
}

#ifdef _WIN32
using testsupport::DaclOf;

TEST(CertificatePins, TheKeyAdmitsSystemAndAdministratorsOnly) {
  const hosttest::ScopedSeam<platform::Registry> seam(std::make_unique<platform::Win32Registry>());
  const char* const address = "192.0.2.77";  // documentation range: no real array
  ASSERT_EQ(discovery::WriteCertificatePin(address, kPin), ERROR_SUCCESS);
  EXPECT_EQ(DaclOf(discovery::kCertificatesKey), L"D:P(A;OICI;KA;;;SY)(A;OICI;KA;;;BA)");
  EXPECT_EQ(discovery::ReadCertificatePin(address), kPin);
  EXPECT_EQ(discovery::RemoveCertificatePin(address), ERROR_SUCCESS);
  EXPECT_EQ(discovery::ReadCertificatePin(address), "");
}
#endif

}  // namespace
