#include "pab/BookRenewal.h"

#include "pab/PABContact.h"
#include "platform/ChangeProtocol.h"
#include "platform/FileHandle.h"

#include <algorithm>
#include <new>

namespace
{

// For reading only, which completes nothing; nobody else is at the file or its redo file then.
bool Renew(const std::string& path, const std::string& redoPath, bool hasRedo)
{
    const CFileHandle file(CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE));
    return file.IsOpen() && (!hasRedo || DeleteFileA(redoPath.c_str()) != 0) &&
           RestampFile(file.Get()) != 0;
}

} // namespace

bool RenewAddressBook(const std::string& folder, CBookRenewal* renewal)
try {
    const std::string redoFolder = folder + kRedoFolder;
    std::vector<std::string> names;
    std::vector<std::string> redoNames;
    FILETIME latest;
    // Makes the redo folder too, which then has what the first release left.
    if (MoveFolderTime(folder.c_str(), FILETIME(), &latest) == 0) {
        return IsMissingFile(GetLastError());
    }
    if (ListFiles(folder.c_str(), &names, ".vcf") == 0 ||
        ListFiles(redoFolder.c_str(), &redoNames) == 0) {
        return false;
    }
    std::erase(redoNames, kStampLock);
    std::sort(redoNames.begin(), redoNames.end());
    for (const std::string& name : names) {
        const ContactMgr::CContactId id = CPABContact::FileNameToContactId(name);
        if (CPABContact::ContactIdToFileName(id) != name) {
            continue;
        }
        const auto redo = std::lower_bound(redoNames.begin(), redoNames.end(), name);
        const bool hasRedo = redo != redoNames.end() && *redo == name;
        if (!Renew(folder + '/' + name, redoFolder + '/' + name, hasRedo)) {
            renewal->failed.emplace_back(id, GetLastError());
            continue;
        }
        ++renewal->renewed;
        if (hasRedo) {
            renewal->dropped.push_back(name);
        }
    }
    // Those of contacts that are not there any more.
    for (const std::string& name : redoNames) {
        const bool isThere = std::find(names.begin(), names.end(), name) != names.end();
        if (!isThere && DeleteFileA((redoFolder + '/' + name).c_str()) != 0) {
            renewal->dropped.push_back(name);
        }
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}
