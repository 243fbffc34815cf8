# Every header compiles alone. One with a .cpp beside it is that one's first include (tools/check_includes.sh); the
# others get a source here that includes them, twice. dsp_api.h compiles in C, too.
file(GLOB_RECURSE headers RELATIVE ${CMAKE_SOURCE_DIR} CONFIGURE_DEPENDS
    support/*.h dxhost/*.h dsp/*.h xui/*.h config/*.h effects/*.h resources/*.h dxconv/*.h benchmarks/*.h tests/*.h)
list(FILTER headers EXCLUDE REGEX "^tests/fuzz/native/") # stand-ins for the platform's

set(alone_sources "")
foreach(header ${headers})
    string(REGEX REPLACE "h$" "cpp" beside ${header})
    if(EXISTS ${CMAKE_SOURCE_DIR}/${beside})
        continue()
    endif()
    set(source ${CMAKE_BINARY_DIR}/headers_alone/${header})
    set(text "#include \"${header}\"\n#include \"${header}\"\n")
    file(CONFIGURE OUTPUT ${source}.cpp CONTENT "${text}" @ONLY)
    list(APPEND alone_sources ${source}.cpp)
    if(header STREQUAL dsp/dsp_api.h)
        file(CONFIGURE OUTPUT ${source}.c CONTENT "${text}" @ONLY)
        list(APPEND alone_sources ${source}.c)
    endif()
endforeach()

add_library(headers_alone OBJECT ${alone_sources})
target_link_libraries(headers_alone PRIVATE project_options header_only_libraries)
target_compile_options(headers_alone PRIVATE -O0)
