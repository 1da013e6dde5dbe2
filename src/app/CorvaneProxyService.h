#pragma once

#include <systemd/sd-bus.h>

class CorvaneApplication;

// The proxy protocol the tool calls (CVCLIProxyProtocol at /com/corvane/Corvane/cvdiff).
namespace CorvaneProxyService {

// Exports the protocol on the bus for the application; a negative errno on failure.
int add(sd_bus* bus, CorvaneApplication& application, sd_bus_slot** slot);

}  // namespace CorvaneProxyService
