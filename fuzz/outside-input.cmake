# One target per outside input, from one source.
foreach(target git_summary:fuzzGitSummary exec_value:fuzzExecValue info_plist:fuzzInfoPlist
        stat_line:fuzzStatLine)
    string(REPLACE ":" ";" parts ${target})
    list(GET parts 0 name)
    list(GET parts 1 function)
    cvdiff_fuzzer(${name}_fuzzer
        SOURCES ${CMAKE_CURRENT_LIST_DIR}/OutsideInputFuzzers.cpp
        LIBRARIES cv_model cv_process cv_platform)
    target_compile_definitions(${name}_fuzzer PRIVATE CVDIFF_FUZZ_TARGET=${function})
endforeach()
