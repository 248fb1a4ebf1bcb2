#include "array/GroupProtocols.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include "http/Deadline.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "soapH.h"
#include "soap/SoapAnswerLimits.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"VantorArray";

// A gSOAP context for one exchange: end, delete the data, free the context, on every path.
struct SoapContextRelease {
  void operator()(struct soap* soap) const {
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
  }
};
using SoapContext = std::unique_ptr<struct soap, SoapContextRelease>;

// gSOAP's timeouts bound each socket wait, so a service that trickles its answer could hold the
// query for as long as it likes. These hooks wrap gSOAP's own connect, send and receive: each
// waits at most for what is left of the exchange's deadline, and once it has passed the
// exchange fails as on a timeout.
struct ExchangeBound {
  vantor::http::Deadline deadline;
  SOAP_SOCKET (*open)(struct soap*, const char*, const char*, int);
  int (*send)(struct soap*, const char*, size_t);
  size_t (*recv)(struct soap*, char*, size_t);
};

// gSOAP reads a negative timeout as microseconds.
int MicrosecondsLeft(const ExchangeBound& bound) {
  const auto left = bound.deadline.cap(std::chrono::seconds(kGroupMgmtSoapTimeoutSeconds));
  return -static_cast<int>(std::chrono::duration_cast<std::chrono::microseconds>(left).count());
}

SOAP_SOCKET BoundedOpen(struct soap* soap, const char* endpoint, const char* host, int port) {
  const auto& bound = *static_cast<const ExchangeBound*>(soap->user);
  if (bound.deadline.passed()) {
    soap->error = SOAP_TCP_ERROR;
    return SOAP_INVALID_SOCKET;
  }
  soap->connect_timeout = MicrosecondsLeft(bound);
  return bound.open(soap, endpoint, host, port);
}

int BoundedSend(struct soap* soap, const char* data, size_t length) {
  const auto& bound = *static_cast<const ExchangeBound*>(soap->user);
  if (bound.deadline.passed()) {
    soap->errnum = 0;
    return SOAP_EOF;
  }
  soap->send_timeout = MicrosecondsLeft(bound);
  return bound.send(soap, data, length);
}

size_t BoundedRecv(struct soap* soap, char* buffer, size_t length) {
  const auto& bound = *static_cast<const ExchangeBound*>(soap->user);
  if (bound.deadline.passed()) {
    soap->errnum = 0;  // what gSOAP's own receive leaves after a timeout
    return 0;
  }
  soap->recv_timeout = MicrosecondsLeft(bound);
  return bound.recv(soap, buffer, length);
}

bool IsRestProtocol(const std::string& name) {
  static constexpr std::string_view kRest = "rest-v1";
  return name.size() == kRest.size() && std::equal(name.begin(), name.end(), kRest.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == b;
         });
}

}  // namespace

int GetProtocols(const std::string& arrayAddress, std::chrono::milliseconds budget) {
  CLogger scope(L"Vantor::Array::GetProtocols");
  const std::string endpoint = "http://" + arrayAddress + ":" + std::to_string(kGroupMgmtSoapPort) + "/soap";

  const SoapContext soap(soap_new());
  if (!soap) {
    VA_LOG(MSG_ERROR, L"SOAP error %d returned by getProtocols.", SOAP_EOM);
    return GROUP_PROTOCOLS_QUERY_FAILED;
  }
  if (!soap->namespaces) soap_set_namespaces(soap.get(), namespaces);
  soap->recv_timeout = kGroupMgmtSoapTimeoutSeconds;
  soap->send_timeout = kGroupMgmtSoapTimeoutSeconds;
  soap->connect_timeout = kGroupMgmtSoapTimeoutSeconds;
  soap->accept_timeout = kGroupMgmtSoapTimeoutSeconds;
  ApplySoapAnswerLimits(soap.get());
  ExchangeBound bound{vantor::http::Deadline::after(budget), soap->fopen, soap->fsend, soap->frecv};
  soap->user = &bound;
  soap->fopen = BoundedOpen;
  soap->fsend = BoundedSend;
  soap->frecv = BoundedRecv;

  ns__getProtocolsResponse response;
  int status = soap_call_ns__getProtocols(soap.get(), endpoint.c_str(), nullptr, response);
  std::string limit = status == SOAP_OK ? DescribeProtocolListOverLimits(response.protocol)
                                        : DescribeSoapLimitFailure(soap.get(), status);
  if (status == SOAP_OK && !limit.empty())
    status = response.protocol.size() > kMaxSoapElementCount ? SOAP_OCCURS : SOAP_LENGTH;
  if (status != SOAP_OK) {
    if (!limit.empty())
      VA_LOG(MSG_ERROR, L"The getProtocols answer of %S is refused: it is over %S.", arrayAddress, limit);
    VA_LOG(MSG_ERROR, L"SOAP error %d returned by getProtocols.", status);
    return GROUP_PROTOCOLS_QUERY_FAILED;
  }
  if (response.protocol.empty()) {
    VA_LOG(MSG_ERROR, L"getProtocols returned empty protocol list.");
    return GROUP_PROTOCOLS_NO_REST;
  }
  return std::any_of(response.protocol.begin(), response.protocol.end(), IsRestProtocol) ? GROUP_PROTOCOLS_REST
                                                                                         : GROUP_PROTOCOLS_NO_REST;
}

}  // namespace Vantor
