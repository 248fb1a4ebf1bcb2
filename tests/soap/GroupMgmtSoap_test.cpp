// The generated group-management client against a simulated group: the protocol list, an
// empty list, a SOAP fault and a connection closed without an answer.

#include "arraysim/Simulator.h"

#include "soapH.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct ContextDeleter {
    void operator()(struct soap* context) const {
        soap_destroy(context);
        soap_end(context);
        soap_free(context);
    }
};
using SoapContext = std::unique_ptr<struct soap, ContextDeleter>;

int getProtocols(const arraysim::GroupInfo& group, std::vector<std::string>& protocols, SoapContext& context) {
    context.reset(soap_new());
    context->connect_timeout = 5;
    context->recv_timeout = 5;
    ns__getProtocolsResponse response;
    const int result = soap_call_ns__getProtocols(context.get(), group.soapUrl().c_str(), nullptr, response);
    protocols = response.protocol;
    return result;
}

TEST(GroupMgmtSoap, ClientReadsProtocolsEmptyListsAndFaults) {
    arraysim::Simulator sim;
    arraysim::GroupSpec spec;
    spec.name = "grp-soap";
    const arraysim::GroupInfo group = sim.addGroup(spec);
    SoapContext context;
    std::vector<std::string> protocols;

    ASSERT_EQ(getProtocols(group, protocols, context), SOAP_OK);
    EXPECT_EQ(protocols, (std::vector<std::string>{"soap-v1", "rest-v1"}));

    sim.setSoapProtocols(group.id, {});
    ASSERT_EQ(getProtocols(group, protocols, context), SOAP_OK);
    EXPECT_TRUE(protocols.empty());

    arraysim::FaultSpec fault;
    fault.group = group.id;
    fault.op = "soap";
    fault.code = "SOAP-ENV:Server";
    fault.text = "Management service unavailable";
    sim.injectFault(fault);
    ASSERT_EQ(getProtocols(group, protocols, context), SOAP_SVR_FAULT);
    EXPECT_STREQ(*soap_faultstring(context.get()), "Management service unavailable");
    EXPECT_STREQ(*soap_faultcode(context.get()), "SOAP-ENV:Server");

    fault.code.clear();
    fault.text.clear();
    fault.drop = true;
    sim.injectFault(fault);
    EXPECT_NE(getProtocols(group, protocols, context), SOAP_OK);

    fault.drop = false;
    fault.malformed = true;
    sim.injectFault(fault);
    EXPECT_NE(getProtocols(group, protocols, context), SOAP_OK);

    EXPECT_EQ(sim.requestCount(group.id, "soap"), 5);
}

}  // namespace
