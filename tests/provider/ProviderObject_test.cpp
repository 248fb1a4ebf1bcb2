#include <gtest/gtest.h>

#include <memory>

#include "HostTestSupport.h"
#include "provider/VaVssHwProvider.h"
#include "provider/VssAsync.h"

namespace {

// An emulated host with just a registry and an event log, installed for one test.
class ProviderObjectTest : public ::testing::Test {
 protected:
  void LoadRegistry(const char* text) { ASSERT_FALSE(registry_.get().LoadText(text).has_value()); }

  hosttest::ScopedEmulatedRegistry registry_;
  hosttest::EventCapture events_;
};

struct ProviderRef {
  IVssHardwareSnapshotProviderEx* p = nullptr;
  ~ProviderRef() {
    if (p) p->Release();
  }
};

}  // namespace

TEST_F(ProviderObjectTest, UnsupportedOperationsAnswerNotImplementedAndWriteNothing) {
  ProviderRef provider;
  ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&provider.p)),
            S_OK);
  ULONGLONG mask = 0x1234;
  EXPECT_EQ(provider.p->GetProviderCapabilities(&mask), static_cast<HRESULT>(0x80004001u));
  EXPECT_EQ(mask, 0x1234u);
  EXPECT_EQ(provider.p->OnReuseLuns(nullptr, nullptr, 0), static_cast<HRESULT>(0x80004001u));
  EXPECT_TRUE(events_.Records().empty());
}

TEST_F(ProviderObjectTest, InterfacesShareOneIdentityAndUnknownOnesAreRefused) {
  ProviderRef provider;
  ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IUnknown, reinterpret_cast<void**>(&provider.p)), S_OK);
  IVssProviderNotifications* notifications = nullptr;
  ASSERT_EQ(provider.p->QueryInterface(wincompat::kIID_IVssProviderNotifications,
                                       reinterpret_cast<void**>(&notifications)),
            S_OK);
  IUnknown* viaNotifications = nullptr;
  ASSERT_EQ(notifications->QueryInterface(wincompat::kIID_IUnknown, reinterpret_cast<void**>(&viaNotifications)), S_OK);
  EXPECT_EQ(static_cast<IUnknown*>(provider.p), viaNotifications);
  viaNotifications->Release();

  void* other = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(provider.p->QueryInterface(wincompat::kIID_IVssAsync, &other), E_NOINTERFACE);
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
    LoadRegistry(registry.c_str());
    ProviderRef provider;
    ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx,
                                    reinterpret_cast<void**>(&provider.p)),
              S_OK);
    EXPECT_EQ(static_cast<CVaVssHwProvider*>(provider.p)->IscsiDigestPolicy(), expected) << registry;
  }
}

namespace {
int gLastReleasedCalls = 0;
}  // namespace

TEST_F(ProviderObjectTest, LastReleasedObjectTellsTheLocalServerItMayEnd) {
  gLastReleasedCalls = 0;
  SetLastProviderReleasedHandler([] { ++gLastReleasedCalls; });
  const long before = LiveProviderObjects();
  ProviderRef first;
  ProviderRef second;
  ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IUnknown, reinterpret_cast<void**>(&first.p)), S_OK);
  ASSERT_EQ(CreateVaVssHwProvider(wincompat::kIID_IUnknown, reinterpret_cast<void**>(&second.p)), S_OK);
  EXPECT_EQ(LiveProviderObjects(), before + 2);
  first.p->Release();
  first.p = nullptr;
  EXPECT_EQ(gLastReleasedCalls, 0);
  // The async object of a restore outlives the provider that made it, and keeps the server.
  IVssAsync* async = CVssAsync::CreateFinished();
  ASSERT_NE(async, nullptr);
  second.p->Release();
  second.p = nullptr;
  EXPECT_EQ(gLastReleasedCalls, 0);
  async->Release();
  EXPECT_EQ(LiveProviderObjects(), before);
  EXPECT_EQ(gLastReleasedCalls, 1);
  SetLastProviderReleasedHandler(nullptr);
}
