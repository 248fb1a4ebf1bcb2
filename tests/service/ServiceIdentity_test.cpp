#include "service/ServiceIdentity.h"

#include <gtest/gtest.h>

#include "wincompat/Guid.h"
#include "wincompat/WideString.h"

namespace {

using namespace service;

TEST(ServiceIdentity, IdTextsWrittenToTheRegistryNameTheIdsGivenToTheApis) {
  const struct {
    const wchar_t* text;
    const GUID& id;
  } cases[] = {{kAppIdText, kAppId}, {kTypeLibIdText, kTypeLibId}};
  for (const auto& c : cases) {
    GUID parsed{};
    ASSERT_TRUE(wincompat::GuidFromString(wincompat::ToNarrow(c.text), parsed)) << c.text;
    EXPECT_TRUE(parsed == c.id) << c.text;
  }
}

}  // namespace
