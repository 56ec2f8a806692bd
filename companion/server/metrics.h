#pragma once

#include <cstdint>
#include <string>

#include "companion/server/core/counters.h"

namespace tovalin::server {

struct ProcessFigures {
  double uptimeSeconds = 0;
  uint64_t residentBytes = 0;
};

// The figures in the text format that Prometheus reads.
std::string metricsText(const Counters& counters, const Gauges& gauges,
                        const ProcessFigures& process);

// Memory of this process that is in RAM; 0 where /proc does not tell.
uint64_t residentBytes();

}  // namespace tovalin::server
