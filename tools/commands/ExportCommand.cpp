#include "commands/Commands.h"

#include "base/Session.h"
#include "cards/Csv.h"
#include "cards/JCard.h"
#include "cards/JSContact.h"
#include "cards/Uid.h"
#include "cards/VCard4.h"
#include "sync/SyncCards.h"
#include "sync/VdirExport.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

struct CExportOptions
{
    std::vector<std::string> ids;
    std::string version = "3.0";
    std::string format = "vcard";
    std::string vdir;
};

// Writes contacts in one form to standard output. A resource.
class CExport
{
public:
    CExport(CSession& session, const CExportOptions& options)
        : m_session(session),
          m_options(options),
          m_isArray(options.format == "jcard" || options.format == "jscontact")
    {}

    bool Write(CContact& contact)
    {
        const std::string id = contact.GetId().ToString();
        return m_options.format == "vcard" && m_options.version == "3.0" ? WriteAsItIs(contact, id)
                                                                         : WriteForm(contact, id);
    }

    void Finish()
    {
        if (m_isArray) {
            Print(m_count == 0 ? "[]\n" : "\n]\n");
        } else if (m_options.format == "csv") {
            Print(m_table.Write());
        }
    }

    // The card as vCard in the version that was asked for.
    std::string ToVCard(const CVCard& card, const std::string& what)
    {
        if (m_options.version == "3.0") {
            return WriteVCard(card);
        }
        std::vector<std::string> notes;
        std::string text = WriteVCard(ToVersion4(card, &notes), "4.0");
        ReportNotes(what, notes);
        return text;
    }

private:
    // The library's own text.
    bool WriteAsItIs(CContact& contact, const std::string& id)
    {
        std::u16string text;
        if (!Try([&] { return contact.ToString(&text); })) {
            return m_session.Report().Failure("export " + id);
        }
        std::string card = ToUtf8(text);
        AddUid(DerivedUid(m_session.Owner(), id), &card);
        Print(card);
        return true;
    }

    bool WriteForm(CContact& contact, const std::string& id)
    {
        CVCard card;
        if (!Try([&] { return ReadOutgoingCard(contact, &card); })) {
            return m_session.Report().Failure("export " + id);
        }
        if (StoredUid(card).empty()) {
            SetUid(DerivedUid(m_session.Owner(), id), &card);
        }
        std::vector<std::string> notes;
        if (m_options.format == "vcard") {
            Print(ToVCard(card, "export " + id));
        } else if (m_options.format == "csv") {
            m_table.Add(card, &notes);
        } else {
            Print(m_count == 0 ? "[\n" : ",\n");
            Print(m_options.format == "jcard" ? WriteJCard(card, &notes)
                                              : WriteJSContact(card, &notes));
        }
        ++m_count;
        ReportNotes("export " + id, notes);
        return true;
    }

    void ReportNotes(const std::string& what, std::vector<std::string> notes)
    {
        std::ranges::sort(notes);
        notes.erase(std::unique(notes.begin(), notes.end()), notes.end());
        std::string list;
        for (const std::string& note : notes) {
            list.append(list.empty() ? "left out: " : ", ").append(note);
        }
        if (!list.empty()) {
            m_session.Report().Note(what, list);
        }
    }

    CSession& m_session;
    const CExportOptions& m_options;
    const bool m_isArray;
    CCsvTable m_table;
    std::size_t m_count = 0;
};

bool ExportEach(CSession& session, CExport& writer, std::vector<std::string> ids)
{
    const bool isWhole = ids.empty();
    if (isWhole && !session.ListAddressBook(&ids)) {
        return false;
    }
    for (const std::string& id : ids) {
        const std::unique_ptr<CContact> contact =
            isWhole ? session.OpenListed("export", id) : session.OpenContact("export", id);
        if (contact != nullptr) {
            writer.Write(*contact);
        }
    }
    writer.Finish();
    return true;
}

bool Export(CSession& session, const CExportOptions& options)
{
    if (options.format != "vcard" && (options.version != "3.0" || !options.vdir.empty())) {
        throw CUsageError("--version and --vdir go with --format vcard alone");
    }
    if (!options.vdir.empty() && !options.ids.empty()) {
        throw CUsageError("--vdir takes the whole address book, and no ID");
    }
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    CExport writer(session, options);
    if (options.vdir.empty()) {
        return ExportEach(session, writer, options.ids);
    }
    return ExportVdir(session, options.vdir, [&](const CVCard& card) {
        return writer.ToVCard(card, "export " + StoredUid(card));
    });
}

} // namespace

void AddExportCommand(CLI::App& app, CCommands* commands)
{
    const auto options = std::make_shared<CExportOptions>();
    CLI::App* command = app.add_subcommand("export", "Write contacts as vCards or in another form");
    command->add_option("ID", options->ids,
                        "Identifiers of the contacts; the personal address book if there are none");
    command->add_option("--version", options->version, "Of the vCards: 3.0 or 4.0")
        ->type_name("VERSION")
        ->check(CLI::IsMember({"3.0", "4.0"}).description(""));
    command
        ->add_option("--format", options->format,
                     "vcard, csv (headings of Google Contacts), jcard or jscontact")
        ->type_name("FORM")
        ->check(CLI::IsMember({"vcard", "csv", "jcard", "jscontact"}).description(""));
    command
        ->add_option("--vdir", options->vdir,
                     "Keep a folder as the address book is, one card in a file")
        ->type_name("DIR");
    commands->push_back(
        {command, [options](CSession& session) { return Export(session, *options); }});
}
