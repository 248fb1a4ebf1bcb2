#pragma once
// The TLS side of the REST servers: a self-signed certificate made when the first simulator of
// the process starts (an RSA key takes a moment; every group may share it), TLS 1.2 or later.

#include <Poco/Net/Context.h>

namespace arraysim {

Poco::Net::Context::Ptr makeServerTlsContext();

}  // namespace arraysim
