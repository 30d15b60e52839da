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

#include <sys/stat.h>
#include <time.h>

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

std::string TimeText(const timespec& time)
{
    return std::to_string(time.tv_sec) + '.' + std::to_string(time.tv_nsec) + ' ';
}

// A change within a second of a folder's time may leave that time as it is: its clock is coarse, or
// another machine's.
bool IsSettled(const timespec& time, const timespec& now)
{
    return time.tv_sec + 1 < now.tv_sec || time.tv_sec > now.tv_sec + 1;
}

// By what a change of a mail folder can be told. Empty: not now.
std::string SignatureOf(const std::string& folder)
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::string signature;
    for (const char* part : {"/cur", "/new"}) {
        struct stat status = {};
        if (stat((folder + part).c_str(), &status) != 0) {
            signature += "none ";
            continue;
        }
        if (!IsSettled(status.st_mtim, now) || !IsSettled(status.st_ctim, now)) {
            return "";
        }
        signature += std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino) + ' ' +
                     TimeText(status.st_mtim) + TimeText(status.st_ctim);
    }
    return signature;
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
            entries->push_back(
                {id, index->Keep(address), index->Keep(name.empty() ? comment : name),
                 index->Keep(FoldText(texts.names + comment + '\n' + address)), others});
        }
    }
}

} // namespace

CAddressSources::CAddressSources(CSession& session) : m_session(session)
{
    CMailboxMailOwner owner;
    if (Try([&] { return owner.Open(m_session.Mailbox()); })) {
        m_inbox.Open(owner, kSenders.data());
        m_older.Open(owner, kOlderFolder.data());
    }
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

// A file that has changed since the listing is read in its new form, and once more the next time.
bool CAddressSources::UpdateContacts(CAddressIndex* index)
{
    const CAddressBook& book = m_session.AddressBook();
    std::vector<CAddressBook::CFile> files;
    std::vector<std::uint32_t> unfinished;
    if (!Try([&] { return book.ListFiles(&files) && book.ListUnfinished(&unfinished); })) {
        m_session.Report().Failure("query: store " + std::string(kAddressBook));
        return false;
    }
    const std::vector<CIndexedContact> known = std::exchange(index->contacts, {});
    const CAddressEntries knownEntries = std::exchange(index->contactAddresses, {});
    std::size_t kept = 0;
    auto next = known.begin();
    auto nextEntry = knownEntries.begin();
    const auto pass = [&] { nextEntry += static_cast<std::ptrdiff_t>((next++)->addresses); };
    for (const CAddressBook::CFile& file : files) {
        CIndexedContact contact{file.number, FileTimeToCount(file.written), file.size, 0};
        while (next != known.end() && next->number < contact.number) {
            pass(); // it has gone
        }
        CAddressEntries& entries = index->contactAddresses;
        const std::size_t before = entries.size();
        if (next != known.end() && next->IsSame(contact) &&
            std::ranges::find(unfinished, file.number) == unfinished.end()) {
            const auto begin = nextEntry;
            pass();
            entries.insert(entries.end(), begin, nextEntry);
            ++kept;
        } else if (const auto opened = m_session.OpenListed("query", IdOf(file.number))) {
            AddAddresses(*opened, m_session, index, &entries);
        } else {
            continue;
        }
        contact.addresses = entries.size() - before;
        index->contacts.push_back(contact);
    }
    return kept != known.size() || kept != index->contacts.size();
}

bool CAddressSources::UpdateOlder(CAddressIndex* index)
{
    const std::string signature = m_older.IsValid() ? SignatureOf(m_older.GetPath()) : "";
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
        SetLastError(ERROR_PATH_NOT_FOUND);
        m_session.Report().Failure("query: store " + std::string(kSenders));
        return false;
    }
    const std::string signature = SignatureOf(m_inbox.GetPath());
    const bool isChanged = signature.empty() || signature != index->inboxSignature;
    if (isChanged) {
        file->ReadMessages(index);
        index->inboxSignature = UpdateMessages(m_session, m_inbox, index) ? signature : "";
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
    return Walk(m_session, walk, "query", nullptr,
                [&](CContact& contact) { AddAddresses(contact, m_session, index, entries); }) &&
           walk->GetFaults().empty() && walk->GetPassedOver().empty();
}
