#pragma once

#include "StateNode.h"

#include <cstdint>
#include <string>

namespace trial {

// Each gives the exit status of the program.

/// Ships a log to two collectors, one of which is killed in the middle, then the agent, tells what happens, and
/// compares.
int runDemo(const std::string& folder, const std::string& log);
/// Kills and restarts three collectors and the agent at random while a log is written and rolled over, and counts what
/// arrived.
int runChaos(const std::string& folder, int seconds, shipper::StateNode::Store store, std::uint64_t seed);
/// Measures the time from the system's notice of a killed collector to the first event that another acknowledges.
int runFailOver(const std::string& folder, int rounds);

} // namespace trial
