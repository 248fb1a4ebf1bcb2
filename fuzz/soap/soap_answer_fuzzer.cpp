// The group-management service's answer to getProtocols as the provider reads it, with the
// provider's answer limits: whatever the bytes (HTTP head and SOAP envelope), the call ends
// with an answer or a refusal without reading past the size limit, and the provider's own
// check of an accepted list runs on it without harm.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "soap/SoapAnswerLimits.h"
#include "soapH.h"

namespace {

struct Feed {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t at = 0;
};

// No network: the answer comes from the fuzzer's bytes, in uneven pieces as a socket gives
// them; nothing is sent and no socket is ever closed.
constexpr SOAP_SOCKET kNoSocket = 1 << 20;
SOAP_SOCKET Open(struct soap*, const char*, const char*, int) { return kNoSocket; }
int Send(struct soap*, const char*, std::size_t) { return SOAP_OK; }
int Close(struct soap*) { return SOAP_OK; }
std::size_t Receive(struct soap* soap, char* buffer, std::size_t length) {
  auto& feed = *static_cast<Feed*>(soap->user);
  const std::size_t piece = std::min({length, feed.size - feed.at, static_cast<std::size_t>(1 + feed.at % 1000)});
  std::copy_n(feed.data + feed.at, piece, buffer);
  feed.at += piece;
  return piece;
}

struct ContextRelease {
  void operator()(struct soap* soap) const {
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::unique_ptr<struct soap, ContextRelease> soap(soap_new());
  if (!soap) return 0;
  if (!soap->namespaces) soap_set_namespaces(soap.get(), namespaces);
  Vantor::ApplySoapAnswerLimits(soap.get());
  Feed feed{data, size};
  soap->user = &feed;
  soap->fopen = Open;
  soap->fsend = Send;
  soap->frecv = Receive;
  soap->fclose = Close;
  ns__getProtocolsResponse response;
  const int status = soap_call_ns__getProtocols(soap.get(), "http://array.invalid:4210/soap", nullptr, response);
  // gSOAP reads at most one buffer beyond the limit before it stops.
  if (feed.at > Vantor::kMaxSoapAnswerBytes + SOAP_BUFLEN) std::abort();
  if (status == SOAP_OK) static_cast<void>(Vantor::DescribeProtocolListOverLimits(response.protocol));
  return 0;
}
