// disks: the host's disks as VSS would pass them, and whether the provider supports each.
#include "Commands.h"
#include "LunCatalog.h"
#include "wincompat/WideString.h"

namespace vantorvss {

namespace {

int RunDisks(Report& report) {
  VssRun vss;
  nlohmann::json list = nlohmann::json::array();
  for (const auto& disk : ListHostDisks()) {
    LunArray luns;
    luns.Add(ToLunInformation(disk));
    std::wstring device = disk.device;
    VSS_PWSZ devices[] = {device.data()};
    const bool supported = vss.AreLunsSupported(0, 1, devices, luns.data());
    const std::string deviceText = wincompat::ToNarrow(disk.device);
    report.notes.push_back(deviceText + "  " + disk.vendor + " " + disk.product + " " + disk.serial +
                           (supported ? "  supported" : "  not supported"));
    list.push_back({{"device", deviceText}, {"vendor", disk.vendor}, {"product", disk.product},
                    {"serial", disk.serial}, {"supported", supported}});
  }
  report.extra["disks"] = list;
  return FinishRun(vss, report);
}

}  // namespace

void AddDisksCommand(CLI::App& app, CommandAction& chosen) {
  auto* command = app.add_subcommand("disks", "the host's disks as VSS would pass them, and whether each is supported");
  command->callback([&chosen] { chosen = [](const CommandContext&, Report& report) { return RunDisks(report); }; });
}

}  // namespace vantorvss
