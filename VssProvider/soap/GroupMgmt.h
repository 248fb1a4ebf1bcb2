// Interface of the array's group-management service, the input of soapcpp2. The client proxy
// (provider) and the server skeleton (array simulator) are both generated from it at build time.
// Child elements of the messages are unqualified; only the operation elements carry the
// service namespace.

//gsoap ns service name: GroupMgmt
//gsoap ns service namespace: urn:vantor:groupmgmt:1
//gsoap ns service location: http://localhost:4210/soap
//gsoap ns service style: document
//gsoap ns service encoding: literal
//gsoap ns schema namespace: urn:vantor:groupmgmt:1
//gsoap ns schema form: unqualified

#include <vector>
template <class T> class std::vector;

// <ns:getProtocolsResponse><protocol>soap-v1</protocol>...</ns:getProtocolsResponse>
class ns__getProtocolsResponse {
  public:
    std::vector<std::string> protocol 0;
};

//gsoap ns service method-action: getProtocols ""
// The request is the empty element <ns:getProtocols/>. Client side:
//   ns__getProtocolsResponse r;
//   soap_call_ns__getProtocols(soap, "http://ADDRESS:4210/soap", nullptr, r);
int ns__getProtocols(ns__getProtocolsResponse& response);
