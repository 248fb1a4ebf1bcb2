// The process's one gSOAP namespace table (the global `namespaces` that the gSOAP runtime looks
// up when a context has none of its own). Programs that link vantor_soap_client get it from
// here and must not include GroupMgmt.nsmap themselves.
#include "soapH.h"

#include "GroupMgmt.nsmap"
