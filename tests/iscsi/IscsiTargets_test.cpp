// The session walk, the logout retries and the login of the iSCSI steps, against a scripted
// initiator and against the emulated host on the array simulator.
#include <gtest/gtest.h>

#include "FakeIscsiInitiator.h"
#include "HostTestSupport.h"
#include "array/IscsiTargets.h"

#ifndef _WIN32
#include "SimulatedHost.h"
#endif

namespace {

using iscsitest::FakeIscsiInitiator;

class IscsiStepsTest : public ::testing::Test {
 protected:
  IscsiStepsTest() : mInitiator(std::make_unique<FakeIscsiInitiator>()) {}
  FakeIscsiInitiator& initiator() { return static_cast<FakeIscsiInitiator&>(mInitiator.get()); }

  hosttest::TraceCapture mTrace;
  hosttest::EventCapture mEvents;
  hosttest::ScopedSeam<platform::IscsiInitiator> mInitiator;
};

TEST_F(IscsiStepsTest, WalkMatchesTargetNamesWithoutCaseAndOnlySessionsWithConnections) {
  initiator().sessions = {{L"iqn.2007-11.com.vantorstorage:vol1", 0, 1},
                          {L"IQN.2007-11.COM.VANTORSTORAGE:VOL1", 2, 2},
                          {L"iqn.2007-11.com.vantorstorage:other", 1, 3},
                          {L"iqn.2007-11.com.vantorstorage:vol1", 1, 4}};
  EXPECT_TRUE(Vantor::IsTargetConnected("iqn.2007-11.com.vantorstorage:vol1"));
  EXPECT_TRUE(initiator().logoutCalls.empty());
  initiator().listCalls = 0;
  EXPECT_FALSE(Vantor::IsTargetConnected("iqn.2007-11.com.vantorstorage:vol2"));

  initiator().listCalls = 0;
  Vantor::LogoutTarget("iqn.2007-11.com.vantorstorage:Vol1");
  EXPECT_EQ(initiator().logoutCalls, (std::vector<ULONGLONG>{2, 4}));
  EXPECT_TRUE(mTrace.Contains("GetIScsiSessionList-1: session size = ")) << mTrace.Text();
  EXPECT_TRUE(mTrace.Contains("session count = 4"));
  EXPECT_TRUE(mTrace.Contains("GetIScsiSessionList-2: session size = "));
  EXPECT_TRUE(mEvents.Records().empty());
}

TEST_F(IscsiStepsTest, LogoutTriesThreeTimesThenGoesOnWithTheNextSession) {
  initiator().sessions = {{L"iqn.x:t", 1, 1}, {L"iqn.x:t", 1, 2}, {L"iqn.x:t", 1, 3}};
  initiator().logoutAnswers[1] = {0xEFFF0001u, 0xEFFF0001u, 0xEFFF0001u};
  initiator().logoutAnswers[2] = {0xEFFF0001u, 0xEFFF0001u};  // the third attempt succeeds
  Vantor::LogoutTarget("iqn.x:t");
  EXPECT_EQ(initiator().logoutCalls, (std::vector<ULONGLONG>{1, 1, 1, 2, 2, 2, 3}));
  EXPECT_EQ(mTrace.Count("attempt=0 of 3"), 2u) << mTrace.LinesWith("LogoutIScsiTarget");
  EXPECT_EQ(mTrace.Count("attempt=1 of 3"), 2u);
  EXPECT_EQ(mTrace.Count("attempt=2 of 3"), 1u);
  EXPECT_TRUE(mTrace.Contains("LogoutIScsiTarget() failed for target iqn.x:t, Error=0xefff0001, attempt=2 of 3"));
  const auto events = mEvents.WithId(4070);
  ASSERT_EQ(events.size(), 1u) << "only the session that stayed logged in is reported";
  EXPECT_EQ(events[0].type, EVENTLOG_ERROR_TYPE);
  ASSERT_FALSE(events[0].strings.empty());
  EXPECT_NE(events[0].strings[0].find(L"iSCSI API error 0xEFFF0001"), std::wstring::npos);
}

TEST_F(IscsiStepsTest, AnUnreadableSessionListThrowsItsStatus) {
  struct Case {
    platform::ISDSC_STATUS first;
    platform::ISDSC_STATUS second;
    std::uint32_t thrown;
    const char* what;
  };
  // The second read fails too when the list grew in between: it is read once only.
  const Case cases[] = {{0xEFFF0001u, 0, 0xEFFF0001u, "iSCSI API error 0xEFFF0001"},
                        {ERROR_ACCESS_DENIED, 0, 5, "iSCSI API error 0x00000005"},
                        {ERROR_INSUFFICIENT_BUFFER, ERROR_INSUFFICIENT_BUFFER, 122, "iSCSI API error 0x0000007A"}};
  for (const auto& c : cases) {
    initiator().listCalls = 0;
    initiator().sessions = {{L"iqn.x:t", 1, 1}};
    initiator().firstListStatus = c.first;
    initiator().secondListStatus = c.second;
    for (int mode = 0; mode < 2; ++mode) {
      initiator().listCalls = 0;
      try {
        if (mode == 0) {
          Vantor::IsTargetConnected("iqn.x:t");
        } else {
          Vantor::LogoutTarget("iqn.x:t");
        }
        ADD_FAILURE() << "no exception for " << c.what;
      } catch (const Vantor::IscsiException& e) {
        EXPECT_EQ(e.GetStatus(), c.thrown);
        EXPECT_STREQ(e.what(), c.what);
      }
    }
  }
  EXPECT_TRUE(initiator().logoutCalls.empty());
  EXPECT_TRUE(mTrace.Contains("** GetIScsiSessionList Failed 0xefff0001")) << mTrace.LinesWith("GetIScsiSessionList");
}

TEST_F(IscsiStepsTest, LoginOptionsFollowTheDigestFlags) {
  struct Case {
    DWORD flags;
    ULONG specified;
    platform::ISCSI_DIGEST_TYPES header;
    platform::ISCSI_DIGEST_TYPES data;
  };
  using platform::ISCSI_DIGEST_TYPE_CRC32C;
  using platform::ISCSI_DIGEST_TYPE_NONE;
  const Case cases[] = {
      {0, 0, ISCSI_DIGEST_TYPE_NONE, ISCSI_DIGEST_TYPE_NONE},
      {1, platform::ISCSI_LOGIN_OPTIONS_HEADER_DIGEST, ISCSI_DIGEST_TYPE_CRC32C, ISCSI_DIGEST_TYPE_NONE},
      {2, platform::ISCSI_LOGIN_OPTIONS_DATA_DIGEST, ISCSI_DIGEST_TYPE_NONE, ISCSI_DIGEST_TYPE_CRC32C},
      {3, platform::ISCSI_LOGIN_OPTIONS_HEADER_DIGEST | platform::ISCSI_LOGIN_OPTIONS_DATA_DIGEST,
       ISCSI_DIGEST_TYPE_CRC32C, ISCSI_DIGEST_TYPE_CRC32C},
      {4, 0, ISCSI_DIGEST_TYPE_NONE, ISCSI_DIGEST_TYPE_NONE},
      {0xFFFFFFF5u, platform::ISCSI_LOGIN_OPTIONS_HEADER_DIGEST, ISCSI_DIGEST_TYPE_CRC32C, ISCSI_DIGEST_TYPE_NONE},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.flags);
    initiator().loginCalls.clear();
    Vantor::LoginIScsiTarget("iqn.x:snap", c.flags);
    ASSERT_EQ(initiator().loginCalls.size(), 1u);
    const auto& call = initiator().loginCalls[0];
    EXPECT_EQ(call.target, "iqn.x:snap");
    EXPECT_FALSE(call.informational);
    EXPECT_FALSE(call.initiatorGiven);
    EXPECT_EQ(call.port, platform::ISCSI_ANY_INITIATOR_PORT);
    EXPECT_FALSE(call.portalGiven);
    EXPECT_FALSE(call.mappingsGiven);
    EXPECT_FALSE(call.persistent);
    ASSERT_TRUE(call.optionsGiven);
    EXPECT_EQ(call.options.Version, 0u);
    EXPECT_EQ(call.options.InformationSpecified, c.specified);
    EXPECT_EQ(call.options.LoginFlags, platform::ISCSI_LOGIN_FLAG_MULTIPATH_ENABLED);
    EXPECT_EQ(call.options.AuthType, platform::ISCSI_NO_AUTH_TYPE);
    EXPECT_EQ(call.options.HeaderDigest, c.header);
    EXPECT_EQ(call.options.DataDigest, c.data);
    EXPECT_EQ(call.options.MaximumConnections, 0u);
    EXPECT_EQ(call.options.Username, nullptr);
    EXPECT_EQ(call.options.Password, nullptr);
  }
  EXPECT_TRUE(initiator().reportForced);
  EXPECT_EQ(initiator().reportCalls, 6);
}

