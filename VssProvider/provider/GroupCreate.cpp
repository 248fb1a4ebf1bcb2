#include "provider/GroupCreate.h"

#include <cstddef>
#include <system_error>
#include <thread>

#include "array/VaVssArrayWrapper.h"
#include "logger/FileLog.h"
#include "logger/TraceBlock.h"
#include "provider/ProviderCall.h"

namespace provider {
namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

HRESULT CreateOnGroup(const GUID& snapshotSetId, VaSnapshotGroup& group) noexcept {
  const logger::TraceBlock block;
  return GuardedCall(L"VaVssArrayWrapper::CreateSnapshotSet", [&] {
    VA_LOG(MSG_INFO, L"Issuing a create snapshot request...");
    return group.mArray->CreateSnapshotSet(snapshotSetId, group.mSnapshots);
  });
}
}  // namespace

std::vector<HRESULT> CreateOnEveryGroup(const GUID& snapshotSetId,
                                        const std::vector<std::shared_ptr<VaSnapshotGroup>>& groups) {
  std::vector<HRESULT> results(groups.size(), VSS_E_PROVIDER_VETO);
  if (groups.empty()) return results;
  std::vector<std::size_t> notStarted;
  {
    // Declared after `results`, so every worker is joined before what it writes goes away,
    // whichever way this block is left.
    std::vector<std::jthread> workers;
    workers.reserve(groups.size() - 1);
    for (std::size_t i = 1; i < groups.size(); ++i) {
      try {
        workers.emplace_back([&snapshotSetId, &group = *groups[i], &result = results[i]] {
          result = CreateOnGroup(snapshotSetId, group);
        });
      } catch (const std::system_error& e) {
        VA_LOG(MSG_WARNING, L"No worker for group %d of the set (%S); it is asked after the others are",
               static_cast<int>(i + 1), e.what());
        notStarted.push_back(i);
      }
    }
    results[0] = CreateOnGroup(snapshotSetId, *groups[0]);
    for (const std::size_t i : notStarted) results[i] = CreateOnGroup(snapshotSetId, *groups[i]);
  }
  return results;
}

}  // namespace provider
