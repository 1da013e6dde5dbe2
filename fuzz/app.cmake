cvdiff_fuzzer(unquote_git_path_fuzzer
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CorvaneUnquoteGitPathFuzzer.cpp
    LIBRARIES cv_app)
