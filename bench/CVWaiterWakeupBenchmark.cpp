// How quickly a waiting tool returns once the application posts the close of its tab: from the
// post on the application's connection to the return of the waiter on the tool's.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "CVPrivateSessionBus.h"
#include "link/CVDistributedNotificationCenter.h"
#include "link/CVDistributedNotificationWaiter.h"

namespace {

void BM_CloseTabNotificationToWaiterReturn(benchmark::State& state) {
    CVBusObject<sd_bus> application = CVPrivateSessionBus::shared().openConnection();
    long document = 0;
    for (auto _ : state) {
        std::string object = "document-" + std::to_string(++document);
        CVDistributedNotificationWaiter waiter(10.0, 0, "CVCloseTabNotification", std::nullopt);
        waiter.setNotificationObject(object);

        auto start = std::chrono::steady_clock::now();
        CVDistributedNotificationCenter::postNotification(application, "CVCloseTabNotification",
                                                          object, {});
        sd_bus_flush(application);
        bool received = waiter.runRunLoopUntilNotificationsReceived();
        auto elapsed = std::chrono::steady_clock::now() - start;

        if (!received) {
            state.SkipWithError("the waiter did not receive the notification");
            break;
        }
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
}
BENCHMARK(BM_CloseTabNotificationToWaiterReturn)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
