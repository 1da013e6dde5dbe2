cvdiff_fuzzer(CVBookmarkFuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVBookmarkFuzzer.cpp
    LIBRARIES cv_platform)
cvdiff_fuzzer(CVWireCodingFuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVWireCodingFuzzer.cpp
    LIBRARIES cv_model)
