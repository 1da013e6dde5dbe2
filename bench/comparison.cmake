# The comparison model on generated texts: line diff, inline diff, reading a side.
cvdiff_benchmark(comparison_benchmark
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/ComparisonBenchmark.cpp
    LIBRARIES cv_app)
