// The event-log seam's contract, run against every implementation this build has (the Win32
// one only in the Windows build, under Wine), then the emulated log's read-back and the
// wrapper that the provider reports through.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "HostTestSupport.h"
#include "logger/EventReporter.h"
#include "logger/WindowsEventLogWrapper.h"
#include "messages/EventText.h"
#include "platform/EventLog.h"
#include "platform/emulated/EmulatedEventLog.h"
#ifdef _WIN32
#include "platform/win32/Win32EventLog.h"
#endif

namespace {

namespace fs = std::filesystem;
const std::wstring kSource = L"Vantor VSS Contract Test";

template <class Log>
class EventLogContract : public testing::Test {
 protected:
  void TearDown() override { log_.RemoveSource(kSource); }
  Log log_;
};

#ifdef _WIN32
using Implementations = testing::Types<platform::EmulatedEventLog, platform::Win32EventLog>;
#else
using Implementations = testing::Types<platform::EmulatedEventLog>;
#endif
TYPED_TEST_SUITE(EventLogContract, Implementations);

TYPED_TEST(EventLogContract, SourceInstallsReportsAndRemoves) {
  platform::EventLog& log = this->log_;
  const std::wstring messageFile = L"C:\\Program Files\\Vantor Storage\\VantorVssProvider.exe";
  EXPECT_EQ(log.SourceMessageFile(kSource), L"");
  ASSERT_TRUE(log.InstallSource(kSource, messageFile));
  EXPECT_EQ(log.SourceMessageFile(kSource), messageFile);

  EXPECT_TRUE(log.Report(kSource, EVENTLOG_ERROR_TYPE, VA_MSG_CREATE_SNAPSHOT_FAILED, {L"array said no"}));
  EXPECT_TRUE(log.Report(kSource, EVENTLOG_INFORMATION_TYPE, VA_MSG_PROVIDER_LOADED, {}));
  EXPECT_TRUE(log.Report(kSource, EVENTLOG_ERROR_TYPE, VA_MSG_CREATE_SNAPSHOT_FAILED,
                         {std::wstring(platform::kMaxEventStringChars + 100, L'x')}));

  EXPECT_TRUE(log.RemoveSource(kSource));
  EXPECT_EQ(log.SourceMessageFile(kSource), L"");
  // Removing again succeeds: the uninstaller runs on hosts where the source is already gone.
  EXPECT_TRUE(log.RemoveSource(kSource));
}

TYPED_TEST(EventLogContract, NamesThatAreNotOneKeyAreRefused) {
  platform::EventLog& log = this->log_;
  for (const std::wstring& name : {std::wstring(), std::wstring(L"Vantor\\..\\Security")}) {
    EXPECT_FALSE(log.InstallSource(name, L"provider.exe"));
    EXPECT_FALSE(log.Report(name, EVENTLOG_ERROR_TYPE, VA_MSG_GENERIC, {L"x"}));
    EXPECT_EQ(log.SourceMessageFile(name), L"");
  }
  EXPECT_FALSE(log.InstallSource(kSource, L""));
}

fs::path EventFile() {
  return fs::absolute(fs::path("logger-test-output") /
                      testing::UnitTest::GetInstance()->current_test_info()->name() / "VSSEvents.log");
}

std::vector<std::string> ReadLines(const fs::path& file) {
  std::vector<std::string> lines;
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(EmulatedEventLog, WritesRenderedTextsBesideTheTrace) {
  const fs::path file = EventFile();
  fs::remove_all(file.parent_path());
  platform::EmulatedEventLog log(file, &messages::RenderEventText);
  ASSERT_TRUE(log.Report(L"Vantor VSS Hardware Provider", EVENTLOG_ERROR_TYPE, VA_MSG_SNAPSHOT_ONLINE_FAILED,
                         {L"snap-1", L"vol-1", L"timed out"}));
  ASSERT_TRUE(log.Report(L"Vantor VSS Hardware Provider", EVENTLOG_INFORMATION_TYPE, 9999, {L"odd"}));

  const std::vector<std::string> lines = ReadLines(file);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("Z Error 4270 [Vantor VSS Hardware Provider] Failed to online snapshot snap-1 of volume "
                          "vol-1. Reason: timed out"),
            std::string::npos)
      << lines[0];
  EXPECT_EQ(lines[0].back(), 't') << "the text's own line break is not kept";
  EXPECT_NE(lines[1].find("Information 9999 [Vantor VSS Hardware Provider] The description for event ID 9999 "
                          "cannot be found. 'odd'"),
            std::string::npos)
      << lines[1];
}

class EventLogWrapper : public testing::Test {
 protected:
  EventLogWrapper() { wrapper_.Init(L"Vantor VSS Hardware Provider", L"C:\\Vantor\\VantorVssProvider.exe"); }
  ~EventLogWrapper() override { logger::SetProcessEventLog(nullptr); }
  hosttest::ScopedSeam<platform::EventLog> seam_{std::make_unique<platform::EmulatedEventLog>()};
  platform::EmulatedEventLog* log_ = static_cast<platform::EmulatedEventLog*>(&seam_.get());
  CWindowsEventLogWrapper wrapper_;
};

TEST_F(EventLogWrapper, RegistersReportsAndForwardsProcessEvents) {
  ASSERT_TRUE(wrapper_.Register());
  EXPECT_EQ(log_->SourceMessageFile(L"Vantor VSS Hardware Provider"), L"C:\\Vantor\\VantorVssProvider.exe");

  // A null before a later string keeps the later one's number.
  EXPECT_TRUE(wrapper_.ReportEventW(EVENTLOG_ERROR_TYPE, VA_MSG_VOLUME_RESTORE_FAILED, L"vol-1", nullptr, L"busy"));
  logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_PROVIDER_LOADED);  // no wrapper yet: dropped
  logger::SetProcessEventLog(&wrapper_);
  logger::ReportProviderEvent(EVENTLOG_INFORMATION_TYPE, VA_MSG_PROVIDER_LOADED);
  // A copy reports as the same source.
  CWindowsEventLogWrapper copy = wrapper_;
  copy.ReportEventW(EVENTLOG_INFORMATION_TYPE, VA_MSG_LUN_ADDED_TO_SET, L"lun-7", L"{set}");

