#include "pab/AddressBook.h"

#include "pab/PABContact.h"
#include "platform/ChangeProtocol.h"
#include "platform/Failure.h"
#include "platform/FileNames.h"
#include "platform/FileSearch.h"
#include "platform/FileStamp.h"
#include "platform/Flushing.h"
#include "server/MailOwner.h"
#include "server/MailboxPlace.h"

#include <algorithm>
#include <charconv>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::uint32_t kUsualRoom = 261;

// The number of the contact whose file has exactly this name; 0 for any other name.
std::uint32_t NumberOf(std::string_view fileName)
{
    constexpr std::size_t kDigits = 8;
    constexpr int kHexadecimal = 16;
    const std::string_view digits = fileName.substr(0, kDigits);
    std::uint32_t reversed = 0;
    const bool isName = fileName.size() > kDigits && fileName.substr(kDigits) == ".vcf" &&
                        digits.find_first_not_of("0123456789abcdef") == digits.npos;
    if (isName) {
        std::from_chars(digits.data(), digits.data() + kDigits, reversed, kHexadecimal);
    }
    return ReverseBits(reversed);
}

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
    const std::uint32_t number = NumberOf(fileName);
    return number == 0 ? std::nullopt
                       : std::optional<ContactMgr::CContactId>(std::in_place,
                                                               CPABContact::kPluginType, number);
}

std::string CAddressBook::FileOf(const ContactMgr::CContactId& id) const
{
    return m_folder + '/' + CPABContact::ContactIdToFileName(id);
}

bool CAddressBook::ListFiles(std::vector<CFile>* files) const
{
    std::vector<CFile> found;
    if (!KeepingLastError([&] { return FindFiles(&found); })) {
        return false;
    }
    std::ranges::sort(found, {}, &CFile::number);
    files->insert(files->end(), found.begin(), found.end());
    return true;
}

bool CAddressBook::FindFiles(std::vector<CFile>* files) const
{
    std::vector<std::string> names;
    std::vector<std::optional<WIN32_FILE_ATTRIBUTE_DATA>> found;
    const auto take = [&names](std::string_view name) {
        if (NumberOf(name) != 0) {
            names.emplace_back(name);
        }
    };
    if (ForEachFile(m_folder.c_str(), ".vcf", take) == 0 ||
        ReadAttributes(m_folder.c_str(), names, &found) == 0) {
        return IsMissingFile(GetLastError());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (found[i] && HasContent(*found[i])) {
            const WIN32_FILE_ATTRIBUTE_DATA& file = *found[i];
            files->push_back({NumberOf(names[i]), file.ftLastWriteTime, file.ftChangeTime,
                              std::uint64_t{file.nFileSizeHigh} << 32 | file.nFileSizeLow});
        }
    }
    return true;
}

bool CAddressBook::ListUnfinished(std::vector<std::uint32_t>* numbers) const
{
    const std::string folder = m_folder + kRedoFolder;
    return KeepingLastError([&] {
        return ForEachFile(
                   folder.c_str(), ".vcf",
                   [numbers](std::string_view name) { numbers->push_back(NumberOf(name)); }) != 0 ||
               IsMissingFile(GetLastError());
    });
}

bool CAddressBook::ListContacts(std::vector<ContactMgr::CContactId>* ids) const
{
    std::vector<CFile> files;
    if (!ListFiles(&files)) {
        return false;
    }
    for (const CFile& file : files) {
        ids->emplace_back(CPABContact::kPluginType, file.number);
    }
    return true;
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
