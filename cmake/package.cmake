# What is handed out: `cmake --install` lays it out in a folder, `cpack` makes the zip of it. README.md's links
# hold in there, too.
install(TARGETS dxwrapper dxconv echo RUNTIME DESTINATION .)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE packaging/install.cmd packaging/uninstall.cmd DESTINATION .)
install(FILES dsp/dsp_api.h DESTINATION dsp)
install(DIRECTORY docs DESTINATION .)
if(EXISTS ${CMAKE_SOURCE_DIR}/examples)
    install(DIRECTORY examples DESTINATION . PATTERN CMakeLists.txt EXCLUDE)
endif()

# Linked in, and their licences want to be passed on.
foreach(part libcli11-dev mingw-w64-common gcc-mingw-w64-i686-win32-runtime)
    install(FILES /usr/share/doc/${part}/copyright DESTINATION licences RENAME ${part}.txt)
endforeach()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win32)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
