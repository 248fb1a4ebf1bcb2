// The whole-executable tests of VantorVssProvider.exe. Usage:
//   service_host_tests <VantorVssProvider.exe> <vss_coordinator_double.dll> <activation_client.exe>
//                      [gtest flags]
// Meant for a Wine prefix of their own: they install and remove the service and COM classes.
#include <gtest/gtest.h>

#include <cstdio>

#include "HostHarness.h"

int wmain(int argc, wchar_t** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc < 4) {
    std::fprintf(stderr,
                 "usage: service_host_tests <VantorVssProvider.exe> <vss_coordinator_double.dll> "
                 "<activation_client.exe>\n");
    return 2;
  }
  hosttest::PrepareHost(argv[1], argv[2]);
  hosttest::SetActivationClient(argv[3]);
  return RUN_ALL_TESTS();
}
