#include "service/RegistrationSequence.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using service::RegistrationSequence;

constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005u);

// Records what ran, in order, as "+name" for an apply and "-name" for an undo.
struct Journal {
  std::vector<std::string> entries;

  RegistrationSequence::Apply Apply(const std::string& name, HRESULT result = S_OK) {
    return [this, name, result] {
      entries.push_back("+" + name);
      return result;
    };
  }
  RegistrationSequence::Undo Undo(const std::string& name) {
    return [this, name] { entries.push_back("-" + name); };
  }
};

// A failed step undoes itself and every earlier step, in reverse, and stops; a step that throws
// fails with E_FAIL, and an undo that throws does not stop the rollback.
TEST(RegistrationSequence, FailedStepRollsBackInReverseAndThrowingStepsFailWithEFail) {
  const struct {
    const char* name;
    RegistrationSequence::Apply failing;
    HRESULT expected;
  } cases[] = {{"refused", [] { return kAccessDenied; }, kAccessDenied},
               {"throws", []() -> HRESULT { throw std::bad_alloc(); }, E_FAIL}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Journal journal;
    RegistrationSequence steps;
    steps.Add(L"appid", journal.Apply("appid"), journal.Undo("appid"))
        .Add(L"no undo", journal.Apply("no undo", S_FALSE))  // a success code other than S_OK succeeds
        .Add(L"undo throws", journal.Apply("undo throws"), [] { throw std::runtime_error("undo broke"); })
        .Add(L"class", journal.Apply("class"), journal.Undo("class"))
        .Add(L"vss", c.failing, journal.Undo("vss"))
        .Add(L"after", journal.Apply("after"), journal.Undo("after"));
    EXPECT_EQ(steps.Install(), c.expected);
    EXPECT_EQ(journal.entries, (std::vector<std::string>{"+appid", "+no undo", "+undo throws", "+class", "-vss",
                                                         "-class", "-appid"}));
  }
}

TEST(RegistrationSequence, RemoveAllRunsEveryStepDespiteFailuresAndNeverUndoes) {
  Journal journal;
  RegistrationSequence steps;
  steps.Add(L"vss", journal.Apply("vss", kAccessDenied), journal.Undo("vss"))
      .Add(L"throws", [] () -> HRESULT { throw std::runtime_error("gone"); })
      .Add(L"class", journal.Apply("class", E_FAIL))
      .Add(L"appid", journal.Apply("appid"));
  steps.RemoveAll();
  EXPECT_EQ(journal.entries, (std::vector<std::string>{"+vss", "+class", "+appid"}));
}

}  // namespace
