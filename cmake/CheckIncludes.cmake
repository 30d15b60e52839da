# Checks every #include below src/ and tools/:
#
#   - a project header comes from a folder that the including one links (src/*/CMakeLists.txt)
#   - an installed header includes only installed headers of the project
#   - a folder takes POSIX and Linux headers only if it says SYSTEM_HEADERS
#   - third-party headers stand in .cpp files of the folders that name them, never in a header
#   - all else is the C++ standard library
#
# Usage: cmake -D SOURCE_DIR=... -D RULES_FILE=... -P CheckIncludes.cmake
# RULES_FILE sets <folder>_includable, _third_party, _system_headers and _public for each folder.
cmake_minimum_required(VERSION 3.25)

include("${RULES_FILE}")

# The command-line tool's folders, from the bottom to the top: each includes itself, those in front
# of it and all of src. "tools" is the folder itself, with the main program.
set(tool_folders base search cards intake sync edit views commands tools)
foreach(folder IN LISTS tool_folders)
    set(${folder}_third_party CLI/ glib nlohmann/ unicode/ xxhash.h)
    set(${folder}_system_headers ON)
endforeach()

set(standard_headers
    algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono
    cinttypes climits clocale cmath codecvt compare complex concepts condition_variable coroutine
    csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype deque
    exception execution filesystem format forward_list fstream functional future initializer_list
    iomanip ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource
    mutex new numbers numeric optional ostream queue random ranges ratio regex scoped_allocator
    semaphore set shared_mutex source_location span sstream stack stdexcept stop_token streambuf
    string string_view strstream syncstream system_error thread tuple type_traits typeindex typeinfo
    unordered_map unordered_set utility valarray variant vector version)

# Sets `reason` when `folder`, in its file `file`, may not include "header".
function(check_project_header folder file header)
    string(REGEX MATCH "^[^/]*" from "${header}")
    list(FIND tool_folders "${folder}" level)
    list(FIND tool_folders "${from}" from_level)
    get_filename_component(name "${header}" NAME)
    get_filename_component(includer "${file}" NAME)
    if(NOT level EQUAL -1 AND NOT from_level EQUAL -1)
        if(from_level GREATER level)
            set(reason "does not lie below ${folder}" PARENT_SCOPE)
        endif()
    elseif(NOT header MATCHES "^[a-z0-9]+/[^/]+$" OR NOT ${from}_includable)
        set(reason "is no path below src" PARENT_SCOPE)
    elseif(NOT level EQUAL -1)
        return()
    elseif(NOT from IN_LIST ${folder}_includable)
        set(reason "does not lie below ${folder}" PARENT_SCOPE)
    elseif(includer IN_LIST ${folder}_public AND NOT name IN_LIST ${from}_public)
        set(reason "is not installed, but its includer is" PARENT_SCOPE)
    endif()
endfunction()

# Sets `reason` when `folder`, in its file `file`, may not include <header>.
function(check_library_header folder file header)
    if(header IN_LIST standard_headers)
        return()
    endif()
    foreach(beginning IN LISTS text_third_party server_third_party base_third_party)
        string(FIND "${header}" "${beginning}" at)
        if(at EQUAL 0)
            if(NOT beginning IN_LIST ${folder}_third_party)
                set(reason "is a third-party header" PARENT_SCOPE)
            elseif(NOT file MATCHES "\\.cpp$")
                set(reason "is a third-party header in a header" PARENT_SCOPE)
            endif()
            return()
        endif()
    endforeach()
    if(NOT ${folder}_system_headers)
        set(reason "is not of the C++ standard library" PARENT_SCOPE)
    endif()
endfunction()

file(GLOB files RELATIVE "${SOURCE_DIR}"
    "${SOURCE_DIR}/src/*.h" "${SOURCE_DIR}/src/*.cpp"
    "${SOURCE_DIR}/src/*/*.h" "${SOURCE_DIR}/src/*/*.cpp"
    "${SOURCE_DIR}/tools/*.h" "${SOURCE_DIR}/tools/*.cpp"
    "${SOURCE_DIR}/tools/*/*.h" "${SOURCE_DIR}/tools/*/*.cpp")
if(NOT files)
    message(FATAL_ERROR "No sources in ${SOURCE_DIR}")
endif()

set(faults 0)
foreach(file IN LISTS files)
    get_filename_component(folder "${file}" DIRECTORY)
    get_filename_component(folder "${folder}" NAME)
    file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
        unset(reason)
        if(line MATCHES "include[ \t]*\"([^\"]+)\"")
            check_project_header(${folder} ${file} "${CMAKE_MATCH_1}")
        elseif(line MATCHES "include[ \t]*<([^>]+)>")
            check_library_header(${folder} ${file} "${CMAKE_MATCH_1}")
        else()
            set(reason "names no header")
        endif()
        if(DEFINED reason)
            math(EXPR faults "${faults} + 1")
            message(NOTICE "${file}: ${line}: ${reason}")
        endif()
    endforeach()
endforeach()
if(faults)
    message(FATAL_ERROR "${faults} includes that the folders do not allow")
endif()
