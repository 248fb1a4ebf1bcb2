// The main of every test executable. The process works in a temporary folder of its own: its
// current folder and its default trace folder (VANTOR_TRACE_DIR, inherited by the programs a
// test starts), removed when the tests end. Whatever a test writes without naming a folder thus
// never lands in the build or the source tree. A death test's child (the same executable, run
// again by the test) finds the folder in VANTOR_TEST_WORK_DIR and works in it too.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace {

void SetVariable(const char* name, const std::filesystem::path& value) {
#ifdef _WIN32
  _wputenv_s(std::filesystem::path(name).c_str(), value.c_str());
#else
  setenv(name, value.c_str(), 1);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  namespace fs = std::filesystem;
  const char* inherited = std::getenv("VANTOR_TEST_WORK_DIR");
  const bool owner = inherited == nullptr || *inherited == '\0';
  fs::path work;
  if (owner) {
    std::random_device random;
    work = fs::temp_directory_path() / ("vantor-test-" + std::to_string(random()) + "-" + std::to_string(random()));
    fs::create_directories(work);
    SetVariable("VANTOR_TEST_WORK_DIR", work);
    SetVariable("VANTOR_TRACE_DIR", work / "trace");
  } else {
    work = inherited;
  }
  const fs::path home = fs::current_path();
  fs::current_path(work);
  const int result = RUN_ALL_TESTS();
  fs::current_path(home);
  if (owner) {
    std::error_code ignored;
    fs::remove_all(work, ignored);
  }
  return result;
}
