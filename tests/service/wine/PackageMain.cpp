// The tests of VantorVssProvider.msi under Wine's msiexec. Usage:
//   package_tests <VantorVssProvider.msi> <older package.msi> <vss_coordinator_double.dll> [gtest flags]
// Meant for a Wine prefix of their own: they install and remove the product.
#include <gtest/gtest.h>

#include <cstdio>

#include "HostHarness.h"
#include "PackageHarness.h"

int wmain(int argc, wchar_t** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc < 4) {
    std::fprintf(stderr, "usage: package_tests <package.msi> <older package.msi> <vss_coordinator_double.dll>\n");
    return 2;
  }
  hosttest::SetPackages(argv[1], argv[2]);
  hosttest::RegisterCoordinatorDouble(argv[3]);
  return RUN_ALL_TESTS();
}
