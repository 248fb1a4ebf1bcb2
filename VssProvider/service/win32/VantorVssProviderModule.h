#pragma once
// CVantorVssProviderModule: the process of VantorVssProvider.exe. It sets up the trace and the
// event log, handles the command line (install, remove, run), and runs either as the Windows
// service or as a plain COM local server that serves CVaVssHwProvider.
#include <windows.h>

#include <atomic>
#include <mutex>
#include <string>

#include "credstore/CsharpInterfaceWrapper.h"
#include "logger/WindowsEventLogWrapper.h"
#include "service/ServerLifetime.h"
#include "service/win32/ProviderClassFactory.h"

class CVantorVssProviderModule {
 public:
  CVantorVssProviderModule();
  ~CVantorVssProviderModule();
  CVantorVssProviderModule(const CVantorVssProviderModule&) = delete;
  CVantorVssProviderModule& operator=(const CVantorVssProviderModule&) = delete;

  // `arguments` is the command line without the program name; the result is the exit code
  // (an HRESULT for the registration switches).
  int WinMain(const wchar_t* arguments);

  // AppID, optionally the service, the class and type library, the VSS provider and the event
  // source; rolled back as a whole when a step fails.
  HRESULT RegisterServer(bool perUser, bool asService);
  // Removes all of it; never fails.
  HRESULT UnregisterServer(bool perUser);

  void ReportEventW(WORD type, DWORD eventId, const wchar_t* s1 = nullptr, const wchar_t* s2 = nullptr,
                    const wchar_t* s3 = nullptr, const wchar_t* s4 = nullptr, const wchar_t* s5 = nullptr);

  const std::wstring& ServiceName() const { return mServiceName; }
  const std::wstring& ModulePath() const { return mModulePath; }
  const std::wstring& Version() const { return mVersion; }

 private:
  // Runs as the service when the AppID names one and the SCM started us, else as a local server.
  HRESULT Start();
  bool IsConfiguredAsService() const;
  static void WINAPI ServiceMainEntry(DWORD argc, LPWSTR* argv);
  static void OnLastProviderReleased();
  void PostToLoop(UINT message);
  void SuspendClassObject();
  void ResumeClassObject();
  static DWORD WINAPI HandlerEntry(DWORD control, DWORD eventType, LPVOID eventData, LPVOID context);
  void ServiceMain();
  DWORD Handler(DWORD control);
  void SetServiceState(DWORD state, HRESULT exitCode = S_OK);
  // Registers the class object, resumes it and pumps messages until WM_QUIT.
  HRESULT RunServer(bool asService);

  std::wstring mServiceName;
  std::wstring mModulePath;
  std::wstring mVersion;
  CWindowsEventLogWrapper mEventLog;
  // The start-up thread's door to the credential store. Each thread has its own (so threads
  // never share one that holds a password), and a door holds a password only sealed and only
  // until the discovery pass has read it.
  CsharpInterfaceWrapper* mCredentialStore;
  // Ends a COM-started local server after its last client (mEndsWhenIdle); counts LockServer.
  std::atomic<bool> mEndsWhenIdle{false};
  service::ServerLifetime mLifetime;
  service::ProviderClassFactory mClassFactory;
  DWORD mClassCookie = 0;  // the loop thread's; 0 while the class object is not registered

  std::mutex mStatusLock;  // the handler and the service thread both report status
  SERVICE_STATUS_HANDLE mStatusHandle = nullptr;
  SERVICE_STATUS mStatus{};
  DWORD mLoopThreadId = 0;
  HRESULT mServiceResult = S_OK;
};
