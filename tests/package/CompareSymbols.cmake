# Compares what the shared library exports with symbols.txt, so that no symbol comes or goes unseen.
#
# Usage: cmake -D LIBRARY=... -D NM=... -P CompareSymbols.cmake
#        With -D WRITE=ON it writes symbols.txt anew.
cmake_minimum_required(VERSION 3.25)

set(list_file "${CMAKE_CURRENT_LIST_DIR}/symbols.txt")
execute_process(COMMAND "${NM}" --dynamic --defined-only --format=posix "${LIBRARY}"
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+\n" lines "${output}")
list(TRANSFORM lines REPLACE "[@ ].*" "" OUTPUT_VARIABLE exported)
if(NOT exported)
    message(FATAL_ERROR "${LIBRARY} exports nothing.")
endif()
list(SORT exported)
if(WRITE)
    list(JOIN exported "\n" text)
    file(WRITE "${list_file}" "${text}\n")
    return()
endif()

file(STRINGS "${list_file}" listed)
set(added ${exported})
list(REMOVE_ITEM added ${listed})
set(missing ${listed})
list(REMOVE_ITEM missing ${exported})

function(report title)
    message(NOTICE "${title}:")
    foreach(symbol IN LISTS ARGN)
        execute_process(COMMAND c++filt "${symbol}"
            OUTPUT_VARIABLE name OUTPUT_STRIP_TRAILING_WHITESPACE)
        message(NOTICE "  ${symbol}  ${name}")
    endforeach()
endfunction()

if(added)
    report("Exported and not in symbols.txt" ${added})
endif()
if(missing)
    report("In symbols.txt and no longer exported" ${missing})
    # The symbol version is a symbol of its own. It has gone when the number was raised.
    if(NOT missing MATCHES "CONTACTMGR_[0-9]+")
        message(NOTICE "A program that was built against a release with these symbols no longer "
            "starts. If a release had them, raise CONTACTMGR_ABI in CMakeLists.txt and set "
            "CONTACTMGR_ABI_SINCE beside it.")
    endif()
endif()
if(added OR missing)
    message(NOTICE "If that is meant, write symbols.txt anew:\n"
        "cmake -D LIBRARY=${LIBRARY} -D NM=${NM} -D WRITE=ON -P ${CMAKE_CURRENT_LIST_FILE}")
    message(FATAL_ERROR "The exported symbols have changed.")
endif()
