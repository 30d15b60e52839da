#include "commands/Commands.h"

#include "base/Session.h"
#include "exchange/CardReader.h"
#include "platform/Errno.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace
{

struct CFileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, CFileCloser>;

// The versions that vCard has had, apart from the one that the library reads.
bool IsOtherVersion(const std::string& version)
{
    static constexpr std::array<std::string_view, 3> kOthers = {"1.0", "2.1", "4.0"};
    return std::find(kOthers.begin(), kOthers.end(), version) != kOthers.end();
}

// Makes contacts from cards. A contact that refused its card gets the next one, so that a refused
// card uses up no number. One that got no card at all stays an empty file, which is no contact.
class CImport
{
public:
    explicit CImport(CSession& session) : m_session(session) {}

    void ImportFile(const std::string& path)
    {
        if (path == "-") {
            ImportStream(stdin, "standard input");
            return;
        }
        std::error_code ignored;
        if (std::filesystem::is_directory(path, ignored)) {
            m_session.Report().Refusal("import " + path, "it is a folder");
            return;
        }
        const CFile file(std::fopen(path.c_str(), "rb"));
        if (file == nullptr) {
            SetLastError(ErrorFromErrno(errno));
            m_session.Report().Failure("import " + path);
            return;
        }
        ImportStream(file.get(), path);
    }

    // Flushes what was saved, and prints the identifiers.
    bool Finish()
    {
        const bool isSafe =
            m_ids.empty() || Try([&] { return m_session.AddressBook().Flush(); }) ||
            m_session.Report().Failure("flush the contacts of " + m_session.MailboxName());
        for (const std::string& id : m_ids) {
            Print(id + '\n');
        }
        return isSafe;
    }

private:
    void ImportStream(std::FILE* stream, const std::string& path)
    {
        CCardReader reader(stream);
        if (reader.IsUtf16()) {
            m_session.Report().Refusal("import " + path, "UTF-16 text; vCards are UTF-8",
                                       ERROR_INVALID_DATA);
            return;
        }
        errno = 0;
        CCard card;
        while (reader.Next(&card)) {
            ImportCard(card, "import " + path + ": card " + std::to_string(card.number));
        }
        if (std::ferror(stream) != 0) {
            SetLastError(ErrorFromErrno(errno));
            m_session.Report().Failure("import " + path, "cannot be read");
        } else if (card.number == 0) {
            m_session.Report().Refusal("import " + path, "no vCard in it", ERROR_INVALID_DATA);
        }
    }

    void ImportCard(const CCard& card, const std::string& what)
    {
        CReport& report = m_session.Report();
        if (card.fault != nullptr) {
            report.Refusal(what, card.fault, card.faultCode);
            return;
        }
        if (IsOtherVersion(card.version)) {
            report.Refusal(what, "version " + card.version + " is not supported",
                           ERROR_INVALID_PARAMETER);
            return;
        }
        if (m_contact == nullptr) {
            m_contact.reset(Try([&] { return m_session.Manager().CreateContact(nullptr); }));
        }
        if (m_contact == nullptr) {
            m_session.FailCreation(what);
            return;
        }
        if (!Try([&] { return m_contact->FromString(card.text); })) {
            ReportRefusedCard(card, what);
            return;
        }
        if (Save(what)) {
            ReportForeignLines(card, what);
        }
    }

    bool Save(const std::string& what)
    {
        const ContactMgr::CContactId id = m_contact->GetId();
        if (Try([&] { return m_contact->Save(); })) {
            m_ids.push_back(id.ToString());
            m_contact.reset();
            return true;
        }
        m_session.Report().Failure(what);
        m_contact.reset();
        m_session.Manager().DeleteContact(id);
        return false;
    }

    void ReportRefusedCard(const CCard& card, const std::string& what)
    {
        CReport& report = m_session.Report();
        switch (GetLastError()) {
        case ERROR_INVALID_DATA:
            report.FailureBecause(what, "text beside BEGIN:VCARD or END:VCARD on its line");
            break;
        case ERROR_INVALID_PARAMETER:
            report.FailureBecause(what, card.version.empty() || card.version == "3.0"
                                            ? "another VERSION, or a PROFILE other than VCARD"
                                            : "not version 3.0: " + card.version);
            break;
        default:
            report.Failure(what);
        }
    }

    void ReportForeignLines(const CCard& card, const std::string& what)
    {
        const std::vector<std::string> lines = FindForeignLines(card.text);
        if (!lines.empty()) {
            constexpr std::size_t kShownBytes = 40;
            m_session.Report().Note(what, "left out " + std::to_string(lines.size()) +
                                              (lines.size() == 1 ? " line" : " lines") +
                                              " that cannot be read, the first: " +
                                              lines.front().substr(0, kShownBytes));
        }
    }

    CSession& m_session;
    std::unique_ptr<CContact> m_contact;
    std::vector<std::string> m_ids;
};

bool Import(CSession& session, const std::vector<std::string>& files)
{
    if (!session.OpenContacts(CSession::EAccess::kWrite)) {
        return false;
    }
    CImport import(session);
    for (const std::string& file : files) {
        import.ImportFile(file);
    }
    return import.Finish();
}

} // namespace

void AddImportCommand(CLI::App& app, CCommands* commands)
{
    const auto files = std::make_shared<std::vector<std::string>>();
    CLI::App* command =
        app.add_subcommand("import", "Make contacts from vCards and print their identifiers");
    command->add_option("FILE", *files, "Files of vCards; - is standard input")->required();
    commands->push_back({command, [files](CSession& session) { return Import(session, *files); }});
}
