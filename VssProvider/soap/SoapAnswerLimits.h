#pragma once
// Limits on the group-management service's answer. A getProtocols answer is a few hundred
// bytes; gSOAP's own defaults (2 GB messages, strings of any length) would let a service take
// the host's memory. The limits are checked by gSOAP while it reads, before anything is built.
#include <cstddef>
#include <string>
#include <vector>

struct soap;

namespace Vantor {

inline constexpr std::size_t kMaxSoapAnswerBytes = 64 * 1024;
inline constexpr long kMaxSoapStringLength = 256;
inline constexpr std::size_t kMaxSoapElementCount = 64;
inline constexpr unsigned kMaxSoapNestingLevels = 16;

// Sets the limits on a client context before its call.
void ApplySoapAnswerLimits(struct soap* context);

// After a failed call: the limit the answer went over, in words that name it ("the answer
// size limit of 65536 bytes"); empty when the failure was not a limit.
std::string DescribeSoapLimitFailure(const struct soap* context, int status);

// After a call that gSOAP accepted: the limit the protocol list goes over, as above, or empty.
// gSOAP's own length check does not hold for every malformed element (text it gathers across
// nested tags), so the list is judged again here; the answer's size bounds it either way.
std::string DescribeProtocolListOverLimits(const std::vector<std::string>& protocols);

}  // namespace Vantor
