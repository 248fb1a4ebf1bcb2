#pragma once
// Process-wide settings of the library: the application name sent when a session is opened,
// the log sink, and (for tests) the transport that new clients use.
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "http/Transport.h"
#include "restsdk/VantorApiLogger.h"

namespace VantorStorage::WS {

class ApiLibrary {
 public:
  using TransportFactory = std::function<std::unique_ptr<vantor::http::Connection>()>;
  using CertificateProbe = std::function<std::string(const std::string& host, std::uint16_t port)>;

  static ApiLibrary& getInstance();

  // userAgent: the User-Agent header of every request (empty: the library's own).
  // logger: where the library logs (may be null: no log).
  // appName: sent as "app_name" when a session is opened; shows in the array's audit log.
  // traceRequests: log one debug line per request (method, path, status, milliseconds).
  // May be called again; the later call replaces the settings. Throws ApiException when
  // appName is empty.
  void initialize(const std::string& userAgent, std::shared_ptr<VantorApiLogger> logger, const std::string& appName,
                  bool traceRequests);

  bool isInitialized() const;
  std::string getAppName() const;
  std::string getUserAgent() const;
  bool getTraceRequests() const;
  std::shared_ptr<VantorApiLogger> getLogger() const;

  // Clients created after this call use `factory` for their connection (a fake transport in
  // unit tests). An empty factory restores the real network transport.
  void setTransportFactory(TransportFactory factory);
  std::unique_ptr<vantor::http::Connection> createConnection() const;

  // The lower-case hex SHA-256 of the certificate the TLS server at host:port presents, read
  // by a handshake alone: no request is sent. Through `probe` once one is set (unit tests; an
  // empty one restores the network). Throws when no handshake completes.
  void setCertificateProbe(CertificateProbe probe);
  std::string presentedCertificate(const std::string& host, std::uint16_t port) const;

  ApiLibrary(const ApiLibrary&) = delete;
  ApiLibrary& operator=(const ApiLibrary&) = delete;

 private:
  ApiLibrary() = default;
  mutable std::mutex mMutex;
  bool mInitialized = false;
  std::string mUserAgent;
  std::shared_ptr<VantorApiLogger> mLogger;
  std::string mAppName;
  bool mTraceRequests = false;
  TransportFactory mTransportFactory;
  CertificateProbe mCertificateProbe;
};

}  // namespace VantorStorage::WS
