#pragma once
// The configuration commands: what the provider will read, adding and removing a group
// management address with its credential, and the doctor that tries each discovered group.
#include <string>

#include "Report.h"

namespace vantorvss {

int RunShowConfig(Report& report);
// Reads the password from standard input (`passwordStdin` must be set: a password on the
// command line would show in the process list); needs an elevated process. Pins the certificate
// the array presents (which must be `expectedCertificate` when that is not empty) before the
// credential is stored.
int RunAddGroup(const std::string& address, const std::string& user, bool passwordStdin,
                const std::string& expectedCertificate, Report& report);
int RunRemoveGroup(const std::string& address, Report& report);
int RunDoctor(Report& report);

}  // namespace vantorvss
