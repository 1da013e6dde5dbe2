cvdiff_fuzzer(cli_parser_fuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVCLIArgumentParserFuzzer.cpp
    LIBRARIES cv_cli)
