// VantorVssProvider.exe at run time under Wine: started as the service by COM activation or
// by the service control manager, serving the provider class out of process, and stopping on
// request; and, registered without the service, started by COM as a plain local server that
// ends after its last client.
#include <windows.h>
#include <objbase.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "HostHarness.h"
#include "service/win32/ComApartment.h"
#include "service/win32/KernelHandle.h"
#include "service/win32/ScHandle.h"

namespace {

using namespace hosttest;

constexpr const wchar_t* kServiceName = L"Vantor VSS Hardware Provider";
constexpr CLSID kProviderClassId = {0x08B1DE05, 0xDA78, 0x4895, {0xBA, 0xC0, 0xE5, 0x76, 0xED, 0x48, 0x3F, 0xFA}};
constexpr DWORD kStateTimeoutMs = 20000;

// Creates the provider out of process and checks that the object is there and answers.
void ExpectProviderCreatedOutOfProcess() {
  IUnknown* first = nullptr;
  IUnknown* second = nullptr;
  const HRESULT hr = CoCreateInstance(kProviderClassId, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown,
                                      reinterpret_cast<void**>(&first));
  ASSERT_EQ(hr, S_OK) << HResultText(hr);
  ASSERT_NE(first, nullptr);
  // The class object is multiple-use: a second client gets a second object from the same server.
  ASSERT_EQ(CoCreateInstance(kProviderClassId, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown,
                             reinterpret_cast<void**>(&second)),
            S_OK);
  EXPECT_NE(first, second);
  IUnknown* again = nullptr;
  EXPECT_EQ(first->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&again)), S_OK);
  EXPECT_EQ(again, first);  // COM identity holds across the process boundary
  if (again != nullptr) again->Release();
  second->Release();
  first->Release();
}

void StopService() {
  const service::ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
  const service::ScHandle handle(OpenServiceW(manager.Get(), kServiceName, SERVICE_STOP));
  ASSERT_TRUE(handle);
  SERVICE_STATUS status{};
  EXPECT_TRUE(ControlService(handle.Get(), SERVICE_CONTROL_STOP, &status)) << GetLastError();
}

// The service reaches STOPPED with success and its process ends.
void ExpectStoppedCleanly(DWORD processId) {
  service::KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, processId));
  ASSERT_TRUE(WaitForServiceState(kServiceName, SERVICE_STOPPED, kStateTimeoutMs));
  EXPECT_EQ(QueryServiceState(kServiceName)->win32ExitCode, static_cast<DWORD>(NO_ERROR));
  if (process) {
    EXPECT_EQ(WaitForSingleObject(process.Get(), kStateTimeoutMs), WAIT_OBJECT_0);
  }
}

std::vector<DWORD> ProviderProcesses() {
  std::vector<DWORD> ids;
  const service::KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry)) {
    if (_wcsicmp(entry.szExeFile, L"VantorVssProvider.exe") == 0) ids.push_back(entry.th32ProcessID);
  }
  return ids;
}

