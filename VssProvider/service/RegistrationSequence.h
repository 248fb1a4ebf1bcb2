#pragma once
// An installation made of steps that either all take effect or none does: when a step fails,
// the steps done so far are undone in reverse order and the failure is returned. The failing
// step is undone too, because a step can fail half-way (a script with some keys written); an
// undo therefore must be safe on a step that did nothing.
//
// Removal is the other direction and never fails: every step runs, failures are only logged.
#include <functional>
#include <string>
#include <vector>

#include "wincompat/WinTypes.h"

namespace service {

class RegistrationSequence {
 public:
  using Apply = std::function<HRESULT()>;
  using Undo = std::function<void()>;

  // `undo` may be empty for a step that leaves nothing to take back.
  RegistrationSequence& Add(std::wstring name, Apply apply, Undo undo = {});

  // Applies the steps in order; the first failing HRESULT ends the run after the rollback.
  HRESULT Install();

  // Applies every step regardless of failures; always succeeds.
  void RemoveAll();

 private:
  struct Step {
    std::wstring name;
    Apply apply;
    Undo undo;
  };
  std::vector<Step> mSteps;
};

// HRESULT_FROM_WIN32 for the registry's status codes.
HRESULT HResultFromWin32(LSTATUS status);

}  // namespace service
