# A second build of the same sources costs seconds where ccache is installed.
find_program(RF_SAR_CCACHE ccache)
if(RF_SAR_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${RF_SAR_CCACHE})
endif()
