#include "Commands.h"

#include "Record.h"
#include "Session.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <utility>

namespace
{

using CEnumerator = CContactPlg::CContactEnumerator;

// Calls `call` for each contact of all stores; with a version, only if anything is newer. What the
// walk does not show is tried once more, and reported as WHAT if it cannot be read.
template <class Call>
bool Walk(CSession& session, const std::string& what, const FILETIME* since, Call call)
{
    const std::unique_ptr<CEnumerator> walk(Try([&] { return session.Manager().GetEnumerator(); }));
    if (walk == nullptr || !Try([&] { return walk->Start(since, nullptr); })) {
        return session.FailStart(what, walk.get());
    }
    while (Try([&] { return walk->MoveNext(); })) {
        call(*walk->GetCurrent());
    }
    if (walk->IsStarted()) {
        return session.Report().Failure(what); // no memory
    }
    walk->Finish();
    for (const auto& [compression, count] : walk->GetPassedOver()) {
        session.Report().Refusal(what, "messages that are stored as " + compression +
                                           " are not read: " + std::to_string(count));
    }
    for (const CContactPlg::CWalkFault& fault : walk->GetFaults()) {
        const std::unique_ptr<CContact> contact = session.OpenMissed(what, fault);
        if (contact != nullptr) {
            call(*contact);
        }
    }
    return true;
}

std::string ListLine(CContact& contact, CSession& session)
{
    CRecordReader record(contact, session);
    return ToField(contact.GetId().ToString()) + '\t' +
           ToField(record.Property(CContactProperty("FullName"))) + '\t' +
           ToField(record.FirstAddress()) + '\n';
}

struct CListOptions
{
    FILETIME since;
    bool json = false;
};

bool List(CSession& session, const CListOptions& options)
{
    return session.OpenContacts(CSession::EAccess::kRead) &&
           Walk(session, "list", &options.since, [&](CContact& contact) {
               Print(options.json ? ToJson(CRecordReader(contact, session).ReadAll()) + '\n'
                                  : ListLine(contact, session));
           });
}

struct CShowOptions
{
    std::string id;
    bool json = false;
};

bool Show(CSession& session, const CShowOptions& options)
{
    if (!session.OpenContacts(CSession::EAccess::kRead)) {
        return false;
    }
    const std::unique_ptr<CContact> contact = session.OpenContact("show", options.id);
    if (contact == nullptr) {
        return false;
    }
    CRecordReader reader(*contact, session);
    if (options.json) {
        Print(ToJson(reader.ReadAll()) + '\n');
        return true;
    }
    std::u16string card;
    if (Try([&] { return contact->ToString(&card); })) {
        Print(ToUtf8(card));
        return true;
    }
    if (GetLastError() != ERROR_NOT_SUPPORTED) {
        return session.Report().Failure("show " + options.id);
    }
    Print(ToText(reader.ReadAll()));
    return true;
}

// The lines that a mail client completes an address from.
class CQuery
{
public:
    CQuery(CSession& session, const std::string& text)
        : m_session(session), m_wanted(FoldCase(ToWide(text, "TEXT")))
    {}

    void Add(CContact& contact)
    {
        CRecordReader record(contact, m_session);
        const std::u16string names = NamesOf(record);
        const bool isNamed = Matches(names);
        for (const CContactEmail& email : record.Emails()) {
            const std::string address = email.GetAddress().RawAddress();
            const std::u16string comment = email.GetAddress().GetComment();
            if (isNamed || Matches(ToWideField(address)) || Matches(comment)) {
                AddLine(address, NameOf(record, comment), contact.GetPluginType());
            }
        }
    }

    bool PrintAnswer() const
    {
        Print(std::to_string(m_count) + (m_count == 1 ? " match\n" : " matches\n") + m_lines);
        return m_count > 0;
    }

private:
    static std::u16string ToWideField(const std::string& text)
    {
        return ToWide(ToUtf8(std::string_view(text)), "address");
    }

    // A line break between them, which the text that is looked for does not have.
    static std::u16string NamesOf(CRecordReader& record)
    {
        return record.Property(CContactProperty("FullName")) + u'\n' + record.FirstName() + u' ' +
               record.LastName() + u'\n' + record.Property(CContactProperty("Nickname"));
    }

    static std::u16string NameOf(CRecordReader& record, const std::u16string& comment)
    {
        std::u16string fullName = record.Property(CContactProperty("FullName"));
        if (!fullName.empty()) {
            return fullName;
        }
        const std::u16string first = record.FirstName();
        const std::u16string last = record.LastName();
        const std::u16string names = first + (first.empty() || last.empty() ? u"" : u" ") + last;
        return names.empty() ? comment : names;
    }

    bool Matches(const std::u16string& text) const
    {
        return FoldCase(text).find(m_wanted) != std::wstring::npos;
    }

    void AddLine(const std::string& address, const std::u16string& name, const std::string& store)
    {
        m_lines += ToField(address) + '\t' + ToField(name) + '\t' + ToField(store) + '\n';
        ++m_count;
    }

    CSession& m_session;
    const std::wstring m_wanted;
    std::string m_lines;
    std::size_t m_count = 0;
};

bool Query(CSession& session, const std::string& text)
{
    CQuery query(session, text);
    return session.OpenContacts(CSession::EAccess::kRead) &&
           Walk(session, "query", nullptr, [&](CContact& contact) { query.Add(contact); }) &&
           query.PrintAnswer();
}

} // namespace

void AddReadCommands(CLI::App& app, CCommands* commands)
{
    const auto list = std::make_shared<CListOptions>();
    CLI::App* command = app.add_subcommand("list", "List the contacts of all stores");
    AddSince(*command, "Nothing unless something is newer", &list->since);
    command->add_flag("--json", list->json, "One JSON object a line");
    commands->push_back({command, [list](CSession& session) { return List(session, *list); }});

    const auto show = std::make_shared<CShowOptions>();
    command = app.add_subcommand("show", "Show one contact");
    command->add_option("ID", show->id, "Identifier of the contact")->required();
    command->add_flag("--json", show->json, "As a JSON object");
    commands->push_back({command, [show](CSession& session) { return Show(session, *show); }});

    const auto text = std::make_shared<std::string>();
    command = app.add_subcommand("query", "Look for addresses, in the form that mutt's "
                                          "query_command reads");
    command->add_option("TEXT", *text, "Part of a name or an address")->required();
    commands->push_back({command, [text](CSession& session) { return Query(session, *text); }});
}
