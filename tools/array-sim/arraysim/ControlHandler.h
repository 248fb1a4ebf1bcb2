#pragma once
// The simulator's control API (/control/...) and the emulated hosts' channel (/host/...), on
// plain HTTP at 127.0.0.1. Both are thin: every request becomes one call of the Simulator.

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

namespace arraysim {

class Simulator;

class ControlHandler {
public:
    explicit ControlHandler(Simulator& simulator) : mSimulator(simulator) {}
    void operator()(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) const;

private:
    Simulator& mSimulator;
};

}  // namespace arraysim
