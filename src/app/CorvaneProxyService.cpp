#include "app/CorvaneProxyService.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <exception>
#include <memory>

#include "app/CorvaneApplication.h"
#include "app/CorvaneAuthorization.h"
#include "app/CorvaneInvocationReader.h"
#include "app/CorvaneNames.h"
#include "model/CVWireCoding.h"
#include "platform/CVBusObject.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVSystemLog.h"

namespace {

void recordCall(CorvaneApplication& application, const char* member,
                const CorvaneJSON& fields = CorvaneJSON::object()) {
    application.recordCall(CVCorvaneContract::kProxyInterface, member, fields);
}

// Reads the one string argument of a call; a negative errno when there is none.
int readStringArgument(sd_bus_message* message, std::string* argument) {
    const char* text = nullptr;
    int result = sd_bus_message_read(message, "s", &text);
    if (result >= 0) {
        *argument = text;
    }
    return result;
}

int processID(sd_bus_message* message, void* userdata, sd_bus_error*) {
    recordCall(CorvaneApplication::of(userdata), "processID");
    return sd_bus_reply_method_return(message, "i", static_cast<int32_t>(getpid()));
}

int requestAuthorizationForPath(sd_bus_message* message, void* userdata, sd_bus_error*) {
    std::string path;
    int result = readStringArgument(message, &path);
    if (result < 0) {
        return result;
    }
    CorvaneApplication::of(userdata).recordCallWithArguments(CVCorvaneContract::kProxyInterface,
                                                             "requestAuthorizationForPath",
                                                             CorvaneJSON::array({path}));
    // The reply waits for the answer, which may take a person's while: the loop goes on.
    std::shared_ptr<sd_bus_message> call(sd_bus_message_ref(message), sd_bus_message_unref);
    CorvaneAuthorization::answerRequestForPath(
        path, [call](bool) { sd_bus_reply_method_return(call.get(), ""); });
    return 1;
}

int markChangesetWithUUIDAsClosed(sd_bus_message* message, void* userdata, sd_bus_error*) {
    std::string identifier;
    int result = readStringArgument(message, &identifier);
    if (result < 0) {
        return result;
    }
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    application.recordCallWithArguments(CVCorvaneContract::kProxyInterface,
                                        "markChangesetWithUUIDAsClosed",
                                        CorvaneJSON::array({identifier}));
    application.documents().closeChangeset(identifier);
    return sd_bus_reply_method_return(message, "");
}

constexpr const char* kDocumentMember = "GUIDForDocumentWithCVDiffInvocation";
using Clock = std::chrono::steady_clock;

// Answers the call with an error saying why its invocation is refused.
int refuseInvocation(CorvaneApplication& application, sd_bus_message* call,
                     const std::string& whyRefused) {
    recordCall(application, kDocumentMember, {{"error", whyRefused}});
    CVSystemLog("Refused an invocation: " + whyRefused);
    int result = sd_bus_reply_method_errorf(call, CorvaneNames::kInvalidInvocationError, "%s",
                                            whyRefused.c_str());
    return result < 0 ? result : 1;
}

// Opens the invocation's document and answers the call with its identifier.
int answerInvocation(CorvaneApplication& application, sd_bus_message* call,
                     CorvaneInvocationReader::Invocation invocation, Clock::time_point start) {
    const CorvaneDocument& document =
        application.documents().openDocumentForRequest(std::move(invocation.request));

    CVBusObject<sd_bus_message> reply;
    int result = sd_bus_message_new_method_return(call, reply.out());
    if (result >= 0) {
        result = CVWireCoding::appendStringOrNil(reply, document.GUID);
    }
    std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;
    // Journaled before the reply goes out, so that a caller that has its answer finds the line.
    // Rendering a large changeset as JSON is not free: only for a journal that is written.
    if (application.journal().isOpen()) {
        recordCall(application, kDocumentMember,
                   {{"invocation", CorvaneJSONForRecord(*invocation.record)},
                    {"reply", document.GUID},
                    {"document", document.json()},
                    {"microseconds", std::round(elapsed.count() * 10) / 10}});
    }
    if (result >= 0) {
        result = sd_bus_send(nullptr, reply, nullptr);
    }
    // The window learns of the document only once the caller has its answer: opening a tab,
    // reading and comparing never delay the reply.
    if (result >= 0 && application.presenter() != nullptr) {
        application.presenter()->documentDidChange(document);
    }
    return result < 0 ? result : 1;
}

// A call whose invocation streams in through a socket: read whenever the socket has bytes, between
// the application's other work, and answered when the stream ends.
class StreamedCall {
public:
    // Takes the call over, reading from a copy of the descriptor.
    static int receive(CorvaneApplication& application, sd_bus_message* call, int descriptor,
                       Clock::time_point start) {
        int type = 0;
        socklen_t length = sizeof type;
        if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) != 0 ||
            type != SOCK_STREAM) {
            return refuseInvocation(application, call, "the stream is not a stream socket");
        }
        int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
        if (copy < 0) {
            return refuseInvocation(application, call,
                                    std::string("the stream cannot be read: ") + strerror(errno));
        }
        auto* streamed = new StreamedCall(application, call, copy, start);
        sd_event_source* source = nullptr;
        int result =
            sd_event_add_io(application.event(), &source, copy, EPOLLIN, readable, streamed);
        if (result >= 0) {
            // The loop owns the source, and the source the call, also when the loop ends first.
            sd_event_source_set_destroy_callback(source, destroy);
            sd_event_source_set_floating(source, 1);
            sd_event_source_unref(source);
            return 1;
        }
        delete streamed;
        return refuseInvocation(application, call,
                                std::string("the stream cannot be read: ") + strerror(-result));
    }

    StreamedCall(const StreamedCall&) = delete;
    StreamedCall& operator=(const StreamedCall&) = delete;
    ~StreamedCall() { close(descriptor_); }

