// A COM client for the local server's lifetime test: activates the provider class `count`
// times, releasing each object at once and pausing up to a little longer than an idle server
// lingers, so that activations keep arriving just as the server decides to end.
// Retried, as COM does on Windows: CO_E_SERVER_STOPPING, the answer of a server that is
// ending. Also retried: E_FAIL, which Wine 8's activation answers when the class object was
// revoked between the two halves of its activation (Wine implements no class object
// suspension). Anything else, a server that is gone (RPC_S_SERVER_UNAVAILABLE,
// RPC_E_DISCONNECTED) above all, counts as a failure.
// Usage: activation_client <count> <seed> <result file>. Writes
// "<objects> <stopping retries> <revoked retries> <failures> <hr>" (the first failure's
// HRESULT, or 0) and exits 0 when every activation got its object.
#include <windows.h>
#include <objbase.h>

#include <cstdio>
#include <cwchar>
#include <random>

namespace {

constexpr CLSID kProviderClassId = {0x08B1DE05, 0xDA78, 0x4895, {0xBA, 0xC0, 0xE5, 0x76, 0xED, 0x48, 0x3F, 0xFA}};
constexpr int kMaxAttempts = 50;
// Mostly shorter than the server's idle linger (200 ms), now and then a little longer.
constexpr int kMinPauseMs = 50;
constexpr int kMaxPauseMs = 230;

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 4) return 2;
  const long count = std::wcstol(argv[1], nullptr, 10);
  std::mt19937 random(static_cast<unsigned>(std::wcstoul(argv[2], nullptr, 10)));
  std::uniform_int_distribution<int> pause(kMinPauseMs, kMaxPauseMs);
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 3;
  long objects = 0, stopping = 0, revoked = 0, failures = 0;
  HRESULT firstFailure = S_OK;
  for (long i = 0; i < count; ++i) {
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      IUnknown* object = nullptr;
      const HRESULT hr = CoCreateInstance(kProviderClassId, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown,
                                          reinterpret_cast<void**>(&object));
      if (SUCCEEDED(hr) && object != nullptr) {
        object->Release();
        ++objects;
        break;
      }
      const bool retry = (hr == CO_E_SERVER_STOPPING || hr == E_FAIL) && attempt + 1 < kMaxAttempts;
      if (retry) {
        ++(hr == CO_E_SERVER_STOPPING ? stopping : revoked);
        continue;
      }
      ++failures;
      if (firstFailure == S_OK) firstFailure = hr;
      break;
    }
    Sleep(static_cast<DWORD>(pause(random)));
  }
  CoUninitialize();
  FILE* file = _wfopen(argv[3], L"w");
  if (file != nullptr) {
    std::fprintf(file, "%ld %ld %ld %ld 0x%08lx\n", objects, stopping, revoked, failures,
                 static_cast<unsigned long>(firstFailure));
    std::fclose(file);
  }
  return objects == count ? 0 : 1;
}
