# The round trip of one call to a warm reference application on a private bus (needs the test
# bed, so only in builds with tests).
if(TARGET cv_test_support AND TARGET Corvane)
    cvdiff_benchmark(app_round_trip_benchmark
        SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/CorvaneRoundTripBenchmark.cpp
        LIBRARIES cv_model cv_test_support)
    add_dependencies(app_round_trip_benchmark Corvane)
endif()

cvdiff_benchmark(changeset_items_benchmark
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/ChangesetItemsBenchmark.cpp
    LIBRARIES cv_app)
cvdiff_benchmark(StreamedInvocationBenchmark
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/StreamedInvocationBenchmark.cpp
    LIBRARIES cv_app)
if(TARGET mimalloc)
    # The allocator the application runs with.
    target_link_libraries(StreamedInvocationBenchmark PRIVATE mimalloc)
endif()
