#pragma once

#include "core/Contact.h"
#include "directory/ContentLine.h"
#include "platform/ChangeProtocol.h"
#include "platform/FileHandle.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

class CTextLines;

namespace VCardUtils
{
class CNameContentLine;
} // namespace VCardUtils

// A contact of the personal address book: one vCard 3.0 file (RFC 2426) in the address book folder,
// and one exclusive handle on it, held from Open or Create to destruction, so that a second object
// for the same contact fails to open at once (32), in this process or any other. A child process
// that was forked meanwhile and did not call exec holds it too, until it ends.
//
// A caller constructs it, calls exactly one of Open, Create and Delete, works on the record, and
// saves; destruction saves a changed record too. The file is emptied, never removed: one of length
// 0 stands for a contact that was deleted, or created and not saved yet, and does not open.
//
// Exhausted memory: Open, Create and Delete throw std::bad_alloc; what CContact declares leaves
// ERROR_NOT_ENOUGH_MEMORY (8). A resource; used by one thread at a time.
class CPABContact : public CContact
{
public:
    // The type of the store, and the namespace of its identifiers.
    static constexpr const char* kPluginType = "VCARDPAB";

    // A larger text is no contact: Open and FromString refuse it with 223. The bound on lines keeps
    // the memory of a text of nothing but tiny lines within half a gigabyte.
    static constexpr std::uint32_t kMaxFileBytes = kLargestContent;
    static constexpr std::size_t kMaxLines = 2'000'000;

    CPABContact();
    ~CPABContact() override;
    CPABContact(const CPABContact&) = delete;
    CPABContact& operator=(const CPABContact&) = delete;

    // The file name of a contact number is "%08x.vcf" of the number with its 32 bits reversed, and
    // back. A name that does not begin with hexadecimal digits gives number 0.
    static std::string ContactIdToFileName(const ContactMgr::CContactId& id);
    static ContactMgr::CContactId FileNameToContactId(const std::string& fileName);

    // Opens and reads an existing contact. Last error 87: no folder given, or number 0; 2: no such
    // contact; 32: somebody holds it; else as the file operation left it. A file that is no vCard
    // 3.0 is refused without a code of its own and stays as it is. A save that was cut short is
    // completed first, which writes the file; where that fails, its code, such as 112 or, on a
    // read-only file system, 5.
    bool Open(const char* rootDirectory, std::uint32_t number);

    // Makes the file, empty until the first Save, and a record of an empty N line, an empty FN line
    // and VERSION 3.0. Last error 87 as above; 183: the number was used before; 3: no folder.
    bool Create(const char* rootDirectory, std::uint32_t number);

    // Empties the file without reading it. Last errors as Open. After another failure than 2, 3, 32
    // and 87 the contact may be gone, but not reported as deleted; deleting it again does that.
    bool Delete(const char* rootDirectory, std::uint32_t number);

    // Rewrites the file if the record was changed: REV is renewed, the write counter raised, and
    // the folder's time moved (platform/FileApi.h, RewriteFile). After a failure the record stays
    // changed, to be saved again, and the file has its old content; or, where writing over it had
    // begun, a part of the new one, which the next Save or the next open by anybody completes.
    // Until it can be completed the contact does not open, with the code of what it failed for,
    // such as 112. Last error 13: an entry's text is no UTF-16; 87: a VERSION or PROFILE that Open
    // refuses; 223: more than Open reads.
    bool Save() override;

    ContactMgr::CContactId GetId() override;
    bool IsReadOnly() override { return false; }
    std::string GetPluginType() override;
    // The last-write time of the file, whatever was changed since.
    bool GetModifiedTime(FILETIME* time) override;

    bool SetEmails(const CContactEmailList& emails) override;
    bool SetAddresses(const CContactAddrList& addresses) override;
    bool SetTelephones(const CContactTelList& telephones) override;
    bool SetIMs(const CContactIMList& ims) override;

    // The given and the family name of the N line; GetFirstName and GetLastName follow at once.
    // Refused as the text form of SetProperty refuses.
    bool SetFirstName(const std::u16string& name) override;
    bool SetLastName(const std::u16string& name) override;

    // Text properties: a line each, or a component of the N line ("Surname", "GivenName",
    // "MiddleInitial", "Title", "Suffix"). A line that is missing reads as empty. False without a
    // code for a name that is none of the seventeen, and for a component where there is no N line;
    // 87 for a null output.
    bool GetProperty(const CContactProperty& property, std::u16string* value) override;
    // "WssVersion", the write counter; any other name is false without a code.
    bool GetProperty(const CContactProperty& property, std::uint32_t* value) override;
    bool GetProperty(const CContactProperty& property, bool* value) override;

    // An empty value removes the line, or empties the component. The contact counts as changed even
    // after false. Last error 13, and the old value stays, for text that a line cannot carry: a
    // carriage return or a zero character, text that is no UTF-16, and in a component a line feed.
    // False without a code for an unknown name.
    bool SetProperty(const CContactProperty& property, std::u16string value) override;
    using CContact::SetProperty;

    // The record as vCard text with CR LF, folded behind 75 bytes of UTF-8 at most; a file is not
    // touched. Last error 13: an entry's text is no UTF-16; 87: null output. The output is written
    // only on success.
    bool ToString(std::u16string* text) override;

    // Replaces the record by that of a vCard text in UTF-8; the file follows at the next Save. An
    // FN line becomes the comment of every e-mail address. Nothing has changed after last error 8,
    // and 13: no BEGIN:VCARD and END:VCARD around it; 87: a VERSION other than 3.0 or a PROFILE
    // other than VCARD. After 87 the record holds what the refused text brought but does not count
    // as changed for it; drop the object, or give it another text.
    bool FromString(const std::string& text) override;

private:
    void SetLocation(const char* rootDirectory, std::uint32_t number);
    bool OpenFile(std::uint32_t disposition);
    bool Read();
    bool Write();
    bool ReadContentLines(CTextLines* lines);
    bool ReadContentLines(CTextLines* lines, std::string text);
    bool ParseContentLines(const CTextLines& lines);
    void ParseContentLine(std::string_view text);
    bool LinesHaveValue(const char* name, std::u16string_view value) const;
    bool IsSupportedCard() const;
    void TakeNames();
    bool TakeRecord(const CTextLines& lines);
    void RenewRevision();
    void RaiseWriteCounter();

    template <class Function>
    bool ForEachLine(Function function);

    DirectoryUtils::CContentLine& AddLine(std::unique_ptr<DirectoryUtils::CContentLine> line);
    DirectoryUtils::CContentLine* FindLine(const char* name) const;
    DirectoryUtils::CContentLine& FindOrAddLine(const char* name);
    VCardUtils::CNameContentLine* GetName() const;
    VCardUtils::CNameContentLine& GetOrAddName();
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
    DirectoryUtils::CContentLines m_lines;
};

// The number with its lowest bit first.
std::uint32_t ReverseBits(std::uint32_t value) noexcept;
