# Walking up a chain of real processes the way the caller classification does (with the tests'
# process helper, so only when the tests are built).
if(TARGET cv_process_test_support)
    cvdiff_benchmark(ZPProcessInformationBenchmark
                     SOURCES ${CMAKE_CURRENT_LIST_DIR}/ZPProcessInformationBenchmark.cpp
                     LIBRARIES cv_process cv_process_test_support)
endif()
