// Owns the bus name given as its argument on the session bus, then serves until it is killed.
#include <systemd/sd-bus.h>

#include <cstdint>

int main(int argc, char** argv) {
    sd_bus* bus = nullptr;
    if (argc != 2 || sd_bus_open_user(&bus) < 0 || sd_bus_request_name(bus, argv[1], 0) < 0) {
        return 1;
    }
    while (sd_bus_process(bus, nullptr) >= 0) {
        sd_bus_wait(bus, UINT64_MAX);
    }
    return 0;
}
