#pragma once

#include "core/Contact.h"
#include "pab/CardLines.h"
#include "platform/ChangeProtocol.h"
#include "platform/FileHandle.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline namespace contactmgr_internal
{

namespace VCardUtils
{
class CNameContentLine;
} // namespace VCardUtils

// A contact of the personal address book: one vCard 3.0 file (RFC 2426) in the address book folder,
// locked from Open or Create to destruction. A second object for the same contact, in this process
// or any other, fails at once with ERROR_SHARING_VIOLATION (32). A child process that was forked
// meanwhile keeps the lock until it ends or calls exec.
//
// A caller constructs it, calls exactly one of Open, Create and Delete, works on the record, and
// saves; destruction saves a changed record too. The file is emptied, never removed: a file of
// length 0 stands for a contact that was deleted, or created and not saved yet. It does not open.
//
// The record is the text of the card (pab/CardLines.h). A list is made of its lines when somebody
// asks for it, or at a save. A list for which there is no memory is empty, with last error
// ERROR_NOT_ENOUGH_MEMORY (8). It is made at the next call, and a save fails rather than lose it.
//
// Where memory ends, Open, Create and Delete throw std::bad_alloc; what CContact declares leaves
// ERROR_NOT_ENOUGH_MEMORY (8). A resource; used by one thread at a time.
class CPABContact : public CContact
{
public:
    // The type of the store, and the namespace of its identifiers.
    static constexpr const char* kPluginType = "VCARDPAB";

    // A larger text is no contact: Open and FromString refuse it with ERROR_FILE_TOO_LARGE (223).
    // The bound on lines keeps the memory for a text of tiny lines within a quarter of a gigabyte,
    // and within three quarters with all its lists.
    static constexpr std::uint32_t kMaxFileBytes = kLargestContent;
    static constexpr std::size_t kMaxLines = CCardLines::kMaxLines;

    CPABContact();
    ~CPABContact() override;
    CPABContact(const CPABContact&) = delete;
    CPABContact& operator=(const CPABContact&) = delete;

    // The file name of a contact number is "%08x.vcf" of the number with its 32 bits reversed, and
    // back. A name that does not begin with hexadecimal digits gives number 0.
    static std::string ContactIdToFileName(const ContactMgr::CContactId& id);
    static ContactMgr::CContactId FileNameToContactId(const std::string& fileName);

    // Opens and reads an existing contact. A save that was cut short is completed first, which
    // writes the file. A file that is no vCard 3.0 is refused without a code and stays as it is.
    // Last error ERROR_INVALID_PARAMETER (87): no folder given, or number 0; ERROR_FILE_NOT_FOUND
    // (2): no such contact; ERROR_SHARING_VIOLATION (32): somebody holds it; else of the file, such
    // as ERROR_DISK_FULL (112), or ERROR_ACCESS_DENIED (5) on a read-only file system.
    bool Open(const char* rootDirectory, std::uint32_t number);

    // Makes the file, empty until the first Save, and a record of an empty N line, an empty FN line
    // and VERSION 3.0. Last error ERROR_INVALID_PARAMETER (87): as above; ERROR_ALREADY_EXISTS
    // (183): the number was used before; ERROR_PATH_NOT_FOUND (3): no folder.
    bool Create(const char* rootDirectory, std::uint32_t number);

    // Empties the file without reading it. Last errors as Open. After another one than 2, 3, 32 and
    // 87 the contact may be gone but not yet reported as deleted; deleting it again mends that.
    bool Delete(const char* rootDirectory, std::uint32_t number);

    // Rewrites the file if the record was changed: REV is renewed, the write counter raised, and
    // the folder's time moved (RewriteFile). After a failure the record stays changed, to be saved
    // again, and the file has its old content. If overwriting had begun, the file has a part of the
    // new content, which the next Save, or the next open by anybody, completes; until then the
    // contact does not open, with the code of what stands in the way, such as ERROR_DISK_FULL
    // (112). Last error ERROR_INVALID_DATA (13): the text of an entry is no UTF-16;
    // ERROR_INVALID_PARAMETER (87): a VERSION or PROFILE that Open refuses; ERROR_FILE_TOO_LARGE
    // (223): more than Open reads; else of the file.
    bool Save() override;

    ContactMgr::CContactId GetId() override;
    bool IsReadOnly() override { return false; }
    std::string GetPluginType() override;
    // The last-write time of the file, whatever was changed since.
    bool GetModifiedTime(FILETIME* time) override;

    CContactEmailList& GetEmails() override;
    bool SetEmails(const CContactEmailList& emails) override;
    CContactAddrList& GetAddresses() override;
    bool SetAddresses(const CContactAddrList& addresses) override;
    CContactTelList& GetTelephones() override;
    bool SetTelephones(const CContactTelList& telephones) override;
    CContactIMList& GetIMs() override;
    bool SetIMs(const CContactIMList& ims) override;

    // The given and the family name of the N line. Without that line: those of the text that an
    // earlier FromString replaced. The setters refuse what the text form of SetProperty refuses.
    bool GetFirstName(std::u16string* name) override;
    bool SetFirstName(const std::u16string& name) override;
    bool GetLastName(std::u16string* name) override;
    bool SetLastName(const std::u16string& name) override;

    // Text properties: a line each, or a component of the N line ("Surname", "GivenName",
    // "MiddleInitial", "Title", "Suffix"). A line that is missing reads as empty. False without a
    // code for an unknown name, and for a component where there is no N line.
    bool GetProperty(const CContactProperty& property, std::u16string* value) override;
    // "WssVersion", the write counter; any other name is false without a code.
    bool GetProperty(const CContactProperty& property, std::uint32_t* value) override;
    bool GetProperty(const CContactProperty& property, bool* value) override;

    // An empty value removes the line, or empties the component. The contact counts as changed even
    // after false. Refuses text as CContact::SetProperty says.
    bool SetProperty(const CContactProperty& property, std::u16string value) override;
    using CContact::SetProperty;

    // Lines are folded behind 75 bytes of UTF-8 at most, and end with CR LF. The file is not
    // touched.
    bool ToString(std::u16string* text) override;

    // A reference to a list that was kept from before shows the new entries once the list is asked
    // for again. After ERROR_INVALID_PARAMETER (87) the record holds what the refused text brought,
    // but does not count as changed for it. After any other failure it is as it was.
    bool FromString(const std::string& text) override;

private:
    void SetLocation(const char* rootDirectory, std::uint32_t number);
    bool OpenFile(std::uint32_t disposition);
    bool Read();
    bool Write();
    bool ReadContentLines(CCardLines* lines);
    bool ReadContentLines(CCardLines* lines, std::vector<char> text);
    static void ParseContentLines(CCardLines* lines);
    static bool IsSupportedCard(CCardLines& lines);
    void RenewRevision();
    void RaiseWriteCounter();

    template <class Line, class List>
    void ReadList(List* list);
    template <class Line, class List>
    List& AskForList(List& list);
    template <class Line, class List>
    bool ReplaceList(List* list, const List& with);
    void ReadLists();
    // About how long the written text will be.
    std::size_t SizeOfText() const { return m_lines.GetTextSize() + m_lines.GetTextSize() / 4; }
    template <class Function>
    bool ForEachLine(Function function);

    void GetText(const char* vcardType, std::u16string* text);
    VCardUtils::CNameContentLine* GetName();
    void KeepNames();
    bool SetComponent(bool (VCardUtils::CNameContentLine::*set)(std::u16string),
                      const std::u16string& value);
    bool SetLineProperty(const char* vcardType, const std::u16string& value);
    static const char* ToTextVCardType(const CContactProperty& property);
    static std::string GenerateRevValue();

    std::string m_rootDirectory;
    std::string m_filePath;
    ContactMgr::CContactId m_id;
    CFileHandle m_file;
    bool m_isDirty = false;
    CCardLines m_lines;
    // The first N line of m_lines, once somebody has asked for a part of the name.
    std::unique_ptr<VCardUtils::CNameContentLine> m_name;
    // The full name that becomes the comment of e-mail addresses that have not been asked for yet.
    // A view of m_lines.
    std::optional<std::string_view> m_comment;
};

// The number with its 32 bits in reverse order.
std::uint32_t ReverseBits(std::uint32_t value) noexcept;

} // namespace contactmgr_internal
