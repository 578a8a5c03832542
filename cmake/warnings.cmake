# Warnings are errors in all hand-written code; libraries of others come in as system headers.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
# g++ 12 sees overlapping copies inside std::string where there are none, at -O3 (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options($<$<CONFIG:Release>:-Wno-restrict>)
endif()
