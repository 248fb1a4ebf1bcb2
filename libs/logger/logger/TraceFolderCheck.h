#pragma once
// The trace folder is written, and its files renamed and deleted, by the service's account: a
// folder that someone else made or redirected would let those acts land on any file. Before
// the trace opens, the folder, its parent and every trace file of the component in it are
// checked (platform/FileTrust.h); a refused folder gets no trace at all.
#include <filesystem>
#include <string>

namespace logger {

// Empty when the trace of `component` may be written in `folder`; otherwise why not.
std::string TraceFolderRefusal(const std::filesystem::path& folder, const std::wstring& component);

// Event 0 ("%1"), once per process, when the last InitializeLogging refused the trace folder;
// for the owner of the event log to call once its wrapper is ready.
void ReportRefusedTraceFolder();

}  // namespace logger
