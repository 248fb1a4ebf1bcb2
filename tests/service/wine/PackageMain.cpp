// The tests of VantorVssProvider.msi under Wine's msiexec. Usage:
//   package_tests <VantorVssProvider.msi> <older package.msi> <rebuilt package.msi>
//                 <vss_coordinator_double.dll> <folder of the package's executables>
//                 <folder of the older package's executables> [gtest flags]
// Meant for a Wine prefix of their own: they install and remove the product.
#include <gtest/gtest.h>

#include <cstdio>

#include "HostHarness.h"
#include "PackageHarness.h"

int wmain(int argc, wchar_t** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc < 7) {
    std::fprintf(stderr,
                 "usage: package_tests <package.msi> <older package.msi> <rebuilt package.msi> "
                 "<vss_coordinator_double.dll> <executables folder> <older executables folder>\n");
    return 2;
  }
  hosttest::SetPackages({argv[1], argv[2], argv[3], argv[5], argv[6]});
  hosttest::RegisterCoordinatorDouble(argv[4]);
  return RUN_ALL_TESTS();
}
