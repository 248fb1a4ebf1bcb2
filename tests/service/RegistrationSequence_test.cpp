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

TEST(RegistrationSequence, FailedStepUndoesItselfAndEveryEarlierStepInReverseAndStops) {
  Journal journal;
  RegistrationSequence steps;
  steps.Add(L"appid", journal.Apply("appid"), journal.Undo("appid"))
      .Add(L"no undo", journal.Apply("no undo", S_FALSE))  // a success code other than S_OK succeeds
      .Add(L"class", journal.Apply("class"), journal.Undo("class"))
      .Add(L"vss", journal.Apply("vss", kAccessDenied), journal.Undo("vss"))
      .Add(L"after", journal.Apply("after"), journal.Undo("after"));
  EXPECT_EQ(steps.Install(), kAccessDenied);
  EXPECT_EQ(journal.entries,
            (std::vector<std::string>{"+appid", "+no undo", "+class", "+vss", "-vss", "-class", "-appid"}));
}

TEST(RegistrationSequence, ThrowingStepsFailWithEFailAndThrowingUndoDoesNotStopTheRollback) {
  Journal journal;
  RegistrationSequence steps;
  steps.Add(L"first", journal.Apply("first"), journal.Undo("first"))
      .Add(L"second", journal.Apply("second"), [] { throw std::runtime_error("undo broke"); })
      .Add(L"third", [] () -> HRESULT { throw std::bad_alloc(); });
  EXPECT_EQ(steps.Install(), E_FAIL);
  EXPECT_EQ(journal.entries, (std::vector<std::string>{"+first", "+second", "-first"}));
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

TEST(RegistrationSequence, Win32StatusBecomesItsHResult) {
  EXPECT_EQ(service::HResultFromWin32(ERROR_SUCCESS), S_OK);
  EXPECT_EQ(service::HResultFromWin32(ERROR_ACCESS_DENIED), kAccessDenied);
  EXPECT_EQ(service::HResultFromWin32(ERROR_FILE_NOT_FOUND), static_cast<HRESULT>(0x80070002u));
}

}  // namespace
