#pragma once

#include "base/Interrupt.h"
#include "base/Progress.h"
#include "base/Session.h"
#include "intake/ImportCard.h"
#include "intake/KnownContacts.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// What to do with a card of a contact that the address book has already.
enum class EExisting
{
    kIgnored, // nobody looks: each card makes a contact
    kUpdated,
    kSkipped
};

struct CImportOptions
{
    EExisting existing = EExisting::kIgnored;
    bool isDryRun = false;
};

// Makes contacts of the cards of files. A contact that refused its card gets the next one, so that
// a refused card uses up no number. SIGINT and SIGTERM end the work between two cards, and so does
// a fault that the next card would meet too, such as a full disk; what was made until then stays. A
// resource; one at a time.
class CImporter
{
public:
    CImporter(CSession& session, const CImportOptions& options);

    // Reads the contacts that are there, if the options ask for them.
    bool Begin();

    // "-" is standard input. Does nothing once the work was stopped.
    void ImportFile(const std::string& path);

    // Flushes what was saved, and prints the identifiers, with what was done where the options ask
    // for it.
    bool Finish();

private:
    void ImportStream(std::FILE* stream, const std::string& path);
    void ImportCard(const CImportCard& card, const std::string& what);
    bool Create(const CImportCard& card, const std::string& what);
    bool Update(const CImportCard& card, const std::string& id, const std::string& what);
    bool CheckCard(const CVCard& card, const std::string& what);
    bool Save(CContact& contact, const std::string& what);
    bool ReportRefused(const std::string& what);
    void Stop(std::size_t number, const std::string& path);
    bool AddResult(std::string_view done, const std::string& id, const CVCard& card);
    CReport& Report();

    CSession& m_session;
    CImportOptions m_options;
    CInterrupt m_interrupt;
    CProgress m_progress;
    CKnownContacts m_known;
    std::unique_ptr<CContact> m_contact; // made, without a card so far
    std::vector<std::string> m_results;
    bool m_hasSaved = false;
    bool m_isBlocked = false; // the next card would fail as this one did
    bool m_isStopped = false;
};
