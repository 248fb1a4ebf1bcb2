#include "service/win32/VantorVssProviderModule.h"

#include "logger/EventReporter.h"
#include "logger/TraceFolderCheck.h"
#include "logger/FileLog.h"
#include "logger/HostInfo.h"
#include "logger/Logger.h"
#include "platform/Registry.h"
#include "provider/VaVssHwProvider.h"
#include "service/CommandLine.h"
#include "service/ComAccessDescriptor.h"
#include "service/FileVersionText.h"
#include "service/RegistrationPlan.h"
#include "service/RegistrationScript.h"
#include "service/RegistrationSequence.h"
#include "service/RegistrationWriter.h"
#include "service/ServiceIdentity.h"
#include "service/win32/ComApartment.h"
#include "service/win32/ComSecurity.h"
#include "service/win32/FileVersionReader.h"
#include "service/win32/ServiceInstaller.h"
#include "service/win32/TraceFolder.h"
#include "service/win32/TypeLibRegistration.h"
#include "service/win32/VssRegistration.h"

using namespace service;

namespace {

constexpr const wchar_t* kLogSource = L"VantorVssProviderModule";
// Event 0 is "%1": the service frame's own notices carry their whole text as the insertion.
constexpr DWORD kTextEventId = 0;
// Posted to the loop thread when the local server may have become idle.
constexpr UINT kIdleMessage = WM_APP + 1;
// How long an idle local server waits for the next client before it ends: activating a new
// server costs far more than keeping this one a moment.
constexpr DWORD kIdleLingerMs = 200;
// How long a local server that COM started waits for its first client. COM sends the
// activation that started it at once; but a client may give up, or (Wine) find another server
// first, and a server that nobody reaches must end all the same.
constexpr DWORD kFirstClientWaitMs = 2000;
// How long an ending local server stays after revoking its class object: a client that got the
// class object just before still reaches a live process, which answers CO_E_SERVER_STOPPING.
constexpr DWORD kEndingGraceMs = 3000;
// The service entry points are plain functions; they reach the one module through this.
CVantorVssProviderModule* gModule = nullptr;

std::wstring LoadServiceName() {
  wchar_t buffer[256] = {};
  const int length = LoadStringW(GetModuleHandleW(nullptr), IDS_VANTOR_SERVICENAME, buffer, 256);
  return length > 0 ? std::wstring(buffer, static_cast<std::size_t>(length)) : std::wstring(kServiceName);
}

std::wstring LoadModulePath() {
  wchar_t buffer[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
  // A path cut off at MAX_PATH would register a server that cannot start; better none.
  if (length == 0 || length >= MAX_PATH) return {};
  return {buffer, length};
}

HRESULT FromBool(bool ok) { return ok ? S_OK : E_FAIL; }

// Keeps the single-threaded apartment answering for `milliseconds`: COM delivers its calls as
// messages to this thread.
void DispatchCallsFor(DWORD milliseconds) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  MSG message{};
  for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
    MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message != WM_QUIT) DispatchMessageW(&message);
    }
  }
}

}  // namespace

CVantorVssProviderModule::CVantorVssProviderModule()
    : mServiceName(LoadServiceName()),
      mCredentialStore(CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance()),
      mLifetime({[] { return LiveProviderObjects(); }, [this] { SuspendClassObject(); },
                 [this] { ResumeClassObject(); },
                 [this] {
                   if (mEndsWhenIdle.load()) PostToLoop(kIdleMessage);
                 }}),
      mClassFactory(&CreateVaVssHwProvider, mLifetime) {
  if (CFileLog* log = CFileLog::GetInstance()) log->InitializeLogging(L"VSSTrace");
  mModulePath = LoadModulePath();
  mEventLog.Init(mServiceName.c_str(), mModulePath.c_str());
  logger::SetProcessEventLog(&mEventLog);
  logger::ReportRefusedTraceFolder();
  mVersion = VersionTextOrDefault(ReadFileVersionText(mModulePath));
  gModule = this;
}

CVantorVssProviderModule::~CVantorVssProviderModule() {
  logger::SetProcessEventLog(nullptr);
  gModule = nullptr;
}

