# RF_SAR_SANITIZE: a list for -fsanitize=, e.g. "address,undefined" or "thread".
set(RF_SAR_SANITIZE "" CACHE STRING "sanitizers to build with")
if(RF_SAR_SANITIZE)
    add_compile_options(-fsanitize=${RF_SAR_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${RF_SAR_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # with sanitizers it warns of sound code, std::regex's too
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
    # What a program without sanitizers must load first, when it loads a library that has them.
    string(REPLACE "thread" "tsan" runtime "${RF_SAR_SANITIZE}")
    string(REGEX REPLACE "^address.*" "asan" runtime "${runtime}")
    foreach(library lib${runtime}.so libstdc++.so)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        string(APPEND RF_SAR_PRELOAD "${path}:")
    endforeach()
    if(RF_SAR_FUZZERS) # coverage of the solvers' loops takes most of the time and leads nowhere
        add_compile_options(-fsanitize-coverage-ignorelist=${CMAKE_CURRENT_LIST_DIR}/uncovered.txt)
    endif()
endif()
