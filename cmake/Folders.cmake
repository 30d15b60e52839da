# The folders below src/ as object libraries, and what each of them may include.

# contactmgr_add_folder(<folder>
#     [LINKS <folder>...]                   folders that it may include, with all that those may
#     [LIBRARIES <target>...]               third-party libraries behind its sources
#     [THIRD_PARTY_HEADERS <beginning>...]  headers of those libraries; allowed in its .cpp alone
#     [SYSTEM_HEADERS]                      it may include POSIX and Linux headers
#     [PUBLIC_HEADERS <file>...])           headers that are installed; these include only such
#
# Makes the target contactmgr_<folder> from the .cpp files of the current source directory.
function(contactmgr_add_folder folder)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SYSTEM_HEADERS" ""
        "LINKS;LIBRARIES;THIRD_PARTY_HEADERS;PUBLIC_HEADERS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "contactmgr_add_folder(${folder}): ${arg_UNPARSED_ARGUMENTS}?")
    endif()

    file(GLOB sources CONFIGURE_DEPENDS *.cpp)
    contactmgr_add_objects(contactmgr_${folder} ${sources})
    list(TRANSFORM arg_LINKS PREPEND contactmgr_ OUTPUT_VARIABLE linked_targets)
    if(sources)
        target_link_libraries(contactmgr_${folder} PUBLIC ${linked_targets})
        target_link_libraries(contactmgr_${folder} PRIVATE ${arg_LIBRARIES})
    endif()

    set(includable ${folder})
    foreach(link IN LISTS arg_LINKS)
        get_property(further GLOBAL PROPERTY CONTACTMGR_INCLUDABLE_${link})
        list(APPEND includable ${further})
    endforeach()
    list(REMOVE_DUPLICATES includable)
    set_property(GLOBAL PROPERTY CONTACTMGR_INCLUDABLE_${folder} ${includable})

    string(CONCAT rules
        "set(${folder}_includable ${includable})\n"
        "set(${folder}_third_party ${arg_THIRD_PARTY_HEADERS})\n"
        "set(${folder}_system_headers ${arg_SYSTEM_HEADERS})\n"
        "set(${folder}_public ${arg_PUBLIC_HEADERS})\n")
    set_property(GLOBAL APPEND_STRING PROPERTY CONTACTMGR_INCLUDE_RULES "${rules}")
    list(TRANSFORM arg_PUBLIC_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    set_property(GLOBAL APPEND PROPERTY CONTACTMGR_PUBLIC_HEADERS ${arg_PUBLIC_HEADERS})
endfunction()

# Objects that both libraries are made of: compiled once, position-independent. A folder of
# headers alone has none.
function(contactmgr_add_objects target)
    if(NOT ARGN)
        add_library(${target} INTERFACE)
        return()
    endif()
    add_library(${target} OBJECT ${ARGN})
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}/src")
    contactmgr_compile_target(${target})
    set_property(GLOBAL APPEND PROPERTY CONTACTMGR_OBJECTS $<TARGET_OBJECTS:${target}>)
endfunction()