int CVantorVssProviderModule::WinMain(const wchar_t* arguments) {
  CLogger scope(L"CVantorVssProviderModule::WinMain");
  // No error box either: the registration runs as an installer's custom action and the service
  // in session 0, where nobody could close one. A crash ends the process with its exit code.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  const ServiceCommand command = ParseServiceCommandLine(arguments != nullptr ? arguments : L"");
  VA_LOG(MSG_INFO, L"%s: %s, version %s, module %s", mServiceName, ServiceCommandName(command), mVersion, mModulePath);
  if (command == ServiceCommand::Run) return static_cast<int>(Start());
  if (mModulePath.empty()) {
    VA_LOG(MSG_ERROR, L"** The executable's path is unknown or too long; nothing registered");
    return static_cast<int>(E_FAIL);
  }
  const ComApartment com;
  if (FAILED(com.Result())) return static_cast<int>(com.Result());
  HRESULT hr = S_OK;
  switch (command) {
    case ServiceCommand::UnregServer:
      hr = UnregisterServer(false);
      break;
    case ServiceCommand::UnregServerPerUser:
      hr = UnregisterServer(true);
      break;
    case ServiceCommand::RegServer:
      hr = RegisterServer(false, false);
      break;
    case ServiceCommand::RegServerPerUser:
      hr = RegisterServer(true, false);
      break;
    case ServiceCommand::Service:
      hr = RegisterServer(false, true);
      break;
    case ServiceCommand::Run:
      break;
  }
  VA_LOG(MSG_INFO, L"%s finished, hr = 0x%08x", ServiceCommandName(command), static_cast<unsigned>(hr));
  return static_cast<int>(hr);
}

HRESULT CVantorVssProviderModule::RegisterServer(bool perUser, bool asService) {
  CLogger scope(L"CVantorVssProviderModule::RegisterServer");
  RegistrationOptions options;
  options.root = perUser ? ClassesRoot::PerUser() : ClassesRoot::Machine();
  options.modulePath = mModulePath;
  options.serviceName = mServiceName;
  options.asService = asService;
  options.accessPermission = AppIdAccessPermission();
  HostActions host;
  host.queryService = [this] { return QueryInstalledService(mServiceName); };
  host.removeService = [this] { return FromBool(UninstallService(mServiceName)); };
  host.installService = [this] { return FromBool(InstallService(mServiceName, mModulePath)); };
  host.restoreService = [this](const InstalledService& before) {
    return FromBool(RestoreService(mServiceName, before));
  };
  host.registerTypeLib = [this, perUser] { return RegisterModuleTypeLib(mModulePath, perUser); };
  host.registerVssProvider = [this] { return RegisterVssProvider(mVersion); };
  if (!perUser) host.secureTraceFolder = [] { return SecureTraceFolder(logger::host::DefaultTraceDirectory()); };

  const HRESULT hr = BuildRegistration(options, std::move(host)).Install();
  if (FAILED(hr)) {
    ReportEventW(EVENTLOG_ERROR_TYPE, kTextEventId, L"Registration failed and was rolled back; see the trace");
    return hr;
  }
  if (!mEventLog.Register()) {
    VA_LOG(MSG_WARNING, L"Adding the event source %s failed; events will show without their texts", mServiceName);
  }
  return hr;
}

HRESULT CVantorVssProviderModule::UnregisterServer(bool perUser) {
  CLogger scope(L"CVantorVssProviderModule::UnregisterServer");
  const ClassesRoot root = perUser ? ClassesRoot::PerUser() : ClassesRoot::Machine();
  RegistrationSequence steps;
  steps.Add(L"VSS provider unregistration", [] {
    UnregisterVssProvider();
    return S_OK;
  });
  steps.Add(L"Class unregistration",
            [this, root] { return HResultFromWin32(RemoveScript(root, ClassScript(mModulePath))); });
  steps.Add(L"Type library unregistration", [perUser] { return UnregisterModuleTypeLib(perUser); });
  steps.Add(L"Event source removal", [this] {
    mEventLog.Unregister();
    return S_OK;
  });
  steps.Add(L"Service removal", [this] { return FromBool(UninstallService(mServiceName)); });
  steps.Add(L"AppID unregistration", [root] { return HResultFromWin32(RemoveScript(root, AppIdScript())); });
  steps.RemoveAll();
  return S_OK;
}

void CVantorVssProviderModule::ReportEventW(WORD type, DWORD eventId, const wchar_t* s1, const wchar_t* s2,
                                            const wchar_t* s3, const wchar_t* s4, const wchar_t* s5) {
  mEventLog.ReportEventW(type, eventId, s1, s2, s3, s4, s5);
}

bool CVantorVssProviderModule::IsConfiguredAsService() const {
  DWORD size = 0;
  const std::wstring appIdKey = AppIdKeyPath();
  return platform::TheRegistry().GetValueW(HKEY_CLASSES_ROOT, appIdKey.c_str(), kLocalServiceValue, RRF_RT_REG_SZ,
                                           nullptr, nullptr, &size) == ERROR_SUCCESS;
}