TEST_F(IscsiStepsTest, LoginHappensOnlyAfterARefreshThatReportsTargets) {
  initiator().reportStatus = ERROR_SUCCESS;  // the initiator knows no target: nothing to log in to
  EXPECT_NO_THROW(Vantor::LoginIScsiTarget("iqn.x:snap", 3));
  EXPECT_TRUE(initiator().loginCalls.empty());

  initiator().reportStatus = 0xEFFF0013u;
  try {
    Vantor::LoginIScsiTarget("iqn.x:snap", 3);
    ADD_FAILURE() << "a failed refresh must fail the login";
  } catch (const Vantor::IscsiException& e) {
    EXPECT_EQ(e.GetStatus(), 0xEFFF0013u);
  }
  EXPECT_TRUE(initiator().loginCalls.empty());

  initiator().reportStatus = ERROR_INSUFFICIENT_BUFFER;
  initiator().loginStatus = 0xEFFF0009u;
  EXPECT_THROW(Vantor::LoginIScsiTarget("iqn.x:snap", 2), Vantor::IscsiException);
  EXPECT_TRUE(mTrace.Contains("** LoginIScsiTarget failed with error 0xefff0013 for target iqn.x:snap with digest 0x3"))
      << mTrace.LinesWith("LoginIScsiTarget failed");
  EXPECT_TRUE(mTrace.Contains("** LoginIScsiTarget failed with error 0xefff0009 for target iqn.x:snap with digest 0x2"));
  const auto events = mEvents.WithId(4060);
  ASSERT_EQ(events.size(), 2u);
  EXPECT_NE(events[1].strings.at(0).find(L"iSCSI API error 0xEFFF0009"), std::wstring::npos);
  EXPECT_NE(events[1].strings.at(0).find(L"iqn.x:snap"), std::wstring::npos);
}

