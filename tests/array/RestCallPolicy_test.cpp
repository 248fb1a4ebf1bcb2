// The request framework's policies over a scripted array: session refresh, ignorable and
// fatal server errors, no retry of a bulk create, changed credentials, result checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <string>
#include <vector>

#include "ScriptedArray.h"
#include "array/RestCallGroup.h"
#include "array/RestCallLogMessageToGMD.h"
#include "array/RestCallSnapshot.h"
#include "array/RestCallVolume.h"
#include "array/VantorArray.h"
#include "discovery/CertificatePins.h"
#include "restsdk/Exceptions.h"
#include "restsdk/v1/ObjectSetFactory.h"

namespace {

using arraytest::OverScriptedArray;
using nlohmann::json;
using VantorStorage::WS::GroupMgmtServerException;
using Requests = std::vector<std::string>;

const json kGroup = {{"id", "grp-1"}, {"name", "group-a"}};

void GetGroupId(Vantor::RestConnection& connection) {
  Vantor::RestCallGetGroupId call(connection);
  call.Execute();
  EXPECT_EQ(call.GetGroup().mId, "grp-1");
}

using RestCallPolicy = OverScriptedArray;

TEST_F(RestCallPolicy, SessionIsRefreshedOnceAndASecondRefusalFailsTheCall) {
  // No session yet: the library refuses without a round trip and the framework logs in.
  array->Session();
  array->Objects(json::array({kGroup}));
  GetGroupId(*connection);
  EXPECT_EQ(array->Requests(), (Requests{"POST /v1/tokens", "POST /v1/groups/search"}));

  // The session expired on the array: one login, and the same request again at once.
  array->Error(401, "SM_http_unauthorized");
  array->Session();
  array->Objects(json::array({kGroup}));
  GetGroupId(*connection);
  EXPECT_EQ(array->Requests().size(), 5u);
  EXPECT_EQ(array->Requests()[3], "POST /v1/tokens");

  // Refused again right after the refresh: the server's error stands, no second login.
  array->Error(401, "SM_http_unauthorized");
  array->Session();
  array->Error(401, "SM_http_unauthorized");
  Vantor::RestCallGetGroupId call(*connection);
  try {
    call.Execute();
    FAIL() << "the call succeeded";
  } catch (const GroupMgmtServerException& e) {
    EXPECT_EQ(e.getHttpStatus(), 401);
  }
  EXPECT_EQ(array->Requests().size(), 8u);
  EXPECT_EQ(array->Unanswered(), 0u);
  EXPECT_EQ(trace.Count("needs to refresh the session."), 3u);

  // A 401 without messages is never taken for an expired session: no login, the error stands.
  array->Error(401, "");
  EXPECT_THROW(call.Execute(), GroupMgmtServerException);
  EXPECT_EQ(array->Requests().size(), 9u);
  EXPECT_EQ(array->Requests().back(), "POST /v1/groups/search");
  EXPECT_TRUE(trace.Contains("GroupMgmtServerException is empty and therefore error code \"SM_http_unauthorized\" "
                             "is not found."));
}

TEST_F(RestCallPolicy, AlreadyInStateIsIgnoredOnlyForSnapshotStateAndRestore) {
  array->Session();  // the first call logs in
  struct Case {
    const char* what;
    std::function<void()> run;
    const char* code;
    bool succeeds;
  };
  const std::vector<Case> cases = {
      {"snapshot online", [&] { Vantor::RestCallOnlineSnap(*connection, "snap-1", true).Execute(); }, "SM_ealready", true},
      {"snapshot offline", [&] { Vantor::RestCallOnlineSnap(*connection, "snap-1", false).Execute(); }, "SM_ealready",
       true},
      {"restore", [&] { Vantor::RestCallRestoreVolume(*connection, "vol-1", "snap-1").Execute(); }, "SM_ealready",
       true},
      {"volume online", [&] { Vantor::RestCallOnlineVolume(*connection, "vol-1", true).Execute(); }, "SM_ealready",
       false},
      {"snapshot busy", [&] { Vantor::RestCallOnlineSnap(*connection, "snap-1", false).Execute(); }, "SM_ebusy", false},
      {"restore busy", [&] { Vantor::RestCallRestoreVolume(*connection, "vol-1", "snap-1").Execute(); }, "SM_ebusy",
       false},
  };
  for (const auto& c : cases) {
    array->Error(409, c.code);
    if (c.succeeds) {
      EXPECT_NO_THROW(c.run()) << c.what;
    } else {
      EXPECT_THROW(c.run(), GroupMgmtServerException) << c.what;
    }
  }
  EXPECT_EQ(trace.Count("is ignored."), 3u);
}

TEST_F(RestCallPolicy, LogMessageToTheArraySwallowsEveryFailure) {
  array->Session();
  array->Error(500, "SM_internal");
  array->Fail();
  array->AnswerRaw(502, "<html>bad gateway</html>");
  array->Answer(201, json::object());
  for (int i = 0; i < 4; ++i) {
    EXPECT_NO_THROW(Vantor::RestCallLogMessageToGMD(*connection, "QTK-VSS:hello", "info").Execute());
  }
  EXPECT_EQ(array->Unanswered(), 0u);
  EXPECT_EQ(array->Requests().back(), "POST /v1/debug_log");
  EXPECT_EQ(json::parse(array->LastBody())["data"]["message"], "QTK-VSS:hello");
}

TEST_F(RestCallPolicy, ChangedCredentialsLogOutAndInBeforeTheNextCall) {
  array->Session();
  array->Objects(json::array({kGroup}));
  GetGroupId(*connection);

  connection->SetLoginInfo(Vantor::LoginInfo("admin", "s3cr3t-pw"));  // unchanged: no new session
  array->Objects(json::array({kGroup}));
  GetGroupId(*connection);
  EXPECT_EQ(array->Requests().size(), 3u);

  connection->SetLoginInfo(Vantor::LoginInfo("operator", "n3w-s3cr3t"));
  array->Answer(200, json::object());
  array->Session();
  array->Objects(json::array({kGroup}));
  GetGroupId(*connection);
  EXPECT_EQ(array->Requests(), (Requests{"POST /v1/tokens", "POST /v1/groups/search", "POST /v1/groups/search",
                                         "DELETE /v1/tokens/tok-1", "POST /v1/tokens", "POST /v1/groups/search"}));
  EXPECT_TRUE(trace.Contains("Rest Client authentication for user 'operator' succeeded. IP: 10.9.8.7."));
  EXPECT_FALSE(trace.Contains("s3cr3t"));
}

TEST_F(RestCallPolicy, FailedResultChecksRaiseTheCallsOwnText) {
  array->Session();  // the first call logs in
  const json snapshot = {{"id", "s1"}};
  const auto objects = [&](json answer) { return [&, answer] { array->Objects(answer); }; };
  struct Case {
    std::function<void()> script;
    std::function<void()> run;
    std::string text;
    bool whole = true;  // the text is the whole message, not a part of it
  };
  const std::vector<Case> cases = {
      {objects(json::array()), [&] { Vantor::RestCallFindVolById(*connection, "vol-1").Execute(); }, "No volume found."},
      {objects(json::array()), [&] { Vantor::RestCallFindVvolBySerial(*connection, "abc").Execute(); },
       "No volume found."},
      {objects(json::array({snapshot})),
       [&] { Vantor::RestCallFindSnapshotsByIDs(*connection, {"s1", "s2"}).Execute(); },
       "Number of retrieved snapshots (1) is different than number of original SnapIDs (2"},
      {objects(json::array()), [&] { Vantor::RestCallGetGroupId(*connection).Execute(); },
       "Get Group Id returned NULL group information."},
      {objects(json::array({{{"id", ""}, {"name", "g"}}})), [&] { Vantor::RestCallGetGroupId(*connection).Execute(); },
       "Get Group Id returned empty Group ID."},
      {objects(json::array({{{"version_current", ""}}})),
       [&] { Vantor::RestCallGetGroupCurrVer(*connection).Execute(); }, "Could not find group's current version"},
      {[&] { array->Answer(201, {{"data", {{"snap_list", json::array({snapshot})}}}}); },
       [&] { Vantor::RestCallSnapVolList(*connection, "{set}", {"vol-1", "vol-2"}).Execute(); },
       "Expected number of returned snapshots: 2; Actual number of created snapshots: 1"},
      // A transport failure is a plain exception with the library's text, not a server error.
      {[&] { array->Fail(); }, [&] { Vantor::RestCallFindVolBySerial(*connection, "abc").Execute(); },
       "scripted transport failure", false},
  };
  for (const auto& c : cases) {
    c.script();
    try {
      c.run();
      ADD_FAILURE() << "no failure for " << c.text;
    } catch (const GroupMgmtServerException& e) {
      ADD_FAILURE() << "server error instead of the result check: " << e.what();
    } catch (const std::exception& e) {
      if (c.whole) EXPECT_EQ(std::string(e.what()), c.text);
      else EXPECT_NE(std::string(e.what()).find(c.text), std::string::npos) << e.what();
    }
  }
}

// The bulk create knows a busy array (503) when it sees one, but is never repeated: a repeated
// bulk create could take the snapshots twice, so a 503 fails the call at once.
TEST_F(RestCallPolicy, BusyArrayFailsTheBulkCreateWithoutARetry) {
  array->Session();
  array->Error(503, "SM_unavailable");
  array->Answer(201, {{"data", {{"snap_list", json::array()}}}});  // what a retry would get
  Vantor::RestCallSnapVolList create(*connection, "{set}", {"vol-1"});
  try {
    create.Execute();
    FAIL() << "the bulk create succeeded";
  } catch (const GroupMgmtServerException& e) {
    EXPECT_EQ(e.getHttpStatus(), 503);
    EXPECT_TRUE(create.IsServiceUnavailable(e));
    EXPECT_TRUE(trace.Contains("Retry is needed. HTTPS Status: HTTP_ERROR_SERVICE_UNAVAILABLE (503)."));
  }
  EXPECT_EQ(array->Requests().size(), 2u);  // login and one bulk create
  EXPECT_FALSE(trace.Contains("Retry attempt #"));
  EXPECT_FALSE(trace.Contains("suggests to repeat the call again"));

  const GroupMgmtServerException internal("down", 500, {});
  EXPECT_FALSE(create.IsServiceUnavailable(internal));
  EXPECT_TRUE(trace.Contains("The exception does not indicate that retry is needed."));
}

// Never pinned by contact: an address without a credential (reported by the driver only), and
// a configured one whose first contact fails its handshake, which then sends nothing. The pin a
// successful first contact makes: tests/e2e/CertificatePinning_test.cpp.
TEST_F(RestCallPolicy, NothingIsPinnedByContactWithoutACredentialOrAHandshake) {
  probed.clear();  // the fixture's own connection met the address already
  array->Session();
  array->Objects(json::array({kGroup}));
  Vantor::Array driverOnly("10.9.8.7", Vantor::LoginInfo());
  EXPECT_TRUE(probed.empty());
  const std::size_t sent = array->Requests().size();
  presented.clear();  // the handshake fails
  EXPECT_THROW(Vantor::Array("10.9.8.7", Vantor::LoginInfo("admin", "s3cr3t-pw")), std::exception);
  EXPECT_EQ(array->Requests().size(), sent);
  EXPECT_EQ(discovery::ReadCertificatePin("10.9.8.7"), "");
}

}  // namespace
