// The whole-executable tests of VantorVssProvider.exe (service_host_tests) and of its package
// (package_tests), one main for both. Usage:
//   service_host_tests <VantorVssProvider.exe> <vss_coordinator_double.dll> <activation_client.exe>
//   package_tests <VantorVssProvider.msi> <older package.msi> <rebuilt package.msi>
//                 <vss_coordinator_double.dll> <executables folder> <older executables folder>
// followed by gtest flags. Meant for a Wine prefix of their own: they install and remove the
// service, the COM classes and the product.
#include <gtest/gtest.h>

#include <cstdio>
#include <string_view>

#include "HostHarness.h"
#include "PackageHarness.h"

int wmain(int argc, wchar_t** argv) {
  testing::InitGoogleTest(&argc, argv);
  const bool package = argc > 1 && std::wstring_view(argv[1]).ends_with(L".msi");
  if (argc < (package ? 7 : 4)) {
    std::fprintf(stderr, "usage: <VantorVssProvider.exe> <vss_coordinator_double.dll> <activation_client.exe>\n"
                         "   or: <package.msi> <older package.msi> <rebuilt package.msi> "
                         "<vss_coordinator_double.dll> <executables folder> <older executables folder>\n");
    return 2;
  }
  if (package) {
    hosttest::SetPackages({argv[1], argv[2], argv[3], argv[5], argv[6]});
    hosttest::RegisterCoordinatorDouble(argv[4]);
  } else {
    hosttest::PrepareHost(argv[1], argv[2]);
    hosttest::SetActivationClient(argv[3]);
  }
  return RUN_ALL_TESTS();
}
