#include "intake/Importer.h"

#include "base/StdioFile.h"
#include "cards/Uid.h"
#include "intake/InputText.h"
#include "pab/PABContact.h"
#include "platform/Errno.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace
{

// Of a contact that would be made. A number behind it tells such contacts apart.
constexpr const char* kNoId = "-";

bool IsNoId(std::string_view id)
{
    return id.starts_with(kNoId);
}

// Whether a save that failed so will fail for other contacts too.
bool BlocksOthers(std::uint32_t code)
{
    return code == ERROR_DISK_FULL || code == ERROR_DISK_QUOTA_EXCEEDED || code == ERROR_IO_DEVICE;
}

// The lines of a contact. False with the last error of CContact::ToString.
bool ReadLines(CContact& contact, CVCard* lines)
{
    std::u16string text;
    if (!contact.ToString(&text)) {
        return false;
    }
    *lines = ReadVCard(ToUtf8(text));
    return true;
}

// What the store makes of lines, without those that each save renews. An object without a file
// writes nothing.
bool ReadStoredForm(const CVCard& card, CVCard* lines)
{
    CPABContact contact;
    if (!contact.FromString(WriteVCard(card)) || !ReadLines(contact, lines)) {
        return false;
    }
    std::erase_if(*lines, [](const CVCardLine& line) {
        return line.name == "REV" || line.name == "X-LARKMERE-WSSVERSION";
    });
    return true;
}

} // namespace

CImporter::CImporter(CSession& session, const CImportOptions& options)
    : m_session(session), m_options(options)
{}

// What is reported must not stand behind the line of progress.
CReport& CImporter::Report()
{
    m_progress.Clear();
    return m_session.Report();
}

bool CImporter::Begin()
{
    if (m_options.existing == EExisting::kIgnored) {
        return true;
    }
    std::vector<std::string> ids;
    if (!m_session.ListAddressBook(&ids)) {
        return false;
    }
    for (std::size_t i = 0; i < ids.size() && !m_interrupt.HasCome(); ++i) {
        m_progress.Show("read the contacts of " + m_session.MailboxName(), i);
        const std::unique_ptr<CContact> contact = m_session.OpenListed("import", ids[i]);
        CVCard lines;
        if (contact != nullptr && ReadLines(*contact, &lines)) {
            m_known.Add(lines, ids[i], DerivedUid(m_session.Owner(), ids[i]));
        }
    }
    return true;
}

void CImporter::ImportFile(const std::string& path)
{
    if (m_isStopped) {
        return;
    }
    if (m_interrupt.HasCome()) {
        Stop(1, path);
        return;
    }
    if (path == "-") {
        ImportStream(stdin, "standard input");
        return;
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        Report().Refusal("import " + path, "it is a folder");
        return;
    }
    const CFile file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        SetLastError(ErrorFromErrno(errno));
        Report().Failure("import " + path);
        return;
    }
    ImportStream(file.get(), path);
}

void CImporter::ImportStream(std::FILE* stream, const std::string& path)
{
    errno = 0;
    m_known.BeginFile();
    CInputText input(stream);
    const std::unique_ptr<CCardSource> source = OpenCards(input);
    CImportCard card;
    std::size_t count = 0;
    while (source->Next(&card)) {
        if (m_interrupt.HasCome()) {
            Stop(card.number, path);
            return;
        }
        count = card.number;
        m_progress.Show("import " + path, count);
        ImportCard(card, "import " + path + ": card " + std::to_string(count));
        if (m_isBlocked) {
            Stop(count, path);
            return;
        }
    }
    if (m_interrupt.HasCome() && std::feof(stream) == 0) {
        Stop(count + 1, path);
    } else if (std::ferror(stream) != 0) {
        SetLastError(ErrorFromErrno(errno));
        Report().Failure("import " + path, "cannot be read");
    } else if (count == 0) {
        Report().Refusal("import " + path, "no " + std::string(source->Contents()) + " in it",
                         ERROR_INVALID_DATA);
    }
}

void CImporter::Stop(std::size_t number, const std::string& path)
{
    m_isStopped = true;
    Report().Refusal("import", "stopped at card " + std::to_string(number) + " of " + path);
}

