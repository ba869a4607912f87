// The bodies of the requests this client sends. Each returns the serialised envelope.
#pragma once

#include <string>

#include "wsman/Channel.h"
#include "wsman/soap/Envelope.h"

namespace wsman::soap {

// Enumerate with w:OptimizeEnumeration and w:MaxElements so the first items come back in the response;
// the filter goes into w:Filter with its dialect (omitted when the filter is empty).
std::string BuildEnumerateRequest(const RequestHeader& header, const std::string& filter,
                                  const std::string& dialect, long maxElements);

// Pull with the same MaxElements as the Enumerate (as n:MaxElements); Windows faults otherwise.
std::string BuildPullRequest(const RequestHeader& header, const std::string& context, long maxElements);

std::string BuildReleaseRequest(const RequestHeader& header, const std::string& context);

// Invoke: the method's input element (caller's XML text) is parsed and embedded as the body.
// Fails with kBlankInputXml for empty input and kInvalidXml for input that is not well-formed.
HResult BuildInvokeRequest(const RequestHeader& header, const std::string& inputXml, std::string& envelope);

}  // namespace wsman::soap
