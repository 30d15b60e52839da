#pragma once

#include "core/ContactId.h"
#include "platform/Types.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class CMailbox;

inline namespace contactmgr_internal
{

// The files of one personal address book, for a program that has to account for each of them. A
// walk passes over a contact that is held elsewhere, damaged or may not be written. A report of
// changes leaves out a contact that is being made. Here every contact file counts.
//
// A contact file is "%08x.vcf" of the contact's number with its bits reversed (pab/PABContact.h). A
// file without content stands for a deleted contact, or for one that has not been saved yet.
//
// A value: it keeps the path of the folder and nothing else. Each call reads the disk anew, locks
// nothing and changes nothing. Throws std::bad_alloc when memory is exhausted. Any thread.
class CAddressBook
{
public:
    // The address book of an open mailbox: the folder "Contacts" below the location of its message
    // store (CMailServer tells where that is). The folder need not exist. Nothing with last error
    // ERROR_INVALID_HANDLE (6): the mailbox is closed.
    static std::optional<CAddressBook> Of(CMailbox& mailbox);

    explicit CAddressBook(std::string folder) : m_folder(std::move(folder)) {}

    // The path of the folder, in bytes, without a slash at its end.
    const std::string& Folder() const { return m_folder; }

    // The contact whose file has exactly this name; nothing for any other name. Reads no file.
    static std::optional<ContactMgr::CContactId> ContactOf(const std::string& fileName);

    // The path of a contact's file. Reads no file.
    std::string FileOf(const ContactMgr::CContactId& id) const;

    // A contact file, and by what a change of its content can be told. Each save and each deletion
    // moves the time of writing on. Other programs may set that time, but not the time of the
    // change: rsync(1) brings back the first one and moves the second one on.
    struct CFile
    {
        std::uint32_t number = 0; // of the contact
        FILETIME written;
        FILETIME changed;
        std::uint64_t size = 0; // in bytes
    };

    // Appends all contact files with content, by their numbers. A folder that does not exist has
    // none. False with the last error of the listing, such as ERROR_ACCESS_DENIED (5); then nothing
    // is appended.
    bool ListFiles(std::vector<CFile>* files) const;

    // Appends the numbers of the contacts that an unfinished save has left a redo file of: the next
    // open completes it. Last errors as ListFiles.
    bool ListUnfinished(std::vector<std::uint32_t>* numbers) const;

    // Appends the identifiers of all contact files with content, as ListFiles.
    bool ListContacts(std::vector<ContactMgr::CContactId>* ids) const;

    enum class EFile
    {
        kMissing, // never made, or it cannot be looked at
        kEmpty,   // deleted, or not saved yet
        kFilled
    };
    EFile StateOf(const ContactMgr::CContactId& id) const;

    // Whether this process may make files in the folder. False with the reason in the last error:
    // ERROR_ACCESS_DENIED (5) without the right, ERROR_PATH_NOT_FOUND (3) without the folder. Tells
    // more than CContactMgr::CreateContact, which leaves ERROR_INVALID_PARAMETER (87) whenever no
    // number could be claimed.
    bool MayCreate() const;

    // Whether the file system keeps fractions of a second in file times, as reports of changes
    // need. Tries it on a file without a name in the folder above, or on one that goes at once.
    // True where no such file can be made.
    bool KeepsFineTimes() const;

    // Writes what stands unflushed on the file system of the address book to its disk. A folder
    // that does not exist has nothing to flush. Last error ERROR_DISK_FULL (112), ERROR_IO_DEVICE
    // (1117): the disk refused it.
    bool Flush() const;

private:
    bool FindFiles(std::vector<CFile>* files) const;
    std::string FolderAbove() const;

    std::string m_folder;
};

} // namespace contactmgr_internal
