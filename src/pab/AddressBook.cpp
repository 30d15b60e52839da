#include "pab/AddressBook.h"

#include "pab/PABContact.h"
#include "platform/Failure.h"
#include "platform/FileHandle.h"
#include "platform/FileNames.h"
#include "platform/FileStamp.h"
#include "platform/Flushing.h"
#include "server/MailOwner.h"
#include "server/MailboxPlace.h"

#include <algorithm>
#include <cstdint>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::uint32_t kUsualRoom = 261;

bool HasContent(const WIN32_FILE_ATTRIBUTE_DATA& file)
{
    return (file.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
           (file.nFileSizeLow | file.nFileSizeHigh) != 0;
}

} // namespace

std::optional<CAddressBook> CAddressBook::Of(CMailbox& mailbox)
{
    const std::uint32_t before = GetLastError();
    CMailboxMailOwner owner;
    if (!owner.Open(mailbox)) {
        return std::nullopt;
    }
    std::uint32_t size = kUsualRoom;
    std::string location(size, '\0');
    bool isRead = owner.GetMessageStoreLocation(location.data(), &size);
    if (!isRead && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        location.resize(size);
        isRead = owner.GetMessageStoreLocation(location.data(), &size);
    }
    if (!isRead) {
        return std::nullopt;
    }
    SetLastError(before);
    location.resize(size);
    return CAddressBook(location.append(kAddressBookFolder));
}

std::optional<ContactMgr::CContactId> CAddressBook::ContactOf(const std::string& fileName)
{
    ContactMgr::CContactId id = CPABContact::FileNameToContactId(fileName);
    return CPABContact::ContactIdToFileName(id) == fileName ? std::optional(std::move(id))
                                                            : std::nullopt;
}

std::string CAddressBook::FileOf(const ContactMgr::CContactId& id) const
{
    return m_folder + '/' + CPABContact::ContactIdToFileName(id);
}

bool CAddressBook::ListContacts(std::vector<ContactMgr::CContactId>* ids) const
{
    std::vector<ContactMgr::CContactId> found;
    if (!KeepingLastError([&] { return FindContacts(&found); })) {
        return false;
    }
    std::ranges::sort(found, {}, &ContactMgr::CContactId::ToNumber);
    ids->insert(ids->end(), found.begin(), found.end());
    return true;
}

bool CAddressBook::FindContacts(std::vector<ContactMgr::CContactId>* ids) const
{
    WIN32_FIND_DATA entry;
    const CFindHandle search(FindFirstFileA((m_folder + "/*.vcf").c_str(), &entry));
    if (!search.IsOpen()) {
        return IsMissingFile(GetLastError());
    }
    do {
        const std::optional<ContactMgr::CContactId> id = ContactOf(entry.cFileName);
        if (id && HasContent(entry)) {
            ids->push_back(*id);
        }
    } while (FindNextFileA(search.Get(), &entry) != 0);
    return GetLastError() == ERROR_NO_MORE_FILES;
}

CAddressBook::EFile CAddressBook::StateOf(const ContactMgr::CContactId& id) const
{
    const CKeepLastError keep;
    WIN32_FILE_ATTRIBUTE_DATA file;
    if (GetFileAttributesExA(FileOf(id).c_str(), GetFileExInfoStandard, &file) == 0) {
        return EFile::kMissing;
    }
    return HasContent(file) ? EFile::kFilled : EFile::kEmpty;
}

bool CAddressBook::MayCreate() const
{
    return MayWriteFolder(m_folder.c_str());
}

bool CAddressBook::KeepsFineTimes() const
{
    return KeepsFineFileTimes(FolderAbove());
}

bool CAddressBook::Flush() const
{
    return KeepingLastError(
        [this] { return FlushFileSystem(m_folder.c_str()) != 0 || IsMissingFile(GetLastError()); });
}

std::string CAddressBook::FolderAbove() const
{
    return m_folder.substr(0, m_folder.rfind('/'));
}

} // namespace contactmgr_internal
