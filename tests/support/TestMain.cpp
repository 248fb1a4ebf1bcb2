// The main of every test executable. The process works in a temporary folder of its own: its
// current folder and its default trace folder (VANTOR_TRACE_DIR, inherited by the programs a
// test starts), removed when the tests end. Whatever a test writes without naming a folder thus
// never lands in the build or the source tree.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  namespace fs = std::filesystem;
  std::random_device random;
  const fs::path home = fs::current_path();
  const fs::path work =
      fs::temp_directory_path() / ("vantor-test-" + std::to_string(random()) + "-" + std::to_string(random()));
  fs::create_directories(work);
  const fs::path trace = work / "trace";
#ifdef _WIN32
  _wputenv_s(L"VANTOR_TRACE_DIR", trace.c_str());
#else
  setenv("VANTOR_TRACE_DIR", trace.c_str(), 1);
#endif
  fs::current_path(work);
  const int result = RUN_ALL_TESTS();
  fs::current_path(home);
  std::error_code ignored;
  fs::remove_all(work, ignored);
  return result;
}
