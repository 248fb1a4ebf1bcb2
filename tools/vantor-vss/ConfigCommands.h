#pragma once
// The configuration commands: what the provider will read, adding and removing a group
// management address with its credential, and the doctor that tries each discovered group.
#include <string>

#include "Report.h"

namespace vantorvss {

int RunShowConfig(Report& report);
int RunAddGroup(const std::string& address, const std::string& user, const std::string& password, Report& report);
int RunRemoveGroup(const std::string& address, Report& report);
int RunDoctor(Report& report);

}  // namespace vantorvss