void CImporter::ImportCard(const CImportCard& card, const std::string& what)
{
    if (!card.fault.empty()) {
        Report().Refusal(what, card.fault, card.faultCode);
        return;
    }
    if (card.notPerson != nullptr) {
        const CVCardLine* const name = FindLine(card.card, "FN");
        Report().Note(what, std::string("left out: it is ") + card.notPerson +
                                (name == nullptr ? "" : ", " + UnescapeValue(name->value)));
        return;
    }
    const std::string id = m_known.Find(card.card);
    if (!id.empty() && m_options.existing == EExisting::kSkipped) {
        AddResult("skipped", id, card.card);
        return;
    }
    const bool isTaken = id.empty() ? Create(card, what) : Update(card, id, what);
    const std::string note = card.Note();
    if (isTaken && !note.empty()) {
        Report().Note(what, note);
    }
}

bool CImporter::CheckCard(const CVCard& card, const std::string& what)
{
    CPABContact contact;
    return Try([&] { return contact.FromString(WriteVCard(card)); }) || ReportRefused(what);
}

bool CImporter::Create(const CImportCard& card, const std::string& what)
{
    if (m_options.isDryRun) {
        return CheckCard(card.card, what) &&
               AddResult("created", kNoId + std::to_string(m_results.size()), card.card);
    }
    if (m_contact == nullptr) {
        m_contact.reset(Try([&] { return m_session.Manager().CreateContact(nullptr); }));
    }
    if (m_contact == nullptr) {
        m_isBlocked = true;
        m_progress.Clear();
        return m_session.FailCreation(what);
    }
    if (!Try([&] { return m_contact->FromString(WriteVCard(card.card)); })) {
        return ReportRefused(what);
    }
    const ContactMgr::CContactId id = m_contact->GetId();
    const bool isSaved = Save(*m_contact, what);
    m_contact.reset();
    if (!isSaved) {
        m_session.Manager().DeleteContact(id);
        return false;
    }
    return AddResult("created", id.ToString(), card.card);
}

// True if the contact was changed.
bool CImporter::Update(const CImportCard& card, const std::string& id, const std::string& what)
{
    if (IsNoId(id)) {
        return AddResult("changed", id, card.card);
    }
    const std::unique_ptr<CContact> contact = m_session.OpenContact(what + ": open", id);
    if (contact == nullptr) {
        return false;
    }
    CVCard before;
    CVCard storedBefore;
    CVCard storedAfter;
    if (!Try([&] {
            return ReadLines(*contact, &before) && ReadStoredForm(before, &storedBefore);
        })) {
        return Report().Failure(what + ": read " + id);
    }
    const CVCard after = LayOver(before, card.card, card.isNameMade);
    if (!Try([&] { return ReadStoredForm(after, &storedAfter); })) {
        return ReportRefused(what);
    }
    if (storedBefore == storedAfter) {
        AddResult("skipped", id, card.card);
        return false;
    }
    if (m_options.isDryRun) {
        return CheckCard(after, what) && AddResult("changed", id, card.card);
    }
    if (!Try([&] { return contact->FromString(WriteVCard(after)); })) {
        return ReportRefused(what);
    }
    return Save(*contact, what) && AddResult("changed", id, card.card);
}

bool CImporter::Save(CContact& contact, const std::string& what)
{
    if (Try([&] { return contact.Save(); })) {
        m_hasSaved = true;
        return true;
    }
    m_isBlocked = BlocksOthers(GetLastError());
    return Report().Failure(what);
}

bool CImporter::ReportRefused(const std::string& what)
{
    const bool isProfile = GetLastError() == ERROR_INVALID_PARAMETER;
    return Report().FailureBecause(what, isProfile ? "a PROFILE other than VCARD" : "");
}

bool CImporter::AddResult(std::string_view done, const std::string& id, const CVCard& card)
{
    if (m_options.existing == EExisting::kIgnored && !m_options.isDryRun) {
        m_results.push_back(id);
        return true;
    }
    m_results.push_back(std::string(done).append(1, ' ').append(IsNoId(id) ? kNoId : id));
    if (m_options.existing != EExisting::kIgnored) {
        m_known.AddTaken(card, id, DerivedUid(m_session.Owner(), id));
    }
    return true;
}

bool CImporter::Finish()
{
    m_progress.Clear();
    const bool isSafe = !m_hasSaved || Try([&] { return m_session.AddressBook().Flush(); }) ||
                        Report().Failure("flush the contacts of " + m_session.MailboxName());
    for (const std::string& result : m_results) {
        Print(result + '\n');
    }
    return isSafe;
}
