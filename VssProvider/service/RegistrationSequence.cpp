#include "service/RegistrationSequence.h"

#include <exception>
#include <utility>

#include "logger/FileLog.h"
#include "logger/Logger.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"RegistrationSequence";

// A step that throws (a bad_alloc while building a path) fails like one that returns E_FAIL;
// nothing may escape into the command-line handling.
HRESULT RunApply(const std::wstring& name, const RegistrationSequence::Apply& apply) {
  try {
    return apply();
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"** %s threw: %S", name, e.what());
  } catch (...) {
    VA_LOG(MSG_ERROR, L"** %s threw an unknown exception", name);
  }
  return E_FAIL;
}

void RunUndo(const std::wstring& name, const RegistrationSequence::Undo& undo) {
  if (!undo) return;
  try {
    undo();
  } catch (...) {
    VA_LOG(MSG_WARNING, L"Undoing %s threw; continuing with the rollback", name);
  }
}

}  // namespace

RegistrationSequence& RegistrationSequence::Add(std::wstring name, Apply apply, Undo undo) {
  mSteps.push_back({std::move(name), std::move(apply), std::move(undo)});
  return *this;
}

HRESULT RegistrationSequence::Install() {
  CLogger scope(L"RegistrationSequence::Install");
  for (std::size_t done = 0; done < mSteps.size(); ++done) {
    const HRESULT hr = RunApply(mSteps[done].name, mSteps[done].apply);
    if (SUCCEEDED(hr)) {
      VA_LOG(MSG_INFO, L"%s done", mSteps[done].name);
      continue;
    }
    VA_LOG(MSG_ERROR, L"** %s failed, hr = 0x%08x; rolling back", mSteps[done].name, static_cast<unsigned>(hr));
    for (std::size_t undo = done + 1; undo-- > 0;) RunUndo(mSteps[undo].name, mSteps[undo].undo);
    return hr;
  }
  return S_OK;
}

void RegistrationSequence::RemoveAll() {
  CLogger scope(L"RegistrationSequence::RemoveAll");
  for (const Step& step : mSteps) {
    const HRESULT hr = RunApply(step.name, step.apply);
    if (FAILED(hr)) {
      VA_LOG(MSG_WARNING, L"%s failed, hr = 0x%08x; removal goes on", step.name, static_cast<unsigned>(hr));
    }
  }
}

HRESULT HResultFromWin32(LSTATUS status) {
  if (status <= 0) return static_cast<HRESULT>(status);
  return static_cast<HRESULT>((static_cast<unsigned>(status) & 0x0000FFFFu) | 0x80070000u);
}

}  // namespace service
