// The application reads a large changeset's stream from whichever process made the call. The
// input is that stream, after a first byte that says where its reads are cut; the reader must
// never crash, must decide the same however the bytes arrive, and whatever it accepts must pack
// back into the frames it came in.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "model/CVCLISerializedFileList.h"
#include "model/CVPackedCoding.h"

namespace {

struct Outcome {
    bool accepted = false;
    bool ended = false;
    std::string whyRefused;
    std::string repacked;
};

Outcome read(std::string_view stream, size_t piece) {
    CVPackedCoding::StreamReader reader;
    Outcome outcome{.accepted = true};
    std::string lists;
    for (size_t offset = 0; offset < stream.size() && outcome.accepted; offset += piece) {
        outcome.accepted = reader.append(stream.substr(offset, piece));
        for (const auto& list : reader.takeFileLists()) {
            if (!CVPackedCoding::appendRecord(&lists, *list)) {
                abort();  // accepted values are values that can be coded
            }
        }
    }
    outcome.ended = reader.isEnded();
    outcome.whyRefused = reader.whyRefused();
    if (outcome.accepted && reader.root()) {
        outcome.repacked = *CVPackedCoding::pack(*reader.root()) + lists;
    }
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
    Outcome whole = read(stream, stream.size() + 1);
    Outcome pieces = read(stream, size_t(data[0] % 64) + 1);
    if (whole.accepted != pieces.accepted || whole.ended != pieces.ended ||
        whole.whyRefused != pieces.whyRefused || whole.repacked != pieces.repacked) {
        abort();
    }
    return 0;
}
