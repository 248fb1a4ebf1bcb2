// A hostile or broken array against vantor-vss as a child process of this test: answers far
// over the limits end the command in time on the error path with the tool's peak memory (its
// own getrusage, by wait4) bounded, and the password is nowhere in the tool's memory while it
// waits on the array after its login.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "EmulatedHostFixture.h"

namespace {

// AddressSanitizer's build reserves terabytes of shadow and allocator space and keeps freed
// blocks in quarantine: neither the tool's peak memory nor a search of its mappings means there
// what it means in the shipped build, which the native lane runs.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

// Occurrences of `needle` in every readable mapping of process `pid`.
int CountInMemory(pid_t pid, const std::string& needle) {
  std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
  const int mem = ::open(("/proc/" + std::to_string(pid) + "/mem").c_str(), O_RDONLY);
  if (mem < 0) return -1;
  int found = 0;
  std::string line;
  while (std::getline(maps, line)) {
    unsigned long from = 0, to = 0;
    char perms[5] = {};
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, perms) != 3 || perms[0] != 'r') continue;
    if (line.find("[vvar]") != std::string::npos || line.find("[vsyscall]") != std::string::npos) continue;
    std::string region(to - from, '\0');
    const ssize_t got = ::pread(mem, region.data(), region.size(), static_cast<off_t>(from));
    if (got <= 0) continue;
    region.resize(static_cast<std::size_t>(got));
    for (std::size_t at = region.find(needle); at != std::string::npos; at = region.find(needle, at + 1)) ++found;
  }
  ::close(mem);
  return found;
}

std::string Utf16(const std::string& ascii) {
  std::string wide;
  for (const char c : ascii) wide += std::string{c, '\0'};
  return wide;
}

}  // namespace

using HostileAnswers = EmulatedHostFixture;

TEST_F(HostileAnswers, AnswersOverTheLimitsEndInTimeWithBoundedMemory) {
  constexpr long long k300MB = 300LL * 1024 * 1024;
  struct Case {
    const char* name;
    const char* op;
    long long floodBytes;
    int nestDepth;
    const char* traced;  // the trace line that names the limit
    const char* field;   // of doctor's row for the group
    const char* value;   // what that field begins with
  };
  const Case cases[] = {
      {"300 MB SOAP answer", "soap", k300MB, 0, "over the answer size limit of 65536 bytes", "rest", "unknown"},
      {"300 MB REST answer", "search:groups", k300MB, 0, "over the answer size limit of 33554432 bytes", "result",
       "cannot log in"},
      {"REST answer nested 20 million deep", "search:groups", 0, 20 * 1000 * 1000,
       "deeper than the JSON nesting limit of 64 levels", "result", "cannot log in"},
  };
  const auto group = AddGroup("hostile", {"data"});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove_all(hostA_.dir / "logs");
    arraysim::FaultSpec fault;
    fault.group = group.id;
    fault.op = c.op;
    fault.floodBytes = c.floodBytes;
    fault.nestDepth = c.nestDepth;
    sim_->injectFault(fault);
    const ToolRun run = Vss({"doctor"});
    ASSERT_TRUE(run.report.contains("groups")) << run.output;
    EXPECT_TRUE(run.report["groups"][0][c.field].get<std::string>().starts_with(c.value)) << run.output;
    EXPECT_NE(Trace().find(c.traced), std::string::npos);
    EXPECT_LT(run.elapsed, std::chrono::seconds(20));
    EXPECT_GT(run.peakRssKb, 0);
    if (!kAddressSanitizer) {
      EXPECT_LT(run.peakRssKb, 128 * 1024) << "peak memory of the tool in KiB";
    }
    sim_->clearFaults();
  }
}

// The login is over and the group-id search that follows it is held by the array: nothing in
// the tool's memory may hold the password then, in UTF-8 or UTF-16.
TEST_F(HostileAnswers, PasswordIsNotInMemoryWhileTheToolWaitsAfterItsLogin) {
  if (kAddressSanitizer) GTEST_SKIP() << "the sanitizer's mappings cannot be searched whole";
  const auto group = AddGroup("memsearch-group", {"data"});
  const std::string password = "memsearch-group-pw";
  arraysim::FaultSpec hold;
  hold.group = group.id;
  hold.op = "search:groups";
  hold.delayMs = 3000;
  sim_->injectFault(hold);
  int utf8 = -1;
  int utf16 = -1;
  const ToolRun run = VssOn(hostA_, {"doctor"}, "", [&](pid_t pid) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (sim_->requestCount(group.id, "search:groups") == 0 && std::chrono::steady_clock::now() < until)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the tool is in its read now
    utf8 = CountInMemory(pid, password);
    utf16 = CountInMemory(pid, Utf16(password));
  });
  EXPECT_EQ(sim_->requestCount(group.id, "tokens"), 1) << run.output;
  EXPECT_EQ(utf8, 0);
  EXPECT_EQ(utf16, 0);
  ASSERT_TRUE(run.report.contains("groups")) << run.output;
  EXPECT_EQ(run.report["groups"][0]["result"], "ok") << run.output;
}

// The emulated host's trace folder planted as a link: the tool works on without a trace (none
// lands where the link leads) and reports the refusal once, as an event.
TEST_F(HostileAnswers, TraceFolderThatIsALinkGetsNoTraceAndOneEvent) {
  AddGroup("linked-trace", {"data"});
  const std::filesystem::path elsewhere = hostA_.dir / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  std::filesystem::remove_all(hostA_.dir / "logs");
  std::filesystem::create_directory_symlink(elsewhere, hostA_.dir / "logs");
  const ToolRun run = Vss({"doctor"});
  ASSERT_TRUE(run.report.contains("groups")) << run.output;
  EXPECT_EQ(run.report["groups"][0]["result"], "ok") << run.output;
  int refusals = 0;
  for (const auto& event : run.report["events"]) {
    if (event["id"] != 0) continue;
    ++refusals;
    EXPECT_NE(event["strings"][0].get<std::string>().find("is a symbolic link"), std::string::npos) << event.dump();
  }
  EXPECT_EQ(refusals, 1) << run.output;
  bool doctorSaysSo = false;
  for (const auto& check : run.report["checks"])
    doctorSaysSo = doctorSaysSo || (check.dump().find("refused, no trace is written") != std::string::npos);
  EXPECT_TRUE(doctorSaysSo) << run.output;
  EXPECT_FALSE(std::filesystem::exists(elsewhere / "VSSTrace.log"));
}