// The trace of every process of the executable. Wine starts services with %ProgramData% at
// C:\\users\\Public, other processes with C:\\ProgramData; the trace follows %ProgramData%.
std::string ReadTraces() {
  std::string all;
  for (const char* path : {"C:\\ProgramData\\Vantor Storage\\Logs\\VSSTrace.log",
                           "C:\\users\\Public\\Vantor Storage\\Logs\\VSSTrace.log"}) {
    std::ifstream file(path, std::ios::binary);
    all.append(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return all;
}

// Ends whatever provider processes are left, so that later tests start clean.
void EndProviderProcesses(const std::vector<DWORD>& servers) {
  for (const DWORD id : servers) {
    const service::KernelHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
    if (process) {
      TerminateProcess(process.Get(), 0);
      WaitForSingleObject(process.Get(), 5000);
    }
  }
}

// Polls until no provider process is left; returns those still there after ten seconds.
std::vector<DWORD> WaitForNoProviderProcess() {
  std::vector<DWORD> servers = ProviderProcesses();
  for (int waited = 0; !servers.empty() && waited < 100; ++waited) {
    Sleep(100);
    servers = ProviderProcesses();
  }
  return servers;
}

class ServiceRun : public testing::Test {
 protected:
  void SetUp() override {
    ResetHost();
    ASSERT_EQ(RunProvider(L"/Service"), 0u);
  }
};

// Started by COM activation or by the service control manager (which also hands it a user
// control it does not know), the service serves the class from one process and stops cleanly
// on request.
TEST_F(ServiceRun, ServiceStartedByComOrByTheManagerServesTheClassAndStopsOnRequest) {
  for (const bool byManager : {false, true}) {
    SCOPED_TRACE(byManager ? "started by the manager" : "started by COM activation");
    ASSERT_EQ(QueryServiceState(kServiceName)->state, static_cast<DWORD>(SERVICE_STOPPED));
    if (byManager) {
      const service::ScHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
      const service::ScHandle handle(
          OpenServiceW(manager.Get(), kServiceName, SERVICE_START | SERVICE_USER_DEFINED_CONTROL));
      ASSERT_TRUE(handle);
      ASSERT_TRUE(StartServiceW(handle.Get(), 0, nullptr)) << GetLastError();
      ASSERT_TRUE(WaitForServiceState(kServiceName, SERVICE_RUNNING, kStateTimeoutMs));
      // Windows hands back the handler's refusal; Wine answers success whatever the handler
      // said, so the trace is the evidence below.
      SERVICE_STATUS status{};
      ControlService(handle.Get(), 200, &status);
    }
    {
      const service::ComApartment com;
      ExpectProviderCreatedOutOfProcess();
    }
    const auto running = QueryServiceState(kServiceName);
    ASSERT_TRUE(running.has_value());
    EXPECT_EQ(running->state, static_cast<DWORD>(SERVICE_RUNNING));
    EXPECT_EQ(ProviderProcesses(), std::vector<DWORD>{running->processId});  // no second server
    StopService();
    ExpectStoppedCleanly(running->processId);
  }
  EXPECT_NE(ReadTraces().find("Unknown service control 200"), std::string::npos);
}

// Two clients activate the class again and again, each releasing its object at once, so that
// activations keep arriving while the server meets its last release and ends. Every one gets
// its object, at most after retrying CO_E_SERVER_STOPPING; none meets a server that is gone.
TEST_F(ServiceRun, ActivationsRacingTheLastReleaseAllGetTheirObject) {
  ASSERT_EQ(RunProvider(L"/RegServer"), 0u);
  DeleteFileW(L"C:\\ProgramData\\Vantor Storage\\Logs\\VSSTrace.log");
  constexpr int kPerClient = 100;
  std::vector<service::KernelHandle> clients;
  for (int client = 0; client < 2; ++client) {
    std::wstring commandLine = L"activation_client.exe " + std::to_wstring(kPerClient) + L" " +
                               std::to_wstring(client + 1) + L" C:\\activations-" + std::to_wstring(client) + L".txt";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessW(ActivationClientPath().c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process))
        << GetLastError();
    CloseHandle(process.hThread);
    clients.emplace_back(process.hProcess);
  }
  for (int client = 0; client < 2; ++client) {
    ASSERT_EQ(WaitForSingleObject(clients[client].Get(), 240000), WAIT_OBJECT_0);
    DWORD exitCode = 0;
    GetExitCodeProcess(clients[client].Get(), &exitCode);
    std::ifstream result("C:\\activations-" + std::to_string(client) + ".txt");
    long objects = -1, stopping = -1, revoked = -1, failures = -1;
    std::string firstFailure;
    result >> objects >> stopping >> revoked >> failures >> firstFailure;
    EXPECT_EQ(exitCode, 0u) << "client " << client;
    EXPECT_EQ(objects, kPerClient) << "client " << client;
    EXPECT_EQ(failures, 0) << "client " << client << ", first failure " << firstFailure;
    std::printf("client %d: %ld objects; retried %ld CO_E_SERVER_STOPPING, %ld revoked class objects\n", client,
                objects, stopping, revoked);
  }
  // How often the server ended meanwhile: the race was there to be lost.
  const std::string traces = ReadTraces();
  std::size_t ends = 0;
  for (std::size_t at = traces.find("the local server ends"); at != std::string::npos;
       at = traces.find("the local server ends", at + 1)) {
    ++ends;
  }
  std::printf("the local server ended %zu times\n", ends);
  EXPECT_GE(ends, 1u);
  const std::vector<DWORD> servers = WaitForNoProviderProcess();
  EXPECT_TRUE(servers.empty()) << "a local server outlived its clients";
  EndProviderProcesses(servers);
  // Started as COM starts it, but no client ever comes (it gave up, or another server answered
  // it first): the server ends by itself all the same.
  EXPECT_EQ(RunProgram(InstalledProviderPath(), L"\"" + InstalledProviderPath() + L"\" -Embedding", 15000), 0u);
}

}  // namespace
