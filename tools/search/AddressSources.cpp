#include "search/AddressSources.h"

#include "base/Record.h"
#include "base/Session.h"
#include "base/Stores.h"
#include "base/Text.h"
#include "base/Walk.h"
#include "core/ContactMgrImpl.h"
#include "core/StoreFactories.h"
#include "pab/AddressBook.h"
#include "platform/FileTime.h"
#include "search/ContactTexts.h"
#include "search/Senders.h"
#include "server/MailOwner.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <span>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace
{

constexpr std::string_view kOlderFolder = "Contacts";

const CStoreName& StoreOf(std::string_view type)
{
    return *std::ranges::find(kStores, type, &CStoreName::type);
}

std::string IdOf(std::uint32_t contact)
{
    return ContactMgr::CContactId(kAddressBook.data(), contact).ToString();
}

std::string TimeText(const statx_timestamp& time)
{
    return std::to_string(time.tv_sec) + '.' + std::to_string(time.tv_nsec) + ' ';
}

std::uint64_t Now()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return FileTimeToCount(now);
}

// A change within a second of the last one may leave the time as it is: the clock is coarse, or
// another machine's.
bool IsSettled(const FILETIME& time, std::uint64_t now)
{
    const std::uint64_t count = FileTimeToCount(time);
    return (count < now ? now - count : count - now) > kFileTimeUnitsPerSecond;
}

// A mail folder as it was found.
struct CFolderState
{
    std::string identity;  // of another folder at the same path it is another one
    std::string signature; // by what a change of the folder can be told; empty: not now
};

CFolderState StateOf(const std::string& folder)
{
    const std::uint64_t now = Now();
    CFolderState state;
    bool isSettled = true;
    for (const char* part : {"/cur", "/new"}) {
        struct statx status = {};
        if (statx(AT_FDCWD, (folder + part).c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) !=
            0) {
            state.identity += "none ";
            continue;
        }
        for (const statx_timestamp& time : {status.stx_mtime, status.stx_ctime}) {
            isSettled = isSettled && IsSettled(FileTimeOf(time), now);
            state.signature += TimeText(time);
        }
        state.identity += std::to_string(status.stx_ino) + ' ' + TimeText(status.stx_btime);
        state.signature +=
            std::to_string(status.stx_dev_major) + ':' + std::to_string(status.stx_dev_minor) + ' ';
    }
    state.signature = isSettled ? state.identity + state.signature : "";
    return state;
}

CIndexedContact IndexedContactOf(const CAddressBook::CFile& file, std::uint64_t now)
{
    const std::uint64_t changed = IsSettled(file.changed, now) ? FileTimeToCount(file.changed) : 0;
    return {file.number, FileTimeToCount(file.written), changed, file.size, 0};
}

void AddAddresses(CContact& contact, CSession& session, CAddressIndex* index,
                  CAddressEntries* entries)
{
    const CContactEmailList& emails = contact.GetEmails();
    if (emails.IsEmpty()) {
        return;
    }
    const CRecord record = CRecordReader(contact, session).ReadAll();
    const CContactTexts texts = TextsOf(record);
    const std::string name = OwnName(record);
    const std::string_view id = index->Keep(record.id);
    const CFoldedView others = index->Keep(FoldText(texts.others));
    for (const CContactEmail& email : emails) {
        const std::string address = email.GetAddress().RawAddress();
        if (!address.empty()) {
            const std::string comment =
                ToUtf8(std::u16string_view(email.GetAddress().GetComment()));
            // A contact without a name has that of the address, and is sorted by it too.
            const std::string instead = name.empty() ? comment : "";
            entries->push_back(
                {id, index->Keep(address), index->Keep(name + instead),
                 index->Keep(FoldText(instead + texts.names + comment + '\n' + address)), others});
        }
    }
}

} // namespace

CAddressSources::CAddressSources(CSession& session) : m_session(session)
{
    CMailboxMailOwner owner;
    if (!Try([&] {
            return owner.Open(m_session.Mailbox()) && m_inbox.Open(owner, kSenders.data());
        })) {
        m_inboxError = GetLastError();
    }
    m_older.Open(owner, kOlderFolder.data());
}

bool CAddressSources::HasStore(std::string_view type) const
{
    return (m_session.EnabledStores() & StoreOf(type).bit) != 0;
}

std::string CAddressSources::Key() const
{
    std::string key = std::to_string(m_session.EnabledStores()) + '\n' + FoldingVersion() + '\n' +
                      m_session.MailboxName();
    std::error_code ignored;
    for (const std::string& folder :
         {m_session.AddressBook().Folder(), m_inbox.GetPath(), m_older.GetPath()}) {
        key += '\n' + std::filesystem::absolute(folder, ignored).string();
    }
    return key;
}

