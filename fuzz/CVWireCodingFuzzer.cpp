// The application decodes whatever arrives on the bus. The input bytes drive a generator of
// well-formed D-Bus messages of any structure (mostly record-shaped, with the record class names,
// wrong counts, wrong types, foreign D-Bus types and deep nesting); the decoder must never crash,
// and whatever it accepts must survive the keyed coding and the wire coding unchanged.
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include <stdexcept>
#include <string>

#include "model/CVKeyedCoding.h"
#include "model/CVWireCoding.h"

namespace {

const char* const kClassNames[] = {
    "CVCLISerializedDiffInvocation",
    "CVCLISerializedChangeset",
    "CVCLISerializedPartialChangeset",
    "CVCLISerializedChangesetSummary",
    "CVCLISerializedMerge",
    "CVCLISerializedFileList",
    "CVCLISerializedFile",
    "CVCLISerializedObject",
    "CVCLISerializedBogus",
};

sd_bus* theBus() {
    static sd_bus* bus = [] {
        int sockets[2];
        sd_bus* made = nullptr;
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0 ||
            sd_bus_new(&made) < 0 || sd_bus_set_fd(made, sockets[0], sockets[0]) < 0 ||
            sd_bus_start(made) < 0) {
            abort();
        }
        return made;
    }();
    return bus;
}

sd_bus_message* newMessage() {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_signal(theBus(), &message, "/x", "a.b", "c") < 0) {
        abort();
    }
    return message;
}

std::string text(FuzzedDataProvider& input) {
    std::string value = input.ConsumeRandomLengthString(24);
    for (char& character : value) {
        // Plain ASCII without NUL, so that sd-bus takes every string.
        character = static_cast<char>(1 + static_cast<unsigned char>(character) % 127);
    }
    return value;
}

void appendValue(sd_bus_message* m, FuzzedDataProvider& input, int depth);

void appendValues(sd_bus_message* m, FuzzedDataProvider& input, int depth, int count) {
    sd_bus_message_open_container(m, 'a', "v");
    for (int index = 0; index < count && input.remaining_bytes() > 0; ++index) {
        appendValue(m, input, depth + 1);
    }
    sd_bus_message_close_container(m);
}

void appendRecord(sd_bus_message* m, FuzzedDataProvider& input, int depth) {
    sd_bus_message_open_container(m, 'v', "(sav)");
    sd_bus_message_open_container(m, 'r', "sav");
    std::string name = input.ConsumeBool() ? input.PickValueInArray(kClassNames) : text(input);
    sd_bus_message_append_basic(m, 's', name.c_str());
    appendValues(m, input, depth, input.ConsumeIntegralInRange(0, 9));
    sd_bus_message_close_container(m);
    sd_bus_message_close_container(m);
}

void appendValue(sd_bus_message* m, FuzzedDataProvider& input, int depth) {
    if (depth > 40) {
        sd_bus_message_append(m, "v", "g", "");
        return;
    }
    switch (input.ConsumeIntegralInRange(0, 14)) {
        case 0:
            sd_bus_message_append(m, "v", "g", "");
            break;
        case 1:
            sd_bus_message_append(m, "v", "s", text(input).c_str());
            break;
        case 2:
            sd_bus_message_append(m, "v", "b", int(input.ConsumeBool()));
            break;
        case 3:
            sd_bus_message_append(m, "v", "i", input.ConsumeIntegral<int32_t>());
            break;
        case 4:
            sd_bus_message_append(m, "v", "x", input.ConsumeIntegral<int64_t>());
            break;
        case 5: {
            std::vector<uint8_t> bytes =
                input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange(0, 64));
            sd_bus_message_open_container(m, 'v', "ay");
            sd_bus_message_append_array(m, 'y', bytes.data(), bytes.size());
            sd_bus_message_close_container(m);
            break;
        }
        case 6:
            sd_bus_message_open_container(m, 'v', "av");
            appendValues(m, input, depth, input.ConsumeIntegralInRange(0, 4));
            sd_bus_message_close_container(m);
            break;
        case 7:
        case 8:
        case 9:
            appendRecord(m, input, depth);
            break;
        case 10:
            sd_bus_message_append(m, "v", "g", "s");
            break;
        case 11:
            sd_bus_message_append(m, "v", "u", input.ConsumeIntegral<uint32_t>());
            break;
        case 12:
            sd_bus_message_append(m, "v", "(ss)", text(input).c_str(), text(input).c_str());
            break;
        case 13:
            sd_bus_message_append(m, "v", "a{sv}", 1, "key", "s", text(input).c_str());
            break;
        default:
            sd_bus_message_append(m, "v", "as", 2, text(input).c_str(), "x");
            break;
    }
}

std::shared_ptr<CVCLISerializedObject> throughWire(const CVCLISerializedObject& record) {
    sd_bus_message* message = newMessage();
    std::shared_ptr<CVCLISerializedObject> decoded;
    if (CVWireCoding::appendInvocation(message, record) >= 0 &&
        sd_bus_message_seal(message, 1, 0) >= 0 && sd_bus_message_rewind(message, 1) >= 0) {
        decoded = CVWireCoding::readRecord(message, nullptr);
    }
    sd_bus_message_unref(message);
    return decoded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    sd_bus_message* message = newMessage();
    if (input.ConsumeIntegralInRange(0, 7) != 0) {
        appendRecord(message, input, 0);
    } else {
        appendValue(message, input, 0);
    }
    std::shared_ptr<CVCLISerializedObject> record;
    std::string why;
    if (sd_bus_message_seal(message, 1, 0) >= 0 && sd_bus_message_rewind(message, 1) >= 0) {
        record = CVWireCoding::readRecord(message, &why);
        if (!record && why.empty()) {
            __builtin_trap();
        }
    }
    sd_bus_message_unref(message);
    if (!record) {
        return 0;
    }

    try {
        (void)record->description();
    } catch (const std::out_of_range&) {
        // A file list's status outside 0 to 3 has no symbol; nothing checks it on arrival.
    }
    CVPlist keyed = CVKeyedCoding::propertyListForRecord(*record);
    auto fromKeyed = CVKeyedCoding::recordFromPropertyList(keyed.get(), &why);
    if (!fromKeyed || !fromKeyed->isEqualTo(*record)) {
        __builtin_trap();
    }
    auto again = throughWire(*record);
    if (!again || !again->isEqualTo(*record)) {
        __builtin_trap();
    }
    return 0;
}
