# Installs the build into a scratch folder, builds a small program against the installed package,
# once with the shared and once with the static library, and runs both, and the installed tool.
#
# Usage: cmake -D BUILD_DIR=... -D CXX_COMPILER=... -D SCRATCH_DIR=... -P InstallAndBuild.cmake
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGV}
        COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(run_and_expect expected)
    execute_process(COMMAND ${ARGN}
        OUTPUT_VARIABLE output COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
    if(NOT output MATCHES "^${expected}\n$")
        message(FATAL_ERROR "Not ${expected}, but: ${output}")
    endif()
endfunction()

file(REMOVE_RECURSE "${SCRATCH_DIR}")
set(prefix "${SCRATCH_DIR}/prefix")
set(build "${SCRATCH_DIR}/build")
set(store "${SCRATCH_DIR}/store")
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${build}
    -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${build})

foreach(consumer consumer_of_contactmgr consumer_of_contactmgr_static)
    file(MAKE_DIRECTORY "${store}/example.org/${consumer}/cur")
    run_and_expect("VCARDPAB-1" ${build}/${consumer} ${store} ${consumer})
endforeach()
if(EXISTS "${prefix}/bin/contactmgr")
    run_and_expect("VCARDPAB-1\tAnn Lee\t" ${prefix}/bin/contactmgr --store ${store}
        --mailbox consumer_of_contactmgr@example.org list)
endif()
