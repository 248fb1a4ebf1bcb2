#include "array/RestSdkLogger.h"

#include "logger/FileLog.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"RestSdkLogger";

void Write(MSG_CATEGORY category, const std::string& message) { VA_LOG(category, L"%S%S", "RestSdk: ", message); }

}  // namespace

void RestSdkLogger::logDebug(const std::string& message) { Write(MSG_DEBUG, message); }
void RestSdkLogger::logInfo(const std::string& message) { Write(MSG_INFO, message); }
void RestSdkLogger::logError(const std::string& message) { Write(MSG_ERROR, message); }
void RestSdkLogger::logWarning(const std::string& message) { Write(MSG_WARNING, message); }
void RestSdkLogger::logFatal(const std::string& message) { Write(MSG_ERROR, message); }

}  // namespace Vantor
