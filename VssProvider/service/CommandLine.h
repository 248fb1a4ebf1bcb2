#pragma once
// The switches of VantorVssProvider.exe. A switch is a word introduced by "-" or "/" and is
// matched without regard to case; the first word that names a switch decides. Anything else
// (including COM's "-Embedding") leaves the module to run.
#include <string_view>

namespace service {

enum class ServiceCommand {
  Run,                 // as the service when the SCM started us, otherwise as a COM local server
  UnregServer,
  RegServer,
  UnregServerPerUser,
  RegServerPerUser,
  Service,             // RegServer plus the service installation
};

ServiceCommand ParseServiceCommandLine(std::wstring_view arguments);

// The switch's own spelling ("RegServer"), "Run" for Run; for log lines.
const wchar_t* ServiceCommandName(ServiceCommand command);

}  // namespace service
