# Checks of the tree itself and of what is handed out, beside the release build's tests.

# dxw_add_check(NAME LABEL COMMAND...): a script that explains itself when it fails.
function(dxw_add_check name label)
    add_test(NAME release/${label}/${name} COMMAND ${ARGN} WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})
    set_tests_properties(release/${label}/${name} PROPERTIES LABELS ${label} TIMEOUT 1800)
endfunction()

dxw_add_check(format checks tools/check_format.sh)
dxw_add_check(includes checks tools/check_includes.sh)
dxw_add_check(version checks tools/check_version.sh)
dxw_add_check(tidy checks tools/check_tidy.sh)

dxw_add_check(zip packaging tests/packaging/try_zip.sh ${CMAKE_BINARY_DIR} ${PROJECT_VERSION})
dxw_add_check(parallel scaling tests/scaling/try_parallel.sh ${CMAKE_BINARY_DIR})
# Registers Echo in the prefix of the release build's tests.
set_tests_properties(release/scaling/parallel PROPERTIES RESOURCE_LOCK release)
