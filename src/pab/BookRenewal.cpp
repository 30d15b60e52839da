#include "pab/BookRenewal.h"

#include "pab/AddressBook.h"
#include "pab/PABContact.h"
#include "platform/ChangeProtocol.h"
#include "platform/FileHandle.h"
#include "platform/FileNames.h"
#include "platform/FileRewrite.h"
#include "platform/FileStamp.h"
#include "platform/LastError.h"
#include "platform/RedoFile.h"

#include <algorithm>

inline namespace contactmgr_internal
{

namespace
{

bool IsOlder(const std::string& path, const std::string& than)
{
    WIN32_FILE_ATTRIBUTE_DATA file;
    WIN32_FILE_ATTRIBUTE_DATA other;
    return GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &file) != 0 &&
           GetFileAttributesExA(than.c_str(), GetFileExInfoStandard, &other) != 0 &&
           file.ftLastWriteTime < other.ftLastWriteTime;
}

// Opening a file for writing completes a save that was cut short; opening it for reading only does
// not. Both lock it, so that nobody else changes it or its redo file.
bool Renew(const std::string& path, const std::string& redoPath, bool isDropped)
{
    const CFileHandle file(
        CreateFileA(path.c_str(), isDropped ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE, 0,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    return file.IsOpen() && (!isDropped || DeleteFileA(redoPath.c_str()) != 0) &&
           RestampFile(file.Get()) != 0;
}

} // namespace

bool RenewAddressBook(const std::string& folder, CBookRenewal* renewal)
{
    const std::string redoFolder = folder + kRedoFolder;
    std::vector<std::string> names;
    std::vector<std::string> redoNames;
    FILETIME latest;
    if (!MoveFolderTime(folder, FILETIME(), &latest)) {
        return IsMissingFile(GetLastError());
    }
    if (!MoveOldRedoFiles(folder) || ListFiles(folder.c_str(), &names, ".vcf") == 0 ||
        ListFiles(redoFolder.c_str(), &redoNames) == 0) {
        return false;
    }
    std::erase(redoNames, kStampLock);
    std::sort(names.begin(), names.end());
    std::sort(redoNames.begin(), redoNames.end());
    for (const std::string& name : names) {
        const std::optional<ContactMgr::CContactId> id = CAddressBook::ContactOf(name);
        if (!id) {
            continue;
        }
        const std::string path = folder + '/' + name;
        const std::string redoPath = redoFolder + '/' + name;
        const bool hasRedo = std::binary_search(redoNames.begin(), redoNames.end(), name);
        const bool isDropped = hasRedo && IsOlder(path, redoPath);
        if (!Renew(path, redoPath, isDropped)) {
            renewal->failed.emplace_back(*id, GetLastError());
            continue;
        }
        ++renewal->renewed;
        if (hasRedo) {
            (isDropped ? renewal->dropped : renewal->completed).push_back(name);
        }
    }
    // Redo files of contacts that no longer exist.
    for (const std::string& name : redoNames) {
        if (std::binary_search(names.begin(), names.end(), name)) {
            continue;
        }
        if (DeleteFileA((redoFolder + '/' + name).c_str()) != 0) {
            renewal->dropped.push_back(name);
        } else {
            renewal->failed.emplace_back(CPABContact::FileNameToContactId(name), GetLastError());
        }
    }
    return true;
}

} // namespace contactmgr_internal
