#include "pab/PABPlugin.h"

#include "core/ContactProperties.h"
#include "pab/ContactNumber.h"
#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"
#include "platform/Ascii.h"
#include "platform/FileHandle.h"
#include "platform/FileTime.h"
#include "server/FileSystem.h"
#include "server/MailOwner.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

// One walk of the folder for a change report. A value.
struct CChangeScan
{
    struct Creation
    {
        ContactMgr::CContactId id;
        std::uint64_t time = 0;
    };

    std::uint64_t since = 0;
    std::uint64_t version = 0; // the folder's, not earlier than the caller's
    std::uint64_t begin = 0;   // by the clock
    std::uint64_t latest = 0;  // the same, or of a file that is later for good
    std::uint64_t next = 0;    // the version for the caller
    bool isUnfinished = false; // somebody is making a contact
    HANDLE search = INVALID_HANDLE_VALUE;
    ContactMgr::CContactIdList* deleted = nullptr;
    ContactMgr::CContactIdList* changed = nullptr;
    std::vector<Creation> created;
};

namespace
{

constexpr std::uint32_t kPathRoom = 261;

// A file that nothing has been done to for so long is in nobody's hands any more: its maker has
// died in the first save, or a writer before moving the folder's time.
constexpr std::uint64_t kFirstSaveUnits = 10 * kFileTimeUnitsPerSecond;
constexpr std::uint64_t kSettlingUnits = kFileTimeUnitsPerSecond;

// A file's time that lies further ahead was not given by a clock that was set wrong.
constexpr std::uint64_t kFarthestAhead = 24 * 3600 * kFileTimeUnitsPerSecond;

// By the clock of this moment: a walk may take long, and what is changed meanwhile lies behind its
// beginning.
bool IsFromBeforeClockWasSetBack(const CChangeScan& scan, std::uint64_t change)
{
    if (change < scan.begin + kSettlingUnits) {
        return false;
    }
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return change >= FileTimeToCount(now) + kSettlingUnits;
}

bool CopyProperties(CContact& from, CContact& to)
{
    CContactPropertyList names;
    if (!CContactProperties::Instance().GetList(names)) {
        return false;
    }
    for (POSITION position = names.GetHeadPosition(); position != nullptr;) {
        const CContactProperty name = names.GetNext(position);
        std::u16string value;
        if (!from.SupportsProperty(name)) {
            continue;
        }
        if (!from.GetProperty(name, &value) || (!value.empty() && !to.SetProperty(name, value))) {
            return false;
        }
    }
    return true;
}

// A list that a contact reads when it is asked for is empty where it finds no memory.
bool CopyLists(CContact& from, CContact& to)
{
    const std::uint32_t lastError = GetLastError();
    SetLastError(ERROR_SUCCESS);
    const bool isCopied = to.SetEmails(from.GetEmails()) && to.SetAddresses(from.GetAddresses()) &&
                          to.SetTelephones(from.GetTelephones()) && to.SetIMs(from.GetIMs());
    if (!isCopied || GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
        return false;
    }
    SetLastError(lastError);
    return true;
}

} // namespace

CContactPlg* CPABPlugin::Create(CMailbox& mailbox)
try {
    CMailboxMailOwner owner;
    std::array<char, kPathRoom> location = {};
    std::uint32_t size = kPathRoom;
    if (!owner.Open(mailbox) || !owner.GetMessageStoreLocation(location.data(), &size)) {
        return nullptr;
    }
    auto* plugin = new CPABPlugin(std::string(location.data()) + "/Contacts");
    if (plugin == nullptr) {
        FailForMemory();
    }
    return plugin;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return nullptr;
}

void CPABPlugin::Release(CContactPlg* plugin)
{
    delete static_cast<CPABPlugin*>(plugin);
}

CPABPlugin::CPABPlugin(std::string rootDirectory) : m_rootDirectory(std::move(rootDirectory)) {}

std::string CPABPlugin::GetPluginType()
{
    return CPABContact::kPluginType;
}

