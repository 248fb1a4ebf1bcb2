// The file trace end to end: what a line looks like on disk, scope lines, rotation, the
// queue's overflow notice, buffer dumps and nothing lost at exit. The logger is process-wide:
// each test starts with its trace closed and the default limits, whatever ran before it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <latch>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "logger/TraceBlock.h"

#ifdef _WIN32
#include <windows.h>
#include <aclapi.h>
#endif

namespace {

constexpr const wchar_t* kLogSource = L"FileLogTest";
namespace fs = std::filesystem;

// Below the test's working directory, so that builds running side by side never share one.
fs::path OutputDirectory() {
  const fs::path dir = fs::path("logger-test-output") / testing::UnitTest::GetInstance()->current_test_info()->name();
  return fs::absolute(dir);
}

std::vector<std::string> ReadLines(const fs::path& file) {
  std::vector<std::string> lines;
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool Contains(const std::vector<std::string>& lines, const std::string& text) {
  for (const std::string& line : lines) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

class FileLog : public testing::Test {
 protected:
  void SetUp() override {
    dir_ = OutputDirectory();
    CFileLog* log = CFileLog::GetInstance();
    // Lines that earlier tests of this process left waiting go to a trace of their own.
    CFileLog::SetTraceDirectory(fs::absolute("logger-test-output") / "earlier-tests");
    log->InitializeLogging(L"VSSTrace");
    log->CloseTrace();
    log->SetRotation(10u * 1024u * 1024u, 5);  // the defaults
    log->SetQueueCapacity(10000);
    fs::remove_all(dir_);
    CFileLog::SetTraceDirectory(dir_);
  }
  // Opens the trace; tests that log before it opens call it late.
  void Open() { ASSERT_EQ(CFileLog::GetInstance()->InitializeLogging(L"VSSTrace"), 0u); }
  std::vector<std::string> Lines() {
    CFileLog::GetInstance()->Flush();
    return ReadLines(dir_ / "VSSTrace.log");
  }
  fs::path dir_;
};

TEST_F(FileLog, LineCarriesTimeIdsCategorySourceAndEscapedMessage) {
  Open();
  EXPECT_EQ(CFileLog::GetInstance()->TracePath(), dir_ / "VSSTrace.log");
  VA_LOG(MSG_INFO, L"Group %S, key %s, port %lu", std::string("10.1.2.3"), std::wstring(L"Configuration"), 5392ul);
  // Text from outside that holds a line break must not become a line of its own.
  VA_LOG(MSG_ERROR, L"Array said: %S", "bad\nINFO  forged(1): line");

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 2u);
  const std::regex layout(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[\d+:\d+\] INFO  FileLogTest\(\d+\): )"
                          R"(Group 10\.1\.2\.3, key Configuration, port 5392$)");
  EXPECT_TRUE(std::regex_match(lines[0], layout)) << lines[0];
  EXPECT_NE(lines[1].find("] ERROR FileLogTest("), std::string::npos) << lines[1];
  EXPECT_NE(lines[1].find("Array said: bad\\nINFO  forged(1): line"), std::string::npos) << lines[1];
}

void Explode() {
  CLogger scope(L"Widget::Explode");
  throw std::runtime_error("boom");
}

TEST_F(FileLog, ScopeWritesEntryAndExitAlsoWhenAnExceptionPasses) {
  Open();
  { CLogger scope(L"Widget::Quiet"); }
  EXPECT_THROW(Explode(), std::runtime_error);

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_NE(lines[0].find("DEBUG CLogger("), std::string::npos) << lines[0];
  EXPECT_NE(lines[0].find("Enter Widget::Quiet"), std::string::npos);
  EXPECT_TRUE(std::regex_search(lines[1], std::regex(R"(Exit Widget::Quiet after \d+ ms$)"))) << lines[1];
  EXPECT_NE(lines[2].find("Enter Widget::Explode"), std::string::npos);
  EXPECT_NE(lines[3].find("WARN  CLogger("), std::string::npos) << lines[3];
  EXPECT_TRUE(std::regex_search(lines[3], std::regex(R"(Exit Widget::Explode after \d+ ms, leaving by an exception$)")))
      << lines[3];
}

TEST_F(FileLog, RotatesBySizeAndKeepsTheNewestFiles) {
  CFileLog::GetInstance()->SetRotation(2000, 2);
  Open();
  for (int i = 0; i < 200; ++i) VA_LOG(MSG_INFO, L"line %03d", i);
  CFileLog::GetInstance()->Flush();

  EXPECT_FALSE(fs::exists(dir_ / "VSSTrace.3.log"));
  // Oldest first: the kept files hold one unbroken run of lines that ends with the last one.
  std::vector<std::string> kept;
  for (const char* name : {"VSSTrace.2.log", "VSSTrace.1.log", "VSSTrace.log"}) {
    ASSERT_TRUE(fs::exists(dir_ / name)) << name;
    EXPECT_LE(fs::file_size(dir_ / name), 2000u) << name;
    for (std::string& line : ReadLines(dir_ / name)) kept.push_back(std::move(line));
  }
  ASSERT_GT(kept.size(), 50u);
  const int first = 200 - static_cast<int>(kept.size());
  for (std::size_t i = 0; i < kept.size(); ++i) {
    char expected[16];
    std::snprintf(expected, sizeof(expected), "line %03d", first + static_cast<int>(i));
    ASSERT_NE(kept[i].find(expected), std::string::npos) << kept[i];
  }
}

TEST_F(FileLog, OverflowDropsDetailLinesAndSaysHowMany) {
  CFileLog::GetInstance()->SetQueueCapacity(5);
  // Nothing is written before the trace opens, so these all wait in the queue.
  for (int i = 0; i < 10; ++i) VA_LOG(MSG_DEBUG, L"detail %d", i);
  for (int i = 0; i < 3; ++i) VA_LOG(MSG_ERROR, L"error %d", i);
  Open();

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_NE(lines[0].find("WARN  CFileLog(0): Trace queue full: 8 line(s) dropped"), std::string::npos) << lines[0];
  const char* const rest[] = {"detail 8", "detail 9", "error 0", "error 1", "error 2"};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_NE(lines[i + 1].find(rest[i]), std::string::npos) << lines[i + 1];
}

// Threads that hold their lines in a trace block each leave one unbroken run of them, although
// every thread logs half its lines before any logs the other half.
TEST_F(FileLog, LinesFromManyThreadsAllArriveInEachThreadsOrderAndBlocksKeepThemTogether) {
  Open();
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  for (const bool held : {false, true}) {
    std::latch halfway(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([t, held, &halfway] {
        std::optional<logger::TraceBlock> block, inner;
        if (held) {
          block.emplace();
          inner.emplace();  // adds nothing to the open block
        }
        for (int n = 0; n < kLines; ++n) {
          if (n == kLines / 2) halfway.arrive_and_wait();
          VA_LOG(MSG_INFO, L"thread %d line %d", t, n);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();

    std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>((held ? 2 : 1) * kThreads * kLines));
    lines.erase(lines.begin(), lines.end() - kThreads * kLines);
    std::vector<int> next(kThreads, 0);
    int runs = 0;
    int previous = -1;
    const std::regex message(R"(thread (\d) line (\d+)$)");
    for (const std::string& line : lines) {
      std::smatch match;
      ASSERT_TRUE(std::regex_search(line, match, message)) << line;
      const int t = std::stoi(match[1]);
      ASSERT_EQ(std::stoi(match[2]), next[t]++) << line;
      runs += t != previous ? 1 : 0;
      previous = t;
    }
    EXPECT_EQ(runs == kThreads, held) << runs;
  }
}

TEST_F(FileLog, BufferDumpShowsOffsetsHexAndText) {
  Open();
  const unsigned char inquiry[20] = {'V', 'A', 'N', 'T', 'O', 'R', 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x7F, 'x', 'y', 'z'};
  CFileLog::GetInstance()->LogBuffer(MSG_DEBUG, kLogSource, 7, inquiry, sizeof(inquiry));
  CFileLog::GetInstance()->LogBuffer(MSG_DEBUG, kLogSource, 8, nullptr, 16);
  CFileLog::GetInstance()->LogBuffer(MSG_DEBUG, kLogSource, 9, inquiry, -1);

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_NE(lines[0].find("Buffer dump of 20 bytes:"), std::string::npos);
  EXPECT_NE(lines[1].find("0000  56 41 4E 54 4F 52 00 01 02 03 04 05 06 07 08 09  VANTOR.........."), std::string::npos)
      << lines[1];
  EXPECT_NE(lines[2].find("0010  7F 78 79 7A" + std::string(12 * 3, ' ') + "  .xyz"), std::string::npos) << lines[2];
  EXPECT_NE(lines[3].find("no data (length 16)"), std::string::npos);
  EXPECT_NE(lines[4].find("no data (length -1)"), std::string::npos);
}

TEST_F(FileLog, BadComponentNameIsRefusedAndLoggingStillWorks) {
  EXPECT_NE(CFileLog::GetInstance()->InitializeLogging(L"..\\elsewhere"), 0u);
  EXPECT_NE(CFileLog::GetInstance()->InitializeLogging(L""), 0u);
  VA_LOG(MSG_INFO, L"held until the trace opens");
  CFileLog::GetInstance()->Flush();
  Open();
  EXPECT_TRUE(Contains(Lines(), "held until the trace opens"));
}

// A trace folder or trace file that leads elsewhere gets no trace at all: neither the folder nor
// the file it leads to receives a line.
TEST_F(FileLog, LinkedFolderOrTraceFileIsRefusedAndNothingIsWritten) {
  struct Case {
    const char* name;
    std::function<void(const fs::path& dir, const fs::path& elsewhere)> plant;
    const char* refusal;  // what the reason says
  };
#ifdef _WIN32
  const char* const link = "is a reparse point";
#else
  const char* const link = "is a symbolic link";
#endif
  const Case cases[] = {
      {"folder is a link",
       [](const fs::path& dir, const fs::path& elsewhere) {
         fs::create_directories(dir.parent_path());
         fs::create_directory_symlink(elsewhere, dir);
       },
       link},
      {"trace file is a link",
       [](const fs::path& dir, const fs::path& elsewhere) {
         fs::create_directories(dir);
         std::ofstream(elsewhere / "victim.txt") << "keep\n";
         fs::create_symlink(elsewhere / "victim.txt", dir / "VSSTrace.log");
       },
       link},
      {"rotated file is a hard link",
       [](const fs::path& dir, const fs::path& elsewhere) {
         fs::create_directories(dir);
         std::ofstream(elsewhere / "victim.txt") << "keep\n";
         fs::create_hard_link(elsewhere / "victim.txt", dir / "VSSTrace.2.log");
       },
       "has 2 hard links"},
#ifdef _WIN32
      {"folder owned by another account",
       [](const fs::path& dir, const fs::path&) {
         fs::create_directories(dir);
         BYTE guests[SECURITY_MAX_SID_SIZE];
         DWORD size = sizeof(guests);
         if (!CreateWellKnownSid(WinBuiltinGuestsSid, nullptr, guests, &size) ||
             SetNamedSecurityInfoW(const_cast<wchar_t*>(dir.c_str()), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION,
                                   guests, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
           throw std::runtime_error("the owner cannot be set");
         PSID owner = nullptr;
         PSECURITY_DESCRIPTOR descriptor = nullptr;
         const bool kept = GetNamedSecurityInfoW(dir.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                                 nullptr, nullptr, nullptr, &descriptor) == ERROR_SUCCESS &&
                           owner != nullptr && EqualSid(owner, guests);
         LocalFree(descriptor);
         if (!kept) throw std::runtime_error("the owner set is not the owner read back");
       },
       "is owned by neither SYSTEM"},
#endif
  };
  int planted = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const fs::path elsewhere = dir_.parent_path() / (dir_.filename().string() + "-elsewhere");
    fs::remove_all(dir_);
    fs::remove_all(elsewhere);
    fs::create_directories(elsewhere);
    try {
      c.plant(dir_, elsewhere);
    } catch (const std::exception& e) {
      std::cerr << c.name << ": not on this system (" << e.what() << ")\n";  // Wine makes no symbolic links
      continue;
    }
    ++planted;
    CFileLog* log = CFileLog::GetInstance();
    EXPECT_EQ(log->InitializeLogging(L"VSSTrace"), 5u);  // ERROR_ACCESS_DENIED
    EXPECT_NE(log->TraceRefusal().find(c.refusal), std::string::npos) << log->TraceRefusal();
    EXPECT_TRUE(log->TracePath().empty());
    VA_LOG(MSG_ERROR, L"must not land anywhere");
    log->Flush();
    EXPECT_EQ(ReadLines(elsewhere / "victim.txt").size(), fs::exists(elsewhere / "victim.txt") ? 1u : 0u);
    EXPECT_FALSE(fs::exists(elsewhere / "VSSTrace.log"));
    fs::remove_all(dir_);
    fs::remove_all(elsewhere);
  }
  EXPECT_GT(planted, 0);
  // A sound folder opens again and clears the refusal.
  Open();
  EXPECT_TRUE(CFileLog::GetInstance()->TraceRefusal().empty());
}

TEST(FileLogExit, NothingQueuedIsLostOnAnOrderlyExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const fs::path dir = OutputDirectory();
  fs::remove_all(dir);
  // The child process logs and exits at once; the trace must still hold every line.
  EXPECT_EXIT(
      {
        CFileLog::SetTraceDirectory(dir);
        CFileLog::GetInstance()->InitializeLogging(L"VSSTrace");
        for (int i = 0; i < 3000; ++i) VA_LOG(MSG_INFO, L"exit line %d", i);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  const std::vector<std::string> lines = ReadLines(dir / "VSSTrace.log");
  ASSERT_EQ(lines.size(), 3000u);
  EXPECT_NE(lines.back().find("exit line 2999"), std::string::npos);
}

}  // namespace
