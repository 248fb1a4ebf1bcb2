#include "soap/SoapAnswerLimits.h"

#include "soapH.h"

namespace Vantor {

void ApplySoapAnswerLimits(struct soap* context) {
  context->recv_maxlength = kMaxSoapAnswerBytes;
  context->maxlength = kMaxSoapStringLength;
  context->maxoccurs = kMaxSoapElementCount;
  context->maxlevel = kMaxSoapNestingLevels;
}

std::string DescribeSoapLimitFailure(const struct soap* context, int status) {
  switch (status) {
    case SOAP_LENGTH:
      return "the string length limit of " + std::to_string(kMaxSoapStringLength) + " characters";
    case SOAP_OCCURS:
      return "the element count limit of " + std::to_string(kMaxSoapElementCount);
    case SOAP_LEVEL:
      return "the nesting limit of " + std::to_string(kMaxSoapNestingLevels) + " levels";
    default:
      // gSOAP ends the read with a plain end of file once the answer passes recv_maxlength.
      if (context != nullptr && context->count > kMaxSoapAnswerBytes)
        return "the answer size limit of " + std::to_string(kMaxSoapAnswerBytes) + " bytes";
      return {};
  }
}

std::string DescribeProtocolListOverLimits(const std::vector<std::string>& protocols) {
  if (protocols.size() > kMaxSoapElementCount) return DescribeSoapLimitFailure(nullptr, SOAP_OCCURS);
  for (const std::string& name : protocols) {
    if (name.size() > static_cast<std::size_t>(kMaxSoapStringLength)) return DescribeSoapLimitFailure(nullptr, SOAP_LENGTH);
  }
  return {};
}

}  // namespace Vantor
