# The check of includes must find a fault of every kind, and nothing where there is none. Each row
# puts one include into one file of an otherwise empty tree.
#
# Usage: cmake -D CHECK=... -D RULES_FILE=... -D SCRATCH_DIR=... -P PlantViolations.cmake
cmake_minimum_required(VERSION 3.25)

# file | include | the reason that must be reported; empty: the include is fine
set(rows
    "src/server/Mailbox.cpp|\"platform/FileOpen.h\"|"
    "src/pab/PABContact.cpp|\"platform/FileOpen.h\"|"
    "src/core/Contact.cpp|<string_view>|"
    "src/platform/FileOpen.cpp|<sys/stat.h>|"
    "src/text/Rfc822Address.cpp|<gmime/gmime.h>|"
    "src/StoreFactories.cpp|\"pab/PABPlugin.h\"|"
    "tools/base/Json.cpp|<nlohmann/json.hpp>|"
    "tools/commands/Edit.cpp|\"cards/VCard.h\"|"
    "tools/search/Folding.cpp|\"core/Contact.h\"|"

    "src/platform/FileOpen.cpp|\"server/Mailbox.h\"|does not lie below platform"
    "src/text/Charset.cpp|\"server/TextBody.h\"|does not lie below text"
    "src/server/Mailbox.cpp|\"core/Contact.h\"|does not lie below server"
    "src/core/ContactMgr.cpp|\"pab/PABPlugin.h\"|does not lie below core"
    "src/directory/ContentLine.h|\"pab/PABContact.h\"|does not lie below directory"
    "src/mailheader/MailHeaderPlugin.cpp|\"directory/ContentLine.h\"|does not lie below mailheader"
    "src/userstore/UserPlugin.cpp|\"pab/PABPlugin.h\"|does not lie below userstore"
    "src/trellisv7/TrellisV7Plugin.cpp|\"userstore/UserPlugin.h\"|does not lie below trellisv7"
    "src/pab/PABPlugin.cpp|\"../core/Contact.h\"|is no path below src"
    "src/platform/Types.h|\"platform/FileOpen.h\"|is not installed, but its includer is"
    "src/server/Mailbox.cpp|<unistd.h>|is not of the C++ standard library"
    "src/pab/PABContact.cpp|<string.h>|is not of the C++ standard library"
    "src/directory/ContentLine.cpp|<boost/algorithm/string.hpp>|is not of the C++ standard library"
    "tools/base/Text.h|\"commands/Commands.h\"|does not lie below base"
    "src/pab/PABContact.cpp|\"base/Text.h\"|is no path below src"
    "src/platform/FileOpen.cpp|<gmime/gmime.h>|is a third-party header"
    "src/core/Contact.cpp|<nlohmann/json.hpp>|is a third-party header"
    "src/text/Rfc822Address.h|<gmime/gmime.h>|is a third-party header in a header"
    "tools/base/Json.h|<nlohmann/json.hpp>|is a third-party header in a header"
    "src/core/Contact.cpp|HEADER|names no header")

foreach(row IN LISTS rows)
    string(REPLACE "|" ";" columns "${row};")
    list(GET columns 0 file)
    list(GET columns 1 header)
    list(GET columns 2 reason)
    file(REMOVE_RECURSE "${SCRATCH_DIR}")
    file(WRITE "${SCRATCH_DIR}/${file}" "#include ${header}\n")
    execute_process(
        COMMAND ${CMAKE_COMMAND} -D SOURCE_DIR=${SCRATCH_DIR} -D RULES_FILE=${RULES_FILE}
            -P ${CHECK}
        RESULT_VARIABLE result ERROR_VARIABLE errors OUTPUT_QUIET)
    if(reason STREQUAL "" AND NOT result EQUAL 0)
        message(SEND_ERROR "${row}: refused:\n${errors}")
    elseif(NOT reason STREQUAL "")
        string(FIND "${errors}" "${header}: ${reason}\n" at)
        if(result EQUAL 0 OR at EQUAL -1)
            message(SEND_ERROR "${row}: not found:\n${errors}")
        endif()
    endif()
endforeach()
file(REMOVE_RECURSE "${SCRATCH_DIR}")
