# How every source of the project is compiled: language, warnings, sanitizers.

find_program(CONTACTMGR_CCACHE ccache)
mark_as_advanced(CONTACTMGR_CCACHE)
if(CONTACTMGR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CONTACTMGR_CCACHE}")
endif()

add_library(contactmgr_warnings INTERFACE)
target_compile_options(contactmgr_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${CONTACTMGR_WARNINGS_AS_ERRORS}>:-Werror>
    # GCC 12 reports it falsely on std::string of its own library at -O3.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

add_library(contactmgr_compiling INTERFACE)
target_compile_features(contactmgr_compiling INTERFACE cxx_std_20)
target_compile_definitions(contactmgr_compiling INTERFACE
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
target_link_libraries(contactmgr_compiling INTERFACE contactmgr_warnings)
if(CONTACTMGR_SANITIZE)
    target_compile_options(contactmgr_compiling INTERFACE
        -fsanitize=${CONTACTMGR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        # GCC's own manual warns of false reports of these under a sanitizer.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(contactmgr_compiling INTERFACE -fsanitize=${CONTACTMGR_SANITIZE})
endif()

# Gives a target the project's way of compiling, without making it part of what users inherit.
function(contactmgr_compile_target target)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:contactmgr_compiling>)
endfunction()
