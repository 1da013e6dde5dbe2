cvdiff_benchmark(running_applications_benchmark
                 SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVRunningApplicationBenchmark.cpp
                 LIBRARIES cv_platform)
