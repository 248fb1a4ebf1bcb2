#include "array/GroupProtocols.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "soapH.h"

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

bool IsRestProtocol(const std::string& name) {
  static constexpr std::string_view kRest = "rest-v1";
  return name.size() == kRest.size() && std::equal(name.begin(), name.end(), kRest.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == b;
         });
}

}  // namespace

int GetProtocols(const std::string& arrayAddress) {
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

  ns__getProtocolsResponse response;
  const int status = soap_call_ns__getProtocols(soap.get(), endpoint.c_str(), nullptr, response);
  if (status != SOAP_OK) {
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
