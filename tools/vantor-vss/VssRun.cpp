#include "VssRun.h"

#include "provider/LunInformation.h"

namespace vantorvss {

VssRun::VssRun() {
  Call("OnLoad", [&] { return session_.Notifications().OnLoad(nullptr); });
}

VssRun::~VssRun() {
  if (!unloaded_) session_.Notifications().OnUnload(FALSE);
}

bool VssRun::AreLunsSupported(LONG context, LONG count, VSS_PWSZ* devices, VDS_LUN_INFORMATION* luns) {
  WINBOOL supported = FALSE;
  const std::string serial = count > 0 && luns != nullptr ? provider::LunString(luns[0].m_szSerialNumber) : "";
  const HRESULT hr = Call(
      "AreLunsSupported", [&] { return Hardware().AreLunsSupported(count, context, devices, luns, &supported); },
      serial);
  calls_.back().supported = hr == S_OK && supported != FALSE;
  return *calls_.back().supported;
}

bool VssRun::FillInLunInfo(VSS_PWSZ device, VDS_LUN_INFORMATION& lun) {
  WINBOOL supported = FALSE;
  const std::string serial = provider::LunString(lun.m_szSerialNumber);
  const HRESULT hr = Call("FillInLunInfo", [&] { return Hardware().FillInLunInfo(device, &lun, &supported); }, serial);
  calls_.back().supported = hr == S_OK && supported != FALSE;
  return *calls_.back().supported;
}

std::vector<CallRecord> VssRun::Finish() {
  if (!unloaded_) {
    Call("OnUnload", [&] { return session_.Notifications().OnUnload(FALSE); });
    unloaded_ = true;
  }
  return calls_;
}

bool VssRun::AllSucceeded() const {
  for (const auto& call : calls_)
    if (call.hr != S_OK) return false;
  return true;
}

}  // namespace vantorvss
