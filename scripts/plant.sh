#!/usr/bin/env bash
# Plants one fault after the other in a copy of the sources, and says of each whether the tests
# that are named for it find it. Exit status 1 if a fault is missed, or its text has changed.
#
# Usage: plant.sh [PATTERN...]   a pattern picks faults by name, such as 'stamp.*'; default all
#
# The copy and its build lie in build/plant. A run of all faults takes about half an hour.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2

names=()
declare -A file_of tests_of old_of new_of

# fault NAME FILE TESTS OLD NEW: OLD stands once in src/FILE, NEW takes its place. TESTS is a filter
# of GoogleTest, or a name of ctest that begins with "Trust.".
fault() {
    names+=("$1")
    file_of[$1]=src/$2
    tests_of[$1]=$3
    old_of[$1]=$4
    new_of[$1]=$5
}

# How a save survives, and who hears of it (platform/ChangeProtocol.h).
fault stamp.skipped platform/HeldFile.cpp 'FileStampTest.*' \
    '!StampAndMoveFolder(Descriptor(), m_folder) ||
        !RemoveRedoFile()' '!RemoveRedoFile()'
fault stamp.wait platform/FileStamp.cpp 'FileStampTest.*' '    WaitForClock(stamp);' ''
fault stamp.latest platform/FileStamp.cpp 'FileStampTest.*:PABPluginTest.*' \
    'std::max(begin + lead, latest + 1)' 'begin + lead'
fault stamp.lead platform/FileStamp.cpp 'FileStampTest.*' \
    'lead = 2 * std::max(lead, clock - std::min(begin, clock));' ''
fault stamp.access-time platform/FileStamp.cpp 'FileStampTest.*' \
    'TimespecOf(version + kAccessTimeLead)' 'TimespecOf(version)'
fault stamp.clock-set-back platform/FileStamp.cpp 'FileStampTest.*' \
    'rest > kLongestStampWait' 'false'
fault stamp.lock platform/FileStamp.cpp 'FileStampTest.*' \
    'LockPatiently(m_file.Get());' ''
fault stamp.lock-of-child platform/FileStamp.cpp 'FileStampTest.*' \
    'CSystemCalls::Current().Lock(m_file.Get(), LOCK_UN);' ''
fault stamp.whole-seconds platform/FileStamp.cpp 'FileOperationsTest.*' \
    '{std::uint64_t{0}, kFileTimeUnitsPerSecond}' '{std::uint64_t{0}}'
fault stamp.not-allowed platform/HeldFile.cpp 'FileRewriteTest.*' \
    'return MayStamp(Descriptor(), status) &&' 'return'
fault redo.removed-before-text platform/HeldFile.cpp 'FileRewriteTest.*' \
    'if (!Overwrite(content, isFlushing) ||' \
    'if (!RemoveRedoFile() || !Overwrite(content, isFlushing) ||'
fault redo.removed-before-stamp platform/HeldFile.cpp 'FileRewriteTest.*' \
    '!StampAndMoveFolder(Descriptor(), m_folder) ||
        !RemoveRedoFile()' '!RemoveRedoFile() || !StampAndMoveFolder(Descriptor(), m_folder)'
fault redo.unflushed platform/RedoFile.cpp 'FileRewriteTest.*' \
    '(!IsFlushing() || CSystemCalls::Current().Sync(redo.Get()) == 0) &&' ''
fault redo.folder-unflushed platform/RedoFile.cpp 'FileRewriteTest.*' \
    ' && SyncFolder(folder.c_str())' ''
fault redo.repair-unflushed platform/HeldFile.cpp 'FileRewriteTest.*' \
    'return Complete(content, true);' 'return Complete(content, IsFlushing());'
fault redo.stale platform/HeldFile.cpp 'FileRewriteTest.*' \
    'state == ERedo::Complete && m_size > 0' 'state == ERedo::Complete'
fault redo.torn platform/RedoFile.cpp 'FileRewriteTest.*' \
    'trailer.checksum == Checksum(*content)' 'true'
fault redo.uncut platform/RedoFile.cpp 'FileRewriteTest.*' \
    'OpenInRedoFolder(folder, name, O_WRONLY | O_TRUNC)' \
    'OpenInRedoFolder(folder, name, O_WRONLY)'
fault redo.emptied-on-failure platform/HeldFile.cpp 'FileRewriteTest.*' \
    'return false; // I2' 'return Truncate(0) && RemoveRedoFile() && false; // I2'
