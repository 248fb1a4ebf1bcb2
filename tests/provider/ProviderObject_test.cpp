// The provider object itself: its COM identity, the operations it does not implement, what it
// reads at construction, and the local server's lifetime.
#include "ProviderHarness.h"
#include "provider/VssAsync.h"

namespace {
using ProviderObjectTest = ProviderHarness;
}  // namespace

TEST_F(ProviderObjectTest, UnsupportedOperationsAnswerNotImplementedAndWriteNothing) {
  ULONGLONG mask = 0x1234;
  EXPECT_EQ(hw_->GetProviderCapabilities(&mask), static_cast<HRESULT>(0x80004001u));
  EXPECT_EQ(mask, 0x1234u);
  EXPECT_EQ(hw_->OnReuseLuns(nullptr, nullptr, 0), static_cast<HRESULT>(0x80004001u));
  EXPECT_TRUE(events_.Records().empty());
}

TEST_F(ProviderObjectTest, InterfacesShareOneIdentityAndUnknownOnesAreRefused) {
  IVssProviderNotifications* notifications = nullptr;
  ASSERT_EQ(hw_->QueryInterface(wincompat::kIID_IVssProviderNotifications, reinterpret_cast<void**>(&notifications)),
            S_OK);
  IUnknown* viaNotifications = nullptr;
  ASSERT_EQ(notifications->QueryInterface(wincompat::kIID_IUnknown, reinterpret_cast<void**>(&viaNotifications)), S_OK);
  EXPECT_EQ(static_cast<IUnknown*>(hw_), viaNotifications);
  viaNotifications->Release();

  void* other = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(hw_->QueryInterface(wincompat::kIID_IVssAsync, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);

  // Load and unload report their events and touch nothing else.
  EXPECT_EQ(notifications->OnLoad(nullptr), S_OK);
  EXPECT_EQ(notifications->OnUnload(TRUE), S_OK);
  notifications->Release();
  const auto records = events_.Records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].eventId, 4150u);
  EXPECT_EQ(records[0].type, EVENTLOG_INFORMATION_TYPE);
  EXPECT_TRUE(records[0].strings.empty());
  EXPECT_EQ(records[1].eventId, 4160u);
}

TEST_F(ProviderObjectTest, DigestPolicyIsReadOnceAtConstructionAndFallsBackToZero) {
  const std::string header = "Windows Registry Editor Version 5.00\n";
  const std::string key = header + "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n";
  const std::pair<std::string, DWORD> cases[] = {{key + "\"ISCSIGlobalDigestPolicy\"=dword:00000003\n", 3},
                                                 {key + "\"ISCSIGlobalDigestPolicy\"=\"3\"\n", 0},
                                                 {key, 0},
                                                 {header, 0}};
  for (const auto& [registry, expected] : cases) {
    ASSERT_FALSE(static_cast<platform::EmulatedRegistry&>(registry_.get()).LoadText(registry).has_value());
    EXPECT_EQ(NewProvider()->IscsiDigestPolicy(), expected) << registry;
  }
}

namespace {
int gLastReleasedCalls = 0;
}  // namespace

TEST_F(ProviderObjectTest, LastReleasedObjectTellsTheLocalServerItMayEnd) {
  provider_.reset();
  gLastReleasedCalls = 0;
  SetLastProviderReleasedHandler([] { ++gLastReleasedCalls; });
  const long before = LiveProviderObjects();
  ProviderPtr first = NewProvider();
  ProviderPtr second = NewProvider();
  EXPECT_EQ(LiveProviderObjects(), before + 2);
  first.reset();
  EXPECT_EQ(gLastReleasedCalls, 0);
  // The async object of a restore outlives the provider that made it, and keeps the server.
  IVssAsync* async = CVssAsync::CreateFinished();
  ASSERT_NE(async, nullptr);
  second.reset();
  EXPECT_EQ(gLastReleasedCalls, 0);
  async->Release();
  EXPECT_EQ(LiveProviderObjects(), before);
  EXPECT_EQ(gLastReleasedCalls, 1);
  SetLastProviderReleasedHandler(nullptr);
}