bool CPABPlugin::OwnsContact(ContactMgr::CContactId id)
try {
    return id.Namespace() == CPABContact::kPluginType;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABPlugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
try {
    if (!OwnsContact(id)) {
        return false;
    }
    std::unique_ptr<CPABContact> opened(new CPABContact);
    if (opened == nullptr) {
        return FailForMemory();
    }
    if (!opened->Open(m_rootDirectory.c_str(), id.ToNumber())) {
        const CKeepLastError keep;
        opened.reset();
        return false;
    }
    if (contact != nullptr) {
        delete std::exchange(*contact, opened.release());
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CContact* CPABPlugin::CreateContact(CContact* contact)
try {
    if (EnsureDirectory(m_rootDirectory.c_str()) == 0 && GetLastError() != ERROR_PATH_NOT_FOUND) {
        return nullptr;
    }
    std::unique_ptr<CPABContact> created(new CPABContact);
    if (created == nullptr) {
        FailForMemory();
        return nullptr;
    }
    const auto drop = [&created] {
        const CKeepLastError keep;
        created.reset();
        return nullptr;
    };
    const std::uint32_t number = AllocateContactNumber();
    const bool isWithoutMemory = number == 0 && GetLastError() == ERROR_NOT_ENOUGH_MEMORY;
    if (isWithoutMemory || !created->Create(m_rootDirectory.c_str(), number)) {
        DistrustContactNumbers();
        return drop();
    }
    if (contact != nullptr) {
        if (!CopyProperties(*contact, *created) || !CopyLists(*contact, *created)) {
            return drop();
        }
    }
    return created.release();
} catch (const std::bad_alloc&) {
    FailForMemory();
    return nullptr;
}

bool CPABPlugin::DeleteContact(ContactMgr::CContactId id)
try {
    if (!OwnsContact(id)) {
        return false;
    }
    CPABContact contact;
    return contact.Delete(m_rootDirectory.c_str(), id.ToNumber());
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CContactPlg::CContactEnumerator* CPABPlugin::GetEnumerator()
{
    auto* enumerator = new CPABContactEnumerator(m_rootDirectory);
    if (enumerator == nullptr) {
        FailForMemory();
    }
    return enumerator;
}

std::uint32_t CPABPlugin::AllocateContactNumber()
{
    return ClaimContactNumber(m_rootDirectory);
}

bool CPABPlugin::ChangesSince(FILETIME since, FILETIME* version,
                              ContactMgr::CContactIdList* deleted,
                              ContactMgr::CContactIdList* changed,
                              ContactMgr::CContactIdList* created)
try {
    if (version == nullptr || deleted == nullptr || changed == nullptr || created == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    FILETIME begin;
    GetSystemTimeAsFileTime(&begin);
    WIN32_FILE_ATTRIBUTE_DATA folder;
    if (CFileSystem::GetFileAttributesExA(m_rootDirectory.c_str(), GetFileExInfoStandard,
                                          &folder) == 0) {
        if (!IsMissingFile(GetLastError())) {
            return false;
        }
        *version = since;
        return true;
    }
    *version = std::max(folder.ftLastWriteTime, since);
    WIN32_FIND_DATA entry;
    CFindHandle search(FindFirstFileA((m_rootDirectory + "/*.vcf").c_str(), &entry));
    if (!search.IsOpen()) {
        return IsMissingFile(GetLastError());
    }
    CChangeScan scan = {.since = FileTimeToCount(since),
                        .version = FileTimeToCount(*version),
                        .begin = FileTimeToCount(begin),
                        .latest = FileTimeToCount(*version),
                        .next = std::numeric_limits<std::uint64_t>::max(),
                        .search = search.Get(),
                        .deleted = deleted,
                        .changed = changed,
                        .created = {}};
    const bool isWhole = ScanChanges(scan, entry);
    FinishReport(scan, created);
    const std::uint64_t moved = scan.isUnfinished ? std::max(scan.latest, scan.begin) : scan.latest;
    if (isWhole && moved > scan.version) {
        // So that whoever asks for the version alone hears of what dead processes left, and comes
        // again as long as somebody is making a contact. Only tried.
        const CKeepLastError keep;
        MoveFolderTimeForward(m_rootDirectory.c_str(), FileTimeFromCount(moved));
    }
    if (isWhole) {
        *version = FileTimeFromCount(scan.next);
    }
    const std::uint32_t error = GetLastError();
    if (!search.Close()) {
        return false;
    }
    SetLastError(error);
    return isWhole;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CPABPlugin::ScanChanges(CChangeScan& scan, WIN32_FIND_DATA& entry)
{
    const CKeepLastError keep;
    do {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            ClassifyChange(scan, entry);
        }
    } while (FindNextFileA(scan.search, &entry) != 0);
    return GetLastError() == ERROR_NO_MORE_FILES;
}

void CPABPlugin::ClassifyChange(CChangeScan& scan, const WIN32_FIND_DATA& entry)
{
    const std::uint64_t lastWrite = FileTimeToCount(entry.ftLastWriteTime);
    if (lastWrite <= scan.since) {
        return;
    }
    const ContactMgr::CContactId id = CPABContact::FileNameToContactId(entry.cFileName);
    if (!EqualIgnoringCase(CPABContact::ContactIdToFileName(id), entry.cFileName)) {
        return;
    }
    std::uint64_t creation = FileTimeToCount(GetEntryCreationTime(scan.search, entry));
    const bool isLive = entry.nFileSizeLow != 0;
    const bool isAhead = creation > lastWrite; // as a maker notes it until the contact is there
    const std::uint64_t change = FileTimeToCount(GetEntryChangeTime(scan.search));
    const bool isSetBack = IsFromBeforeClockWasSetBack(scan, change);
    const bool isSettled =
        isSetBack || change + (isAhead ? kFirstSaveUnits : kSettlingUnits) <= scan.begin;
    const bool isPast =
        lastWrite <= scan.begin || (isSetBack && lastWrite < scan.begin + kFarthestAhead);
    scan.isUnfinished = scan.isUnfinished || (isAhead && !isSettled);
    if (isSettled && isAhead) {
        creation = lastWrite - 1;
    }
    if (isSettled && isPast) {
        scan.latest = std::max(scan.latest, lastWrite);
    }
    if (creation < scan.since) {
        (isLive ? scan.changed : scan.deleted)->AddTail(id);
    } else if (isLive && !isSettled && creation >= scan.version) {
        // Its maker is at it. The stamp that is there may be the last one, so the next report must
        // reach back to it.
        scan.next = std::min(scan.next, lastWrite - 1);
        scan.isUnfinished = true;
    } else if (isLive) {
        scan.created.push_back({id, creation});
    }
}

void CPABPlugin::FinishReport(CChangeScan& scan, ContactMgr::CContactIdList* created)
{
    // A contact that the caller's version does not lie behind is left to the next report as well.
    for (const CChangeScan::Creation& creation : scan.created) {
        if (creation.time < scan.next) {
            created->AddTail(creation.id);
        }
    }
    scan.next = std::min(scan.next, scan.latest);
}