private:
    // Reads at most this much before the loop runs other work again.
    static constexpr size_t kReadSize = 1 << 20;
    static constexpr int kReadsAtOnce = 8;

    StreamedCall(CorvaneApplication& application, sd_bus_message* call, int descriptor,
                 Clock::time_point start)
        : application_(application),
          call_(sd_bus_message_ref(call)),
          descriptor_(descriptor),
          start_(start),
          invocation_(application.journal().isOpen()) {}

    static void destroy(void* userdata) { delete static_cast<StreamedCall*>(userdata); }

    static int readable(sd_event_source* source, int, uint32_t, void* userdata) {
        auto& streamed = *static_cast<StreamedCall*>(userdata);
        std::optional<int> answered;
        try {
            answered = streamed.read();
        } catch (const std::exception& exception) {
            // Nothing thrown may cross the event loop: a stream too large to hold is refused.
            answered =
                refuseInvocation(streamed.application_, streamed.call_,
                                 std::string("the stream cannot be read: ") + exception.what());
        }
        if (answered) {
            // The loop lets go of the source, which is freed, and with it the call, once this
            // dispatch is over.
            sd_event_source_set_enabled(source, SD_EVENT_OFF);
            sd_event_source_set_floating(source, 0);
        }
        return 0;
    }

    // Reads what the socket holds; the result of answering once the call is answered.
    std::optional<int> read() {
        buffer_.resize(kReadSize);
        std::string whyRefused;
        for (int time = 0; time < kReadsAtOnce; ++time) {
            // Not blocking for this read only: the socket's other holders keep their mode.
            ssize_t count = recv(descriptor_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return std::nullopt;
            }
            if (count < 0) {
                return refuseInvocation(application_, call_,
                                        std::string("the stream broke: ") + strerror(errno));
            }
            if (count == 0) {
                auto invocation = invocation_.finish(&whyRefused);
                return invocation
                           ? answerInvocation(application_, call_, std::move(*invocation), start_)
                           : refuseInvocation(application_, call_, whyRefused);
            }
            if (!invocation_.append(std::string_view(buffer_.data(), size_t(count)), &whyRefused)) {
                return refuseInvocation(application_, call_, whyRefused);
            }
        }
        return std::nullopt;
    }

    CorvaneApplication& application_;
    CVBusObject<sd_bus_message> call_;
    int descriptor_;
    Clock::time_point start_;
    CorvaneInvocationReader::StreamedInvocation invocation_;
    std::string buffer_;
};

int GUIDForDocumentWithCVDiffInvocation(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto start = Clock::now();
    CorvaneApplication& application = CorvaneApplication::of(userdata);
    int descriptor = -1;
    int streamed = CVWireCoding::readPackedStream(message, &descriptor);
    if (streamed > 0) {
        return StreamedCall::receive(application, message, descriptor, start);
    }
    std::string whyRefused;
    try {
        auto invocation = CorvaneInvocationReader::readInvocation(message, &whyRefused);
        if (invocation) {
            return answerInvocation(application, message, std::move(*invocation), start);
        }
    } catch (const std::exception& exception) {
        whyRefused = std::string("the invocation cannot be read: ") + exception.what();
    }
    return refuseInvocation(application, message, whyRefused);
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("processID", "", "i", processID, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("requestAuthorizationForPath", "s", "", requestAuthorizationForPath,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GUIDForDocumentWithCVDiffInvocation", "v", "v",
                  GUIDForDocumentWithCVDiffInvocation, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("markChangesetWithUUIDAsClosed", "s", "", markChangesetWithUUIDAsClosed,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

}  // namespace

namespace CorvaneProxyService {

int add(sd_bus* bus, CorvaneApplication& application, sd_bus_slot** slot) {
    return sd_bus_add_object_vtable(bus, slot, CVCorvaneContract::kProxyObjectPath,
                                    CVCorvaneContract::kProxyInterface, kVtable, &application);
}

}  // namespace CorvaneProxyService