fault redo.old-form platform/RedoFile.cpp 'PABPluginTest.*' \
    'return MoveOldRedoFiles(folder, made) && CopyMarkedFiles(folder, made);' 'return true;'
fault save.unreserved platform/HeldFile.cpp 'FileRewriteTest.*' \
    ' || !Reserve(content.size())' ''
fault save.replaced-file platform/HeldFile.cpp 'FileRewriteTest.*' \
    'status.stx_ino != m_inode' 'false'
fault save.uncut platform/HeldFile.cpp 'FileRewriteTest.*' \
    '(content.size() >= m_size || Truncate(content.size()))' 'true'
fault delete.unflushed platform/HeldFile.cpp 'FileRewriteTest.*' \
    ' || (IsFlushing() && !Sync())' ''
fault delete.folder-first platform/HeldFile.cpp 'PABPluginTest.*' \
    ' || !MoveFolderTimeToNow(m_folder, &latest)' ''
fault delete.before-lock platform/FileOpen.cpp 'PABContactTest.*' \
    '    auto file = std::make_unique<CHeldFile>(path);' \
    '    auto file = std::make_unique<CHeldFile>(path);
    if (disposition == TRUNCATE_EXISTING) {
        ::truncate(path, 0);
    }'
fault create.folder-behind platform/HeldFile.cpp 'FileStampTest.*' \
    '    MoveFolderTimeToNow(m_folder, &latest);
    return true;' '    return true;'
fault create.unnoted platform/HeldFile.cpp 'FileRewriteTest.*:FileStampTest.*:PABPluginTest.*' \
    'NoteCreation(made, latest) &&' ''
fault create.time-moves platform/HeldFile.cpp 'PABPluginTest.*' \
    '(m_isCreationNoted || KeepCreation(Descriptor(), status) || FailWithErrno())' 'true'
fault create.late-write platform/HeldFile.cpp 'PABPluginTest.*' \
    'SetLastWriteTime(made, latest)' 'true'

# Files, locks, owners.
fault rename.replaces platform/FileNames.cpp 'FileOperationsTest.*' \
    'Rename(from, to, RENAME_NOREPLACE) == 0' 'Rename(from, to, 0) == 0'
fault rename.replaces-under-lock platform/FileNames.cpp 'FileOperationsTest.*' \
    'if (StatName(to, &named) == 0) {' 'if (false) {'
fault rename.lock platform/FileNames.cpp 'FileOperationsTest.*' '!LockPatiently(file.Get()) ||' ''
fault open.lock platform/HeldFile.cpp 'PABContactTest.*' \
    'CSystemCalls::Current().Lock(Descriptor(), LOCK_EX | LOCK_NB) == 0' 'true'
fault open.long-file platform/HeldFile.cpp 'PABContactTest.*:FileOperationsTest.*' \
    'm_size == start.size()' 'false'
fault open.follows-links platform/HeldFile.cpp 'FileOperationsTest.*' \
    'O_RDWR | O_NOFOLLOW | O_NONBLOCK' 'O_RDWR | O_NONBLOCK'
fault open.code-of-refusal platform/FileOpen.cpp 'FileOperationsTest.*' \
    '        SetLastError(ERROR_INVALID_PARAMETER);' ''
fault owner.of-named platform/NewFile.cpp 'CRootTest.*' \
    'file.IsOpen() && GiveTo(file.Get(), owner) && prepare(file.Get())' \
    'file.IsOpen() && prepare(file.Get())'
fault owner.of-unnamed platform/NewFile.cpp 'Trust.root' \
    'if (!GiveTo(file.Get(), owner) || !prepare(file.Get())) {' 'if (!prepare(file.Get())) {'
fault owner.of-folder platform/NewFile.cpp 'Trust.root' \
    'return folder.IsOpen() && GiveTo(folder.Get(), owner);' 'return folder.IsOpen();'
fault owner.of-another platform/NewFile.cpp 'CRootTest.*' ' || own.stx_nlink != 1' ''
fault owner.mode platform/NewFile.cpp 'CRootTest.*' 'status.stx_mode & 07777' '0600'
fault calls.interrupted platform/SystemCalls.cpp 'FileRewriteTest.*' \
    '} else if (error != EINTR) {' '} else {'
fault clock.month platform/FileTime.cpp 'PABContactTest.*' 'fields.tm_mon + 1' 'fields.tm_mon'
fault clock.local platform/FileTime.cpp 'PABContactTest.*' 'gmtime_r' 'localtime_r'
fault clock.minute platform/FileTime.cpp 'PABContactTest.*' '(fields.tm_min)' '(fields.tm_sec)'

