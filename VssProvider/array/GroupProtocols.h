#pragma once
// The one question the provider asks the array's older group-management service (SOAP,
// http://ADDRESS:4210/soap): which management protocols the array offers. It tells whether
// the array speaks the REST interface at all.
#include <chrono>
#include <string>

namespace Vantor {

enum GroupProtocolsAnswer : int {
  GROUP_PROTOCOLS_REST = 0,          // the list holds "rest-v1" (any case)
  GROUP_PROTOCOLS_QUERY_FAILED = 1,  // no answer, a SOAP fault, or a transport error
  GROUP_PROTOCOLS_NO_REST = 2,       // an answer without "rest-v1", also an empty one
};

inline constexpr int kGroupMgmtSoapPort = 4210;
inline constexpr int kGroupMgmtSoapTimeoutSeconds = 30;

// Asks the group at `arrayAddress`; never throws. The whole exchange (connect, request,
// answer) is over within `budget`, however slowly the service answers.
int GetProtocols(const std::string& arrayAddress,
                 std::chrono::milliseconds budget = std::chrono::seconds(kGroupMgmtSoapTimeoutSeconds));

}  // namespace Vantor
