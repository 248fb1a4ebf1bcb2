#include "array/RestSdkInit.h"

#include <exception>
#include <memory>
#include <stdexcept>

#include "array/RestSdkLogger.h"
#include "logger/FileLog.h"
#include "restsdk/ApiLibrary.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"RestCall";

// Set once the library accepted our logger; never released, the library holds it for the
// process's life.
std::shared_ptr<RestSdkLogger>& ProcessRestSdkLogger() {
  static std::shared_ptr<RestSdkLogger> logger;
  return logger;
}

}  // namespace

void InitRestSDK(const std::string& appName) {
  auto& library = VantorStorage::WS::ApiLibrary::getInstance();
  auto& logger = ProcessRestSdkLogger();
  if (logger) {
    VA_LOG(MSG_INFO, L"Subsequent call to InitRestSDK(%S). Current App Name: %S", appName, library.getAppName());
    return;
  }
  logger = std::make_shared<RestSdkLogger>();
  try {
    library.initialize("", logger, appName, true);
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"InitRestSDK(%S): ApiLibrary::initialize() failed. Reason: (%S).", appName, e.what());
    logger.reset();
    throw std::runtime_error(e.what());
  }
  VA_LOG(MSG_INFO, L"InitRestSDK(%S): ApiLibrary::initialize() succeeded.", appName);
}

}  // namespace Vantor
