# Warnings shared by every target of the project; CI turns them into errors.
add_library(standard_warnings INTERFACE)
target_compile_options(standard_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
    # Designated initializers that leave members at their defaults are the point of them.
    -Wno-missing-field-initializers
    $<$<BOOL:${CVDIFF_WARNINGS_AS_ERRORS}>:-Werror>)
target_compile_definitions(standard_warnings INTERFACE
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
