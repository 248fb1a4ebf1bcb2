// The snapshot sets of the shadow copies VSS lists on this machine, through the requestor
// interface: every context, every provider, as IVssBackupComponents::Query answers them.
#include <windows.h>
#include <vss.h>
#include <vswriter.h>
#include <vsbackup.h>
#include <vsserror.h>

#include <stdexcept>

#include "../Report.h"
#include "../SnapshotSetReferences.h"
#include "wincompat/Guid.h"

namespace vantorvss {
namespace {

template <class T>
struct ComRelease {
  T* p = nullptr;
  ~ComRelease() {
    if (p) p->Release();
  }
};

struct ComScope {
  const bool initialized = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
  ~ComScope() {
    if (initialized) CoUninitialize();
  }
};

void Check(HRESULT hr, const char* what) {
  if (FAILED(hr)) throw std::runtime_error(std::string("VSS cannot list its shadow copies: ") + what + " " + HresultText(hr));
}

class VssSetReferences final : public SnapshotSetReferences {
 public:
  std::set<std::string> ReferencedSets() const override {
    const ComScope com;
    std::set<std::string> sets;
    {
      ComRelease<IVssBackupComponents> backup;
      Check(CreateVssBackupComponents(&backup.p), "CreateVssBackupComponents");
      Check(backup.p->InitializeForBackup(nullptr), "InitializeForBackup");
      Check(backup.p->SetContext(static_cast<LONG>(VSS_CTX_ALL)), "SetContext");
      ComRelease<IVssEnumObject> objects;
      const HRESULT queried = backup.p->Query(VSS_ID{}, VSS_OBJECT_NONE, VSS_OBJECT_SNAPSHOT, &objects.p);
      if (queried != VSS_E_OBJECT_NOT_FOUND) {
        Check(queried, "Query");
        for (;;) {
          VSS_OBJECT_PROP prop{};
          ULONG fetched = 0;
          const HRESULT next = objects.p->Next(1, &prop, &fetched);
          if (next != S_OK || fetched == 0) {
            Check(next, "Next");
            break;
          }
          sets.insert(wincompat::GuidToString(prop.Obj.Snap.m_SnapshotSetId));
          VssFreeSnapshotProperties(&prop.Obj.Snap);
        }
      }
    }
    return sets;
  }
};

}  // namespace

std::unique_ptr<SnapshotSetReferences> VssReferences() { return std::make_unique<VssSetReferences>(); }

}  // namespace vantorvss
