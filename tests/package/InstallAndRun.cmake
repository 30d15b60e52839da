# Installs the build into a scratch folder, builds the installed examples against the installed
# package, and runs them, with the shared and the static library, and the installed tool. Then the
# same with a program that has the library's internal names.
#
# Usage: cmake -D BUILD_DIR=... -D CXX_COMPILER=... -D SCRATCH_DIR=... -P InstallAndRun.cmake
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGV}
        COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(run_and_expect expected)
    execute_process(COMMAND ${ARGN}
        OUTPUT_VARIABLE output COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
    if(NOT output MATCHES "^${expected}\n?$")
        message(FATAL_ERROR "Not ${expected}, but: ${output}")
    endif()
endfunction()

file(REMOVE_RECURSE "${SCRATCH_DIR}")
set(prefix "${SCRATCH_DIR}/prefix")
set(build "${SCRATCH_DIR}/build")
set(store "${SCRATCH_DIR}/store")
set(state "${SCRATCH_DIR}/state")
set(alice ${store} alice example.org)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -G Ninja -S ${prefix}/share/doc/contactmgr/examples -B ${build}
    -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${build})

file(MAKE_DIRECTORY "${store}/example.org/alice/cur")
run_and_expect("VCARDPAB-1" ${build}/ChangeContact ${alice})
run_and_expect("VCARDPAB-1\tann@example.com" ${build}/WalkAllStores ${alice})
if(EXISTS "${prefix}/bin/contactmgr")
    run_and_expect("VCARDPAB-1\tAnn Lee\tann@example.com" ${prefix}/bin/contactmgr
        --store ${store} --mailbox alice@example.org list)
    foreach(file man/man1/contactmgr-show.1 man/man3/libcontactmgr.3 man/man5/contactmgr-json.5
            bash-completion/completions/contactmgr zsh/site-functions/_contactmgr)
        file(SIZE "${prefix}/share/${file}" size) # an error if it is missing
    endforeach()
endif()
run_and_expect("VCARDPAB-2" ${build}/ChangeContact_static ${alice})

# One contact is held in the first round, nothing is new in the last.
find_program(flock flock REQUIRED)
run_and_expect("put VCARDPAB-2" ${flock} ${store}/example.org/alice/Contacts/80000000.vcf
    ${build}/FollowChanges ${alice} ${state} 1)
run_and_expect("put VCARDPAB-1" ${build}/FollowChanges ${alice} ${state} 1)
run_and_expect("" ${build}/FollowChanges ${alice} ${state} 1)

run_and_expect("4" ${build}/ManyThreads ${alice})
run_and_expect("no folder [^\n]*/nobody\na held contact: [^\n]*\\(32\\)[^\n]*\na bad value: [^\n]*\\(13\\).*"
    ${build}/TellFailures ${alice})
run_and_expect("VCARDPAB-1\n\"Lee, Ann\" <ann@example.com>\nbob@example.com\nTEL;TYPE=work:\\+1 555 0100"
    ${build}/Reference ${store} carol example.org)

run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${build}/same-names
    -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${build}/same-names)
foreach(library contactmgr contactmgr_static)
    set(mailbox ${store}/example.org/${library})
    file(WRITE "${mailbox}/cur/1.M1P1.host:2,S"
        "From: =?utf-8?Q?J=C3=B6rg?= <joerg@example.com>\n\n\n")
    run_and_expect("VCARDPAB-1 \"Lee, Ann\" <ann@example.com>\n1 created\nVCARDPAB-1\nINBOX-[^\n]*joerg@example.com>"
        ${build}/same-names/same_names_${library} ${store} ${library} example.org)
endforeach()
