cvdiff_benchmark(waiter_wakeup_benchmark
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVWaiterWakeupBenchmark.cpp
    LIBRARIES cv_link cv_model cv_platform)
# The private bus of the link tests.
target_include_directories(waiter_wakeup_benchmark PRIVATE ${PROJECT_SOURCE_DIR}/tests/link)