HRESULT CVantorVssProviderModule::Start() {
  if (!IsConfiguredAsService()) return RunServer(false);
  std::wstring name = mServiceName;  // the dispatcher table takes a writable string
  SERVICE_TABLE_ENTRYW table[] = {{name.data(), &CVantorVssProviderModule::ServiceMainEntry}, {nullptr, nullptr}};
  if (StartServiceCtrlDispatcherW(table)) return mServiceResult;
  const DWORD error = GetLastError();
  if (error == ERROR_FAILED_SERVICE_CONTROLLER_CONNECT) {
    // Started by hand or by COM while the AppID names the service: serve COM directly.
    VA_LOG(MSG_INFO, L"Not started by the service control manager; running as a local server");
    return RunServer(false);
  }
  VA_LOG(MSG_ERROR, L"** StartServiceCtrlDispatcherW failed, error %u", static_cast<unsigned>(error));
  return HRESULT_FROM_WIN32(error);
}

void WINAPI CVantorVssProviderModule::ServiceMainEntry(DWORD /*argc*/, LPWSTR* /*argv*/) {
  if (gModule != nullptr) gModule->ServiceMain();
}

DWORD WINAPI CVantorVssProviderModule::HandlerEntry(DWORD control, DWORD /*eventType*/, LPVOID /*eventData*/,
                                                    LPVOID context) {
  return static_cast<CVantorVssProviderModule*>(context)->Handler(control);
}

void CVantorVssProviderModule::ServiceMain() {
  CLogger scope(L"CVantorVssProviderModule::ServiceMain");
  mStatusHandle = RegisterServiceCtrlHandlerExW(mServiceName.c_str(), &CVantorVssProviderModule::HandlerEntry, this);
  if (mStatusHandle == nullptr) {
    VA_LOG(MSG_ERROR, L"** RegisterServiceCtrlHandlerExW failed, error %u", static_cast<unsigned>(GetLastError()));
    ReportEventW(EVENTLOG_ERROR_TYPE, kTextEventId, L"Handler not installed");
    return;
  }
  SetServiceState(SERVICE_START_PENDING);
  mServiceResult = RunServer(true);
  SetServiceState(SERVICE_STOPPED, mServiceResult);
}