  const std::vector<platform::EventRecord> records = log_->Records();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].eventId, 4330u);
  EXPECT_EQ(records[0].strings, (std::vector<std::wstring>{L"vol-1", L"", L"busy"}));
  EXPECT_EQ(records[1].eventId, 4150u);
  EXPECT_EQ(records[1].type, EVENTLOG_INFORMATION_TYPE);
  EXPECT_TRUE(records[1].strings.empty());
  EXPECT_EQ(records[2].source, L"Vantor VSS Hardware Provider");
  EXPECT_EQ(records[2].strings, (std::vector<std::wstring>{L"lun-7", L"{set}"}));

  wrapper_.Unregister();
  EXPECT_EQ(log_->SourceMessageFile(L"Vantor VSS Hardware Provider"), L"");
}

TEST_F(EventLogWrapper, WithoutAnEventLogNothingFailsTheCaller) {
  std::unique_ptr<platform::EventLog> mine = platform::EventLogSlot::Install(nullptr);
  EXPECT_FALSE(wrapper_.Register());
  EXPECT_FALSE(wrapper_.ReportEventW(EVENTLOG_ERROR_TYPE, VA_MSG_CREATE_SNAPSHOT_FAILED, L"x"));
  wrapper_.Unregister();
  logger::SetProcessEventLog(&wrapper_);
  logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_CREATE_SNAPSHOT_FAILED, L"x");
  platform::EventLogSlot::Install(std::move(mine));
  EXPECT_TRUE(log_->Records().empty());
}

}  // namespace
