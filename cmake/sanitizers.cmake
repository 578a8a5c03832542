# RF_SAR_SANITIZE: a list for -fsanitize=, e.g. "address,undefined" or "thread".
set(RF_SAR_SANITIZE "" CACHE STRING "sanitizers to build with")
if(RF_SAR_SANITIZE)
    add_compile_options(-fsanitize=${RF_SAR_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${RF_SAR_SANITIZE})
endif()
