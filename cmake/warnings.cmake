# Libraries of others come in as system headers. With the compilers that the code is written against
# warnings are errors; newer ones, which know more warnings, show them.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if((CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13) OR
   (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 15))
    add_compile_options(-Werror)
endif()
# g++ 12 sees overlapping copies inside std::string where there are none, at -O3 (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options($<$<CONFIG:Release>:-Wno-restrict>)
endif()
