# The whole tool against a minimal client of the same call (bench/tool-run.sh runs both).
cvdiff_benchmark(minimal_document_client
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/MinimalDocumentClient.cpp
    LIBRARIES cv_model)
cvdiff_benchmark(close_tab_latency
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/CloseTabLatency.cpp
    LIBRARIES cv_link cv_model)