# The address book.
fault report.below-since pab/ChangeReport.cpp 'PABPluginTest.*' \
    'm_version = std::max(folderTime, m_since);' 'm_version = folderTime;'
fault report.far-ahead pab/ChangeReport.cpp 'PABPluginTest.*' \
    'm_since > folderTime && m_since > m_begin' 'false'
fault report.created-later pab/ChangeReport.cpp 'PABPluginTest.*' \
    'isLive && creation <= m_version' 'isLive'
fault report.created-at-version pab/ChangeReport.cpp 'PABPluginTest.*' \
    '        m_created.AddTail(m_atVersion);' ''
fault report.dead-writer pab/ChangeReport.cpp 'PABPluginTest.*' \
    'MoveFolderTime(m_folder, m_latest, &m_latest);' ''
fault report.first-save pab/ChangeReport.cpp 'PABPluginTest.*' \
    'isLive || HasLengthNow(entry) ?' 'isLive ?'
fault report.known-none pab/ChangeReport.cpp 'PABPluginTest.*' \
    'm_since == FILETIME() && entry' 'entry'
fault report.failed-walk pab/ChangeReport.cpp 'PABPluginTest.*' \
    'return GetLastError() == ERROR_NO_MORE_FILES;' 'return true;'
fault number.lowest pab/ContactNumber.cpp 'PABPluginTest.*' \
    'std::max(*number, counter)' 'std::min(*number, counter)'
fault number.of-contacts pab/ContactNumber.cpp 'PABPluginTest.*' \
    'const std::uint32_t number = highestContact + 1;' 'const std::uint32_t number = 1;'
fault number.searched pab/ContactNumber.cpp 'CostTest.*' \
    'ExpectedNumbers().Set(folder, next + 1);' ''
fault number.trusted pab/PABPlugin.cpp 'PABPluginTest.*' \
    '        DistrustContactNumbers(m_rootDirectory);' ''
fault walk.copies pab/PABContactEnumerator.cpp 'PABContactEnumeratorTest.*' \
    '!EqualIgnoringCase(fileName, m_entry.cFileName)' 'false'
fault contact.clean-after-failure pab/PABContactFile.cpp 'PABContactTest.*:MemoryFaultTest.*' \
    '    if (!Write()) {' '    m_isDirty = false;
    if (!Write()) {'
fault contact.write-count pab/PABContactFile.cpp 'PABContactTest.*' \
    'count < kLargestWriteCount ? count + 1 : count' 'count + 1U'
fault contact.unsupported-saved pab/PABContactFile.cpp 'PABContactTest.*' \
    '    if (!IsSupportedCard(m_lines)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    RenewRevision();' '    RenewRevision();'
fault contact.line-break pab/PABContactProperties.cpp 'PABContactTest.*' \
    'text.find_first_of(refused) != std::u16string::npos' 'false'
fault contact.import-without-memory pab/PABContactText.cpp 'MemoryFaultTest.*' \
    '    CCardLines lines;
' '    CCardLines lines;
    m_lines.Remove("N");
'
fault contact.imported-comment pab/PABContactText.cpp 'PABContactTest.*' \
    'isSupported ? lines.GetValue("FN") : std::nullopt' 'std::nullopt'
fault list.lost-without-memory pab/PABContactLists.cpp 'MemoryFaultTest.*' \
    '    FailForMemory();
    return list;' '    m_lines.DropEntries<Line>();
    FailForMemory();
    return list;'
fault list.own pab/PABContactLists.cpp 'MemoryFaultTest.*' \
    'if (&with == list) {' 'if (false) {'
fault card.no-line pab/CardLines.cpp 'FuzzCorpusTest.*' \
    'isGood ? EState::kGood : EState::kNoLine' 'EState::kGood'
fault card.as-written pab/CardLines.cpp 'FuzzCorpusTest.*:PABContactTest.*' \
    'std::ranges::none_of(line.Name(), IsLower)' 'true'
fault card.value pab/CardLines.cpp 'PABContactTest.*' \
    'line->text.substr(0, line->valueBegin)' 'line->text.substr(0, line->restBegin)'
fault renewal.completes pab/BookRenewal.cpp 'PABPluginTest.*' \
    'hasRedo && IsOlder(path, redoPath)' 'hasRedo'

# Lines, texts, the walk over all stores.
fault line.escape directory/ContentLineSyntax.cpp 'ContentLineSyntaxTest.*' \
    "c == u'\\\\' || c == u',' || c == u'\\n'" "c == u'\\\\' || c == u'\\n'"
fault line.fold-in-character directory/ContentLineSyntax.cpp 'PABContactTest.*:FuzzCorpusTest.*' \
    'const std::size_t length = LengthThatFits(line, room);' \
    'const std::size_t length = std::max<std::size_t>(room, 1);'
fault line.breaks-out directory/ContentLineSyntax.cpp 'ContentLineSyntaxTest.*' \
    '    AppendWithoutBreaks(line, out);' '    out->append(line);'
fault stores.duplicates core/CollatedContactEnumerator.cpp 'CCollatedContactEnumeratorTest.*' \
    '!emails.IsEmpty() &&' '!emails.IsEmpty(); (void)'
fault stores.failed-start core/CollatedContactEnumerator.cpp 'CCollatedContactEnumeratorTest.*' \
    '    if (!OpenAll()) {
        return false;
    }' '    OpenAll();'
