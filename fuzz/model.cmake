cvdiff_fuzzer(bookmark_fuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVBookmarkFuzzer.cpp
    LIBRARIES cv_platform)
cvdiff_fuzzer(wire_coding_fuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVWireCodingFuzzer.cpp
    LIBRARIES cv_model)
cvdiff_fuzzer(packed_stream_fuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVPackedStreamFuzzer.cpp
    LIBRARIES cv_model)
