#include "restsdk/ApiLibrary.h"

#include "restsdk/Exceptions.h"

namespace VantorStorage::WS {

ApiLibrary& ApiLibrary::getInstance() {
  static ApiLibrary instance;
  return instance;
}

void ApiLibrary::initialize(const std::string& userAgent, std::shared_ptr<VantorApiLogger> logger,
                            const std::string& appName, bool traceRequests) {
  if (appName.empty()) throw ApiException("ApiLibrary::initialize: the application name must not be empty");
  const std::lock_guard<std::mutex> lock(mMutex);
  mUserAgent = userAgent;
  mLogger = std::move(logger);
  mAppName = appName;
  mTraceRequests = traceRequests;
  mInitialized = true;
}

bool ApiLibrary::isInitialized() const {
  const std::lock_guard<std::mutex> lock(mMutex);
  return mInitialized;
}

std::string ApiLibrary::getAppName() const {
  const std::lock_guard<std::mutex> lock(mMutex);
  return mAppName;
}

std::string ApiLibrary::getUserAgent() const {
  const std::lock_guard<std::mutex> lock(mMutex);
  return mUserAgent.empty() ? std::string("VantorStorage-WS/1.0") : mUserAgent;
}

bool ApiLibrary::getTraceRequests() const {
  const std::lock_guard<std::mutex> lock(mMutex);
  return mTraceRequests;
}

std::shared_ptr<VantorApiLogger> ApiLibrary::getLogger() const {
  const std::lock_guard<std::mutex> lock(mMutex);
  return mLogger;
}

void ApiLibrary::setTransportFactory(TransportFactory factory) {
  const std::lock_guard<std::mutex> lock(mMutex);
  mTransportFactory = std::move(factory);
}

std::unique_ptr<vantor::http::Connection> ApiLibrary::createConnection() const {
  TransportFactory factory;
  {
    const std::lock_guard<std::mutex> lock(mMutex);
    factory = mTransportFactory;
  }
  if (factory) {
    std::unique_ptr<vantor::http::Connection> connection = factory();
    if (!connection) throw ApiException("the transport factory returned no connection");
    return connection;
  }
  return vantor::http::createConnection();
}

void ApiLibrary::setCertificateProbe(CertificateProbe probe) {
  const std::lock_guard<std::mutex> lock(mMutex);
  mCertificateProbe = std::move(probe);
}

std::string ApiLibrary::presentedCertificate(const std::string& host, std::uint16_t port) const {
  CertificateProbe probe;
  {
    const std::lock_guard<std::mutex> lock(mMutex);
    probe = mCertificateProbe;
  }
  return probe ? probe(host, port) : vantor::http::presentedCertificateSha256(host, port);
}

}  // namespace VantorStorage::WS