fault stores.failed-poll core/CollatedContactEnumerator.cpp 'CCollatedContactEnumeratorTest.*' \
    '    if (!IsAnythingNew(since, &isNew)) {
        return false;
    }' '    IsAnythingNew(since, &isNew);'
fault stores.mask core/StoreFactories.h 'CContactMgrTest.*' \
    'kDefaultStoreMask = 11' 'kDefaultStoreMask = 15'
fault text.encoded-word text/EncodedWords.cpp 'Rfc822AddressTest.*' 'kBytesPerWord = 45' \
    'kBytesPerWord = 48'
fault text.cut-character text/EncodedWords.cpp 'Rfc822AddressTest.*' '        --length;' '        break;'
fault text.surrogate text/Rfc822Address.cpp 'Rfc822AddressTest.*' \
    'if (HasUnpairedSurrogate(text)) {' 'if (false) {'

# The mail store.
fault header.not-whole server/MessageHeader.cpp 'MailMessageTest.*' \
    'return isWhole ? text.size() : std::string_view::npos;' 'return text.size();'
fault header.cap server/MailMessage.cpp 'MailMessageTest.*' \
    'm_head.size() >= kMaxHeaderRead' 'm_isHeadWhole'
fault location.null server/StoreLayout.cpp 'MailServerTest.*' \
    "location == nullptr || *location == '\\0'" 'false'
fault mailbox.name server/StorePaths.cpp 'MailboxTest.*' \
    "text.find('/') == std::string_view::npos &&" ''
fault location.dots server/PathTemplate.cpp 'MailServerTest.*' '!IsPathComponent(filled)' 'false'
fault location.cut-name server/PathTemplate.cpp 'MailServerTest.*' \
    'return HasName(part) && part.offset == 0 && part.width == 0;' 'return HasName(part);'
fault location.shared-book server/StoreLayout.cpp 'MailServerTest.*' \
    'm_folders.HasDomain() && !m_book->HasDomain()' 'false'
fault mailbox.property-file server/StoreLayout.cpp 'MailServerTest.*' \
    '&& TakesPropertyFile(names)' '&& false'
fault mailbox.only-one server/MailServer.cpp 'MailServerTest.*' \
    '!EqualIgnoringCase(place->name, m_name) ||' ''
fault mailbox.lower-case server/Mailbox.cpp 'MailboxPlaceTest.*' \
    '!FindAsGiven(server, lowerName, lowerDomain, place)' 'true'
fault folder.link-out server/MailboxPlace.cpp 'MailboxPlaceTest.*' \
    '(isLink && LinkLeadsOutOf(mailbox, found + "/cur")) ||' ''
fault folder.link-beside server/MailboxPlace.cpp 'MailboxPlaceTest.*' \
    "!target.starts_with(root + '/')" '!target.starts_with(root)'
fault book.among-folders server/MailboxPlace.cpp 'MailboxPlaceTest.*' \
    'isBeside || IsPlainLayout(place)' 'isBeside'
fault book.forgotten server/MailboxPlace.cpp 'MailboxPlaceTest.*' \
    '(isInside && HoldsContacts(inside))' 'false'
fault book.long-path pab/AddressBook.cpp 'MailboxPlaceTest.*' \
    '!isRead && GetLastError() == ERROR_INSUFFICIENT_BUFFER' 'false'
