#include "commands/Commands.h"

#include "base/Record.h"
#include "base/Session.h"
#include "base/Walk.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <utility>

namespace
{

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

void AddQueryCommand(CLI::App& app, CCommands* commands)
{
    const auto text = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("query", "Look for addresses, in the form that mutt's "
                                                    "query_command reads");
    command->add_option("TEXT", *text, "Part of a name or an address")->required();
    commands->push_back({command, [text](CSession& session) { return Query(session, *text); }});
}
