// The two rules an administrator relies on before deleting anything: what a duration means,
// and which snapshots prune keeps (anything used, new, or not fully described by the array).
#include <gtest/gtest.h>

#include "Duration.h"
#include "ShadowCopyInventory.h"

namespace {

using namespace std::chrono_literals;
using vantorvss::ParseDuration;

TEST(Duration, UnitsAddUpAndAnythingElseIsRefusedWithTheText) {
  EXPECT_EQ(ParseDuration("0s"), 0s);
  EXPECT_EQ(ParseDuration("90s"), 90s);
  EXPECT_EQ(ParseDuration("15m"), 900s);
  EXPECT_EQ(ParseDuration("24h"), 86400s);
  EXPECT_EQ(ParseDuration("7d"), 7 * 86400s);
  EXPECT_EQ(ParseDuration("1d12h30m"), 86400s + 12 * 3600s + 30 * 60s);
  for (const char* bad : {"", "24", "h", "-1h", "1.5h", "1w", "24h ", " 24h", "1h-", "99999999999999999999d", "40000d"}) {
    try {
      ParseDuration(bad);
      ADD_FAILURE() << "accepted '" << bad << "'";
    } catch (const std::invalid_argument& e) {
      EXPECT_NE(std::string(e.what()).find(std::string("'") + bad + "'"), std::string::npos) << e.what();
    }
  }
}

vantorvss::ShadowCopySnapshot Released(std::int64_t createdAt) {
  vantorvss::ShadowCopySnapshot s;
  s.group = "10.0.0.1";
  s.snapshot.mSerialNumber = "serial";
  s.snapshot.mCreationTime = createdAt;
  s.snapshot.mOnline = false;
  s.snapshot.mNumConnections = 0;
  s.ownership = vantorvss::Ownership::ThisHost;
  return s;
}

TEST(PruneRules, OnlyAnOfflineUnusedUnreferencedSnapshotOldEnoughMayGo) {
  const std::int64_t now = 1800000000;
  EXPECT_FALSE(vantorvss::ReasonToKeep(Released(now - 3600), now, 1h));
  EXPECT_FALSE(vantorvss::ReasonToKeep(Released(now), now, 0s));  // "older than 0s": any age

  struct Case {
    const char* what;
    vantorvss::ShadowCopySnapshot snapshot;
    const char* reason;
  };
  std::vector<Case> kept;
  kept.push_back({"referenced", Released(now - 7200), "refers"});
  kept.back().snapshot.referenced = true;
  kept.push_back({"online", Released(now - 7200), "online"});
  kept.back().snapshot.snapshot.mOnline = true;
  kept.push_back({"session", Released(now - 7200), "session"});
  kept.back().snapshot.snapshot.mNumConnections = 2;
  kept.push_back({"too new", Released(now - 3599), "newer"});
  kept.push_back({"made ahead of this host's clock", Released(now + 60), "newer"});
  kept.push_back({"online unknown", Released(now - 7200), "online"});
  kept.back().snapshot.snapshot.mOnline.reset();
  kept.push_back({"sessions unknown", Released(now - 7200), "sessions"});
  kept.back().snapshot.snapshot.mNumConnections.reset();
  kept.push_back({"age unknown", Released(now - 7200), "when"});
  kept.back().snapshot.snapshot.mCreationTime.reset();
  for (const auto& c : kept) {
    const auto reason = vantorvss::ReasonToKeep(c.snapshot, now, 1h);
    ASSERT_TRUE(reason.has_value()) << c.what;
    EXPECT_NE(reason->find(c.reason), std::string::npos) << c.what << ": " << *reason;
  }
}

}  // namespace