DWORD CVantorVssProviderModule::Handler(DWORD control) {
  switch (control) {
    case SERVICE_CONTROL_STOP: {
      VA_LOG(MSG_INFO, L"Stop requested");
      SetServiceState(SERVICE_STOP_PENDING);
      DWORD loopThread = 0;
      {
        const std::lock_guard lock(mStatusLock);
        loopThread = mLoopThreadId;
      }
      if (loopThread == 0 || !PostThreadMessageW(loopThread, WM_QUIT, 0, 0)) {
        VA_LOG(MSG_ERROR, L"** Could not end the message loop, error %u", static_cast<unsigned>(GetLastError()));
      }
      return NO_ERROR;
    }
    case SERVICE_CONTROL_INTERROGATE: {
      const std::lock_guard lock(mStatusLock);
      SetServiceStatus(mStatusHandle, &mStatus);
      return NO_ERROR;
    }
    default:
      VA_LOG(MSG_WARNING, L"Unknown service control %u", static_cast<unsigned>(control));
      ReportEventW(EVENTLOG_ERROR_TYPE, kTextEventId, L"Bad service request");
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

void CVantorVssProviderModule::SetServiceState(DWORD state, HRESULT exitCode) {
  const std::lock_guard lock(mStatusLock);
  const bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  mStatus.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  mStatus.dwCurrentState = state;
  mStatus.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  mStatus.dwWin32ExitCode = SUCCEEDED(exitCode) ? NO_ERROR : ERROR_SERVICE_SPECIFIC_ERROR;
  mStatus.dwServiceSpecificExitCode = SUCCEEDED(exitCode) ? 0 : static_cast<DWORD>(exitCode);
  mStatus.dwCheckPoint = pending ? mStatus.dwCheckPoint + 1 : 0;
  mStatus.dwWaitHint = pending ? 5000 : 0;
  if (mStatusHandle != nullptr) SetServiceStatus(mStatusHandle, &mStatus);
}

void CVantorVssProviderModule::OnLastProviderReleased() {
  if (gModule != nullptr) gModule->mLifetime.ObjectsReleased();
}

// Both on the loop thread, from ServerLifetime::TryEnd. Where suspension is not implemented
// (Wine), only revoking keeps new activations away, so the class object is revoked too and
// registered again when a client turns up after all.
void CVantorVssProviderModule::SuspendClassObject() {
  CoSuspendClassObjects();
  if (mClassCookie != 0) CoRevokeClassObject(mClassCookie);
  mClassCookie = 0;
}

void CVantorVssProviderModule::ResumeClassObject() {
  const HRESULT hr = CoRegisterClassObject(CLSID_VantorVssHwProvider, &mClassFactory, CLSCTX_LOCAL_SERVER,
                                           REGCLS_MULTIPLEUSE | REGCLS_SUSPENDED, &mClassCookie);
  if (FAILED(hr)) VA_LOG(MSG_ERROR, L"** Registering the class object again failed, hr = 0x%08x", static_cast<unsigned>(hr));
  CoResumeClassObjects();
}

void CVantorVssProviderModule::PostToLoop(UINT message) {
  const std::lock_guard lock(mStatusLock);
  if (mLoopThreadId != 0) PostThreadMessageW(mLoopThreadId, message, 0, 0);
}

HRESULT CVantorVssProviderModule::RunServer(bool asService) {
  CLogger scope(L"CVantorVssProviderModule::RunServer");
  // A single-threaded apartment: the class object and every provider object live on this
  // thread, and COM hands it one call at a time through the message loop below. Two requestors
  // (each with its own provider object) thus never run provider operations at once, as the
  // one object VSS keeps never does; the array traffic of one set is never interleaved with
  // another's.
  const ComApartment com(COINIT_APARTMENTTHREADED);
  if (FAILED(com.Result())) {
    VA_LOG(MSG_ERROR, L"** CoInitializeEx failed, hr = 0x%08x", static_cast<unsigned>(com.Result()));
    return com.Result();
  }
  if (asService) InitializeServiceSecurity();

  HRESULT hr = CoRegisterClassObject(CLSID_VantorVssHwProvider, &mClassFactory, CLSCTX_LOCAL_SERVER,
                                     REGCLS_MULTIPLEUSE | REGCLS_SUSPENDED, &mClassCookie);
  if (FAILED(hr)) {
    VA_LOG(MSG_ERROR, L"** CoRegisterClassObject failed, hr = 0x%08x", static_cast<unsigned>(hr));
    return hr;
  }
  // The queue must exist before anyone can post the stop to it.
  MSG message{};
  PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
  {
    const std::lock_guard lock(mStatusLock);
    mLoopThreadId = GetCurrentThreadId();
  }
  if (asService) {
    ReportEventW(EVENTLOG_INFORMATION_TYPE, kTextEventId, L"Service started/resumed");
    SetServiceState(SERVICE_RUNNING);
  }
  // Started by COM rather than the service control manager, the server lives only as long as
  // its clients (service/ServerLifetime.h).
  mEndsWhenIdle.store(!asService);
  SetLastProviderReleasedHandler(&CVantorVssProviderModule::OnLastProviderReleased);
  hr = CoResumeClassObjects();
  if (SUCCEEDED(hr)) {
    VA_LOG(MSG_INFO, L"Serving %s", kClassIdText);
    bool ending = false;
    bool quit = false;
    // Started by COM, the server is idle until its first client comes.
    bool lingering = !asService;
    ULONGLONG endAt = GetTickCount64() + kFirstClientWaitMs;
    while (!ending && !quit) {
      const ULONGLONG now = GetTickCount64();
      const DWORD timeout = !lingering ? INFINITE : endAt > now ? static_cast<DWORD>(endAt - now) : 0;
      if (MsgWaitForMultipleObjects(0, nullptr, FALSE, timeout, QS_ALLINPUT) == WAIT_TIMEOUT) {
        lingering = false;
        ending = mLifetime.TryEnd();  // idle still? then it ends
        continue;
      }
      while (!quit && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
          quit = true;
        } else if (message.hwnd == nullptr && message.message == kIdleMessage) {
          if (!lingering) endAt = GetTickCount64() + kIdleLingerMs;
          lingering = true;
        } else {
          DispatchMessageW(&message);
        }
      }
    }
    // Calls that reach the apartment meanwhile are still dispatched (and answered).
    if (ending) DispatchCallsFor(kEndingGraceMs);
  } else {
    VA_LOG(MSG_ERROR, L"** CoResumeClassObjects failed, hr = 0x%08x", static_cast<unsigned>(hr));
  }
  mEndsWhenIdle.store(false);
  SetLastProviderReleasedHandler(nullptr);
  if (mClassCookie != 0) CoRevokeClassObject(mClassCookie);
  mClassCookie = 0;
  {
    const std::lock_guard lock(mStatusLock);
    mLoopThreadId = 0;
  }
  if (asService) ReportEventW(EVENTLOG_INFORMATION_TYPE, kTextEventId, L"Service stopped");
  return hr;
}