fault folder.version server/MailFolderImpl.cpp 'MailFolderTest.*' '    MoveVersionPast(before.time);' ''
fault folder.names-kept server/MailFolderImpl.cpp 'MailFolderTest.*:CostTest.*' \
    '    m_isListed = false;' ''
fault folder.renamed-message server/MailFolderImpl.cpp 'MailFolderTest.*' \
    '        tried = std::move(path);' '        return false;'
fault property.stale server/PropertyFile.cpp 'MailboxTest.*' \
    '&& IsSameStatus(found->second.status, status)' ''

# The other stores.
fault sender.last-name mailheader/MailHeaderContact.cpp 'CMailHeaderPluginTest.*' \
    'while (!text.empty() && IsWhiteSpace(text.back())) {' 'while (false) {'
fault message.group trellisv7/TrellisV7ContactEnumerator.cpp 'CTrellisV7PluginTest.*' \
    'if (contact->IsIndividual()) {' 'if (true) {'
fault mailboxes.found-again userstore/UserStoreContactEnumerator.cpp 'CostTest.*' \
    'std::move(address), std::move(mailbox)' 'std::move(address)'
fault mailboxes.version userstore/UserStoreContactEnumerator.cpp 'CUserPluginTest.*' \
    'kVersionLastsSeconds = 900' 'kVersionLastsSeconds = 901'

picked=()
for name in "${names[@]}"; do
    for pattern in "${@:-*}"; do
        # shellcheck disable=SC2053 # a pattern on purpose
        [[ $name == $pattern ]] && picked+=("$name") && break
    done
done
[ ${#picked[@]} -gt 0 ] || { echo "plant: no fault is named so: $*" >&2; exit 2; }

tree=build/plant/tree
build=build/plant/build
log=build/plant/log
mkdir -p "$tree"
git ls-files --cached --others --exclude-standard | while read -r file; do
    [ ! -f "$file" ] || cmp --silent "$file" "$tree/$file" || cp --parents "$file" "$tree"
done
(cd "$tree" && find . -type f) | while read -r file; do
    [ -f "$file" ] || rm "$tree/$file"
done

# The program of those tests.
build_tests() {
    case $1 in
        Trust.*) cmake --build "$build" --target contactmgr_trust >"$log" 2>&1 ;;
        *) cmake --build "$build" --target contactmgr_tests >"$log" 2>&1 ;;
    esac
}

run_tests() {
    case $1 in
        Trust.*) timeout 300 ctest --test-dir "$build" --no-tests=error -R "^$1\$" >"$log" 2>&1 ;;
        *) timeout 300 "$build/tests/contactmgr_tests" --gtest_filter="$1" --gtest_fail_fast \
            >"$log" 2>&1 ;;
    esac
}

if ! cmake -S "$tree" -B "$build" -G Ninja -D CMAKE_BUILD_TYPE=Debug -D CMAKE_CXX_FLAGS=-w \
    >"$log" 2>&1; then
    cat "$log" >&2
    exit 2
fi
for name in "${picked[@]}"; do
    printf '%s\n' "${tests_of[$name]}"
done | sort -u | while read -r tests; do
    build_tests "$tests" && run_tests "$tests" && ! grep -q '0 tests from 0' "$log" ||
        { cat "$log" >&2; echo "plant: without a fault, these do not pass: $tests" >&2; exit 2; }
done || exit 2

missed=0
report() {
    printf '%-7s %s\n' "$1" "$2"
    case $1 in found | hangs) ;; *) missed=$((missed + 1)) ;; esac
}
for name in "${picked[@]}"; do
    path=$tree/${file_of[$name]}
    text=$(cat "$path" && echo .)
    old=${old_of[$name]}
    behind=${text#*"$old"}
    if [ "$behind" = "$text" ] || [[ $behind == *"$old"* ]]; then
        report STALE "$name"
        continue
    fi
    planted=${text%%"$old"*}${new_of[$name]}$behind
    printf '%s' "${planted%.}" >"$path"
    if ! build_tests "${tests_of[$name]}"; then
        report BROKEN "$name"
    else
        run_tests "${tests_of[$name]}"
        case $? in
            0) report MISSED "$name" ;;
            124) report hangs "$name" ;; # found, unless the machine is slow
            *) report found "$name" ;;
        esac
    fi
    printf '%s' "${text%.}" >"$path"
done
echo "$((${#picked[@]} - missed)) of ${#picked[@]} faults found"
[ "$missed" -eq 0 ]
