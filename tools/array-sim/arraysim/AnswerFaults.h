#pragma once
// The faults that shape an answer the array really gives: an attribute of the wrong JSON type
// or left out, a list grown far beyond what was asked, a body trickled out slowly, and an
// answer lost after the work was done.

#include "arraysim/Simulator.h"

#include <Poco/Net/HTTPServerResponse.h>
#include <nlohmann/json.hpp>

namespace arraysim {

class ArrayState;

// True when the fault changes or withholds the answer of a request that was carried out.
bool shapesAnswer(const FaultSpec& fault);

// Applies wrong_type, omit and oversize to a successful answer's body. Attributes are changed
// in every object of the body that carries them, however deep; the list that oversize grows is
// `data` when that is a list, else the first list among `data`'s members (in name order).
void shapeAnswerBody(const FaultSpec& fault, nlohmann::json& body);

// Sends the answer with its body in pieces of trickleBytes, trickleMs apart. False when the
// simulator began to stop meanwhile (the connection is then dropped).
bool sendTrickled(ArrayState& state, const FaultSpec& fault, Poco::Net::HTTPServerResponse& response, int status,
                  const nlohmann::json& body);

// True when the fault replaces the answer by a generated one (flood_bytes, nest_depth).
bool generatesAnswer(const FaultSpec& fault);

// Sends the generated answer, chunked (no length announced): a 200 whose body is flood_bytes
// long (one JSON string member padded to that size) or nest_depth lists deep, made piece by
// piece while it goes out. Ends quietly when the client goes away or the simulator stops.
void sendGenerated(ArrayState& state, const FaultSpec& fault, Poco::Net::HTTPServerResponse& response);

}  // namespace arraysim