bool CAddressSources::Update(CAddressIndexFile* file, CAddressIndex* index)
{
    bool isChanged = HasStore(kAddressBook) && UpdateContacts(index);
    isChanged = (HasStore(kOlderWebClient) && UpdateOlder(index)) || isChanged;
    return (HasStore(kSenders) && UpdateSenders(file, index)) || isChanged;
}

bool CAddressSources::UpdateContacts(CAddressIndex* index)
{
    const CAddressBook& book = m_session.AddressBook();
    const std::uint64_t now = Now();
    const std::vector<CIndexedContact> known = std::exchange(index->contacts, {});
    const CAddressEntries knownEntries = std::exchange(index->contactAddresses, {});
    std::vector<CAddressBook::CFile> files;
    std::vector<std::uint32_t> unfinished;
    if (!Try([&] { return book.ListFiles(&files) && book.ListUnfinished(&unfinished); })) {
        m_session.Report().Failure("query: store " + std::string(kAddressBook));
        return false;
    }
    std::ranges::sort(unfinished);
    std::size_t kept = 0;
    auto next = known.begin();
    auto nextEntry = knownEntries.begin();
    const auto pass = [&] { nextEntry += static_cast<std::ptrdiff_t>((next++)->addresses); };
    for (const CAddressBook::CFile& file : files) {
        const CIndexedContact contact = IndexedContactOf(file, now);
        while (next != known.end() && next->number < contact.number) {
            pass(); // it has gone
        }
        if (next == known.end() || !next->IsSame(contact) ||
            std::ranges::binary_search(unfinished, file.number)) {
            ReadContact(contact, index);
            continue;
        }
        index->contacts.push_back(*next);
        const auto begin = nextEntry;
        pass();
        index->contactAddresses.insert(index->contactAddresses.end(), begin, nextEntry);
        ++kept;
    }
    return kept != known.size() || kept != index->contacts.size();
}

// Adds the contact, unless it cannot be opened. A file that has changed since it was listed is read
// in its new form, and once more the next time. So is one that cannot be read in full.
void CAddressSources::ReadContact(CIndexedContact contact, CAddressIndex* index)
{
    const auto opened = m_session.OpenListed("query", IdOf(contact.number));
    if (opened == nullptr) {
        return;
    }
    const std::size_t failures = m_session.Report().CountFailures();
    const std::size_t before = index->contactAddresses.size();
    AddAddresses(*opened, m_session, index, &index->contactAddresses);
    if (m_session.Report().CountFailures() != failures) {
        contact.changed = 0;
    }
    contact.addresses = index->contactAddresses.size() - before;
    index->contacts.push_back(contact);
}

bool CAddressSources::UpdateOlder(CAddressIndex* index)
{
    const std::string signature = m_older.IsValid() ? StateOf(m_older.GetPath()).signature : "";
    if (!signature.empty() && signature == index->olderSignature) {
        return false;
    }
    index->olderAddresses.clear();
    const bool isWhole = WalkStore(kOlderWebClient, index, &index->olderAddresses);
    const std::string before = std::exchange(index->olderSignature, isWhole ? signature : "");
    return before != index->olderSignature;
}

bool CAddressSources::UpdateSenders(CAddressIndexFile* file, CAddressIndex* index)
{
    if (!m_inbox.IsValid()) {
        index->senderAddresses.clear();
        SetLastError(m_inboxError);
        m_session.Report().Failure("query: store " + std::string(kSenders));
        return false;
    }
    const CFolderState state = StateOf(m_inbox.GetPath());
    const bool isChanged = state.signature.empty() || state.signature != index->inboxSignature;
    if (isChanged) {
        if (state.identity == index->inboxIdentity) {
            file->ReadMessages(index);
        }
        index->inboxIdentity = state.identity;
        index->inboxSignature = UpdateMessages(m_session, m_inbox, index) ? state.signature : "";
    }
    for (const auto& [compression, count] : index->passedOver) {
        m_session.Report().Refusal("query", "messages that are stored as " + compression +
                                                " are not read: " + std::to_string(count));
    }
    return isChanged;
}

CAddressEntries CAddressSources::ReadDomain(CAddressIndex* index)
{
    CAddressEntries entries;
    if (HasStore(kMailboxDirectory)) {
        WalkStore(kMailboxDirectory, index, &entries);
    }
    return entries;
}

// A walk of one store. False if something could not be read.
bool CAddressSources::WalkStore(std::string_view type, CAddressIndex* index,
                                CAddressEntries* entries)
{
    const auto factories = StoreFactories();
    const auto factory = std::ranges::find(factories, StoreOf(type).bit, &StoreFactory::mask);
    CContactMgrImpl store(m_session.Mailbox(), std::span(&*factory, 1));
    const CWalk walk(store.GetEnumerator());
    const std::size_t failures = m_session.Report().CountFailures();
    Walk(m_session, walk, "query", nullptr,
         [&](CContact& contact) { AddAddresses(contact, m_session, index, entries); });
    return m_session.Report().CountFailures() == failures;
}
