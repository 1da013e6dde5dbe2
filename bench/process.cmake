# Walking up a chain of real processes the way the caller classification does.
add_executable(process_bench_helper ${PROJECT_SOURCE_DIR}/tests/process/ProcessTestHelper.cpp)
add_library(cv_process_bench_support STATIC ${PROJECT_SOURCE_DIR}/tests/process/TestProcess.cpp)
target_include_directories(cv_process_bench_support PUBLIC ${PROJECT_SOURCE_DIR}/tests/process)
target_compile_definitions(cv_process_bench_support PRIVATE
    PROCESS_TEST_HELPER_PATH="$<TARGET_FILE:process_bench_helper>")
add_dependencies(cv_process_bench_support process_bench_helper)

cvdiff_benchmark(ZPProcessInformationBenchmark
                 SOURCES ${CMAKE_CURRENT_LIST_DIR}/ZPProcessInformationBenchmark.cpp
                 LIBRARIES cv_process cv_process_bench_support)
