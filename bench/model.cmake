cvdiff_benchmark(FolderPairingBenchmark
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/FolderPairingBenchmark.cpp
    LIBRARIES cv_model)
cvdiff_benchmark(FileListBenchmark
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/FileListBenchmark.cpp
    LIBRARIES cv_model)
cvdiff_benchmark(PackedCodingBenchmark
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/PackedCodingBenchmark.cpp
    LIBRARIES cv_model)
