#include "platform/CVProcessName.h"

#include <errno.h>

const std::string& CVProcessName() {
    // glibc keeps the base name of argv[0] from before main.
    static const std::string name = program_invocation_short_name;
    return name;
}