#ifndef _WIN32
TEST(IscsiStepsOnTheSimulator, LoginWithDigestsIsSeenConnectedAndLogsOut) {
  hosttest::TraceCapture trace;
  hosttest::SimulatedHost host;
  const auto group = host.AddGroup();
  const auto volume = host.AddVolume(group.id, "sql-log");

  EXPECT_FALSE(Vantor::IsTargetConnected(volume.targetName));
  Vantor::LoginIScsiTarget(volume.targetName, 3);
  std::string upper = volume.targetName;
  for (auto& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  EXPECT_TRUE(Vantor::IsTargetConnected(upper));
  const auto state = host.sim().state();
  bool digests = false;
  for (const auto& h : state.at("hosts")) {
    for (const auto& s : h.at("iscsi_sessions")) {
      digests = s.at("header_digest") == true && s.at("data_digest") == true;
    }
  }
  EXPECT_TRUE(digests) << state.dump();

  Vantor::LoginIScsiTarget(volume.targetName, 0);  // a second session to the same target
  Vantor::LogoutTarget(volume.targetName);
  EXPECT_FALSE(Vantor::IsTargetConnected(volume.targetName));
  EXPECT_TRUE(host.sim().hostDisks(host.initiator()).empty());

  arraysim::FaultSpec fault;
  fault.group = group.id;
  fault.op = "iscsi_login";
  fault.status = static_cast<int>(0xEFFF0009u);
  host.sim().injectFault(fault);
  try {
    Vantor::LoginIScsiTarget(volume.targetName, 0);
    ADD_FAILURE() << "the injected login failure must throw";
  } catch (const Vantor::IscsiException& e) {
    EXPECT_EQ(e.GetStatus(), 0xEFFF0009u);
  }
  EXPECT_FALSE(Vantor::IsTargetConnected(volume.targetName));
  try {
    Vantor::LoginIScsiTarget("iqn.2007-11.com.vantorstorage:no-such-target", 0);
    ADD_FAILURE() << "a target the array does not offer must not log in";
  } catch (const Vantor::IscsiException& e) {
    EXPECT_EQ(e.GetStatus(), platform::ISDSC_NOT_FOUND);
  }
}
#endif

}  // namespace
