# Address and undefined-behaviour sanitizers for the whole build (CVDIFF_SANITIZE=ON).
if(CVDIFF_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=address,undefined)
endif()

# A fuzzing build instruments every library for libFuzzer's coverage and checks memory errors.
if(CVDIFF_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
