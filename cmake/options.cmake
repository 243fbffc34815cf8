# One interface target that every target of the project links: warnings, code generation, linking.
add_library(project_options INTERFACE)

target_include_directories(project_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_definitions(project_options INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX STRICT WINVER=0x0601 _WIN32_WINNT=0x0601)

target_compile_options(project_options INTERFACE
    $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wshadow -Wconversion -Wundef -Werror>
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    # x87 rounds differently from SSE; callers of a 32-bit DLL align the stack to 4 bytes only.
    $<$<COMPILE_LANGUAGE:C,CXX>:-msse2 -mfpmath=sse -mstackrealign>
    $<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build>
    $<$<AND:$<CONFIG:Debug>,$<COMPILE_LANGUAGE:C,CXX>>:-gdwarf-4>)

target_link_options(project_options INTERFACE
    -static
    LINKER:--dynamicbase,--nxcompat,--enable-reloc-section,--no-insert-timestamp
    $<$<CONFIG:Release>:-s>)

if(DXW_CHECKED)
    # There is no sanitizer run-time for this target: undefined behaviour traps instead of reporting.
    target_compile_options(project_options INTERFACE
        $<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=undefined -fsanitize-undefined-trap-on-error>)
    target_compile_definitions(project_options INTERFACE _GLIBCXX_ASSERTIONS DXW_CHECKED=1)
endif()

# Never -I/usr/include with a cross compiler: only the folders of the header-only libraries are let in.
set(header_only ${CMAKE_BINARY_DIR}/header_only)
file(MAKE_DIRECTORY ${header_only})
foreach(library doctest CLI)
    if(NOT EXISTS /usr/include/${library})
        message(FATAL_ERROR "/usr/include/${library} is missing: run tools/setup.sh")
    endif()
    file(CREATE_LINK /usr/include/${library} ${header_only}/${library} SYMBOLIC)
endforeach()

add_library(header_only_libraries INTERFACE)
target_include_directories(header_only_libraries SYSTEM INTERFACE ${header_only})
