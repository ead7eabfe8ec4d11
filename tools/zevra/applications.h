#ifndef ZEVRA_TOOLS_ZEVRA_APPLICATIONS_H
#define ZEVRA_TOOLS_ZEVRA_APPLICATIONS_H

#include <string>
#include <vector>

#include "tools/zevra/device.h"
#include "tools/zevra/endpoint_facts.h"

namespace zevra::command {

// The name by which the library opens what an application plays.
std::string ApplicationEndpoint(const std::string& application);

// Of the streams that applications play, named as the library opens them. Empty where the sound
// server does not answer.
std::vector<EndpointFacts> FindApplicationFacts();

// Opens what the application of `choice` plays; Failure where none of that name plays.
Device OpenApplication(const Session& session, const EndpointChoice& choice);

// Prints what applications play, as a table or as JSON.
void PrintApplications(bool json);

}  // namespace zevra::command

#endif
