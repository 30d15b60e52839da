# Fails the build on an include that a folder has no right to; CheckIncludes.cmake has the rules.

get_property(CONTACTMGR_INCLUDE_RULES GLOBAL PROPERTY CONTACTMGR_INCLUDE_RULES)
set(CONTACTMGR_INCLUDE_RULES_FILE "${PROJECT_BINARY_DIR}/include-rules.cmake")
file(CONFIGURE OUTPUT "${CONTACTMGR_INCLUDE_RULES_FILE}" @ONLY
    CONTENT "@CONTACTMGR_INCLUDE_RULES@")

file(GLOB sources CONFIGURE_DEPENDS src/*.h src/*.cpp src/*/*.h src/*/*.cpp
    tools/*.h tools/*.cpp tools/*/*.h tools/*/*.cpp)
set(check "${PROJECT_SOURCE_DIR}/cmake/CheckIncludes.cmake")
set(stamp "${PROJECT_BINARY_DIR}/includes-checked")
add_custom_command(OUTPUT "${stamp}"
    COMMAND ${CMAKE_COMMAND} -D "SOURCE_DIR=${PROJECT_SOURCE_DIR}"
        -D "RULES_FILE=${CONTACTMGR_INCLUDE_RULES_FILE}" -P "${check}"
    COMMAND ${CMAKE_COMMAND} -E touch "${stamp}"
    DEPENDS ${sources} "${check}" "${CONTACTMGR_INCLUDE_RULES_FILE}"
    COMMENT "Checking the direction of includes"
    VERBATIM)
add_custom_target(check_includes ALL DEPENDS "${stamp}")
