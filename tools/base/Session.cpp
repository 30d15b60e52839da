#include "base/Session.h"

#include "base/PropertyReport.h"
#include "base/Stores.h"
#include "core/StoreFactories.h"
#include "userstore/UserStoreContact.h"

#include <algorithm>
#include <string_view>

namespace
{

// The property of a mailbox that an item of its contact is read from.
std::string_view PropertyOf(std::string_view item)
{
    return item == "Jobtitle"     ? "Title"
           : item == "first name" ? "GivenName"
           : item == "last name"  ? "Surname"
                                  : item;
}

// What stands behind the first such character; nothing without one.
std::string_view Behind(std::string_view text, char separator)
{
    const std::size_t at = text.find(separator);
    return at == text.npos ? std::string_view() : text.substr(at + 1);
}

constexpr const char* kForeignMessage = "the message is not in the format of the older web client";

} // namespace

bool CSession::OpenStore()
{
    if (m_options.store.empty()) {
        throw CUsageError("--store or CONTACTMGR_STORE is required");
    }
    const char* const location = m_options.store.c_str();
    return Try([&] { return m_server.Open(location, ServerOptions()); }) ||
           m_report.FailureBecause("mail store " + m_options.store,
                                   ExplainLocation(location, ServerOptions()));
}

CMailboxName CSession::ParseName(const std::string& mailbox) const
{
    const bool isWhole = m_options.domain.empty() || mailbox.find('@') != mailbox.npos;
    return ParseMailboxName(isWhole ? mailbox : mailbox + '@' + m_options.domain);
}

bool CSession::OpenMailbox(const std::string& mailbox)
{
    m_name = ParseName(mailbox);
    if (!OpenStore()) {
        return false;
    }
    m_activeName.emplace(m_name.name, m_name.domain);
    const char* const name = m_name.name.c_str();
    const char* const domain = m_name.domain.c_str();
    if (!Try([&] { return m_mailbox.Open(m_server, name, domain); })) {
        return m_report.FailureBecause("mailbox " + mailbox,
                                       ExplainMailbox(m_server, name, domain));
    }
    m_name = {m_mailbox.GetName(), m_mailbox.GetDomain()};
    m_addressBook = Try([&] { return CAddressBook::Of(m_mailbox); });
    return m_addressBook.has_value() || m_report.Failure("address book of " + mailbox);
}

bool CSession::OpenContacts(EAccess access)
{
    if (m_options.mailbox.empty()) {
        throw CUsageError("--mailbox or CONTACTMGR_MAILBOX is required");
    }
    if (!OpenMailbox(m_options.mailbox)) {
        return false;
    }
    if (!CheckProperties() && access == EAccess::kWrite) {
        return false;
    }
    if (access == EAccess::kWrite) {
        if (!CheckAddressBook()) {
            return false;
        }
        CheckFileSystem();
    }
    m_manager.emplace(m_mailbox);
    return true;
}

std::uint32_t CSession::EnabledStores() const
{
    std::uint32_t mask = 0;
    return m_mailbox.GetProperty("EnabledContactPluginsEffective", &mask) ? mask
                                                                          : kDefaultStoreMask;
}

bool CSession::ListAddressBook(std::vector<std::string>* ids)
{
    const std::string what = "list the contacts of " + MailboxName();
    if (m_manager->GetPermanentPluginType().empty()) {
        SetLastError(ERROR_NOT_FOUND);
        return m_report.Failure(what);
    }
    std::vector<ContactMgr::CContactId> found;
    if (!Try([&] { return m_addressBook->ListContacts(&found); })) {
        return m_report.Failure(what);
    }
    for (const ContactMgr::CContactId& id : found) {
        ids->push_back(id.ToString());
    }
    return true;
}

bool CSession::FailCreation(const std::string& what)
{
    if (GetLastError() == ERROR_INVALID_PARAMETER && m_addressBook->MayCreate()) {
        SetLastError(ERROR_INVALID_PARAMETER);
    }
    return m_report.Failure(what);
}

void CSession::CheckFileSystem()
{
    if (!m_addressBook->KeepsFineTimes()) {
        m_report.Note("mailbox " + m_options.mailbox,
                      "its file system keeps times in whole seconds, which is not supported: "
                      "changes may go unreported");
    }
}

bool CSession::CheckProperties()
{
    const CPropertyOwner owner = {m_name.name, m_name.domain};
    CPropertyFileFault fault;
    std::uint32_t stores = 0;
    return Try([&] {
               return CheckPropertyFiles(m_server, owner.Name(), owner.Domain(), &fault) &&
                      m_mailbox.GetProperty("EnabledContactPlugins", &stores);
           }) ||
           FailProperties(m_report, m_server, owner, "read properties of " + m_options.mailbox,
                          "EnabledContactPlugins");
}

// An address book that is there is used wherever it lies.
bool CSession::CheckAddressBook()
{
    CAddressBookPlace book;
    if (!LocateAddressBook(m_server, m_name.name.c_str(), m_name.domain.c_str(), &book) ||
        !book.isAmongMailFolders) {
        return true;
    }
    if (book.isThere) {
        m_report.Note(
            "mailbox " + m_options.mailbox,
            "its address book " + book.path +
                " is among the mail folders, and whoever "
                "deletes that mail folder deletes all contacts: move it, and say where to by "
                "--book");
        return true;
    }
    return m_report.Refusal("make address book " + book.path,
                            "it would be among the mail folders, and whoever deletes that mail "
                            "folder would delete all contacts: give another place by --book",
                            ERROR_INVALID_PARAMETER);
}

std::unique_ptr<CContact> CSession::OpenContact(const std::string& what, const std::string& id)
{
    const ContactMgr::CContactId contactId(id);
    if (!Allows(what, contactId)) {
        return nullptr;
    }
    CContact* contact = nullptr;
    if (!m_patience.Try([&] { return m_manager->OpenContact(contactId, &contact); })) {
        FailContact(what, contactId);
    }
    return std::unique_ptr<CContact>(contact);
}

bool CSession::FailContact(const std::string& what, const ContactMgr::CContactId& id)
{
    const std::uint32_t code = GetLastError();
    const std::string reason = WhyNot(id, code);
    SetLastError(code);
    return m_report.FailureBecause(what + ' ' + id.ToString(), reason);
}

std::string CSession::NotEnabled(std::string_view store) const
{
    return "store " + std::string(store) + " is not enabled for " + m_options.mailbox +
           ", see its property EnabledContactPlugins";
}

std::string CSession::WhyNot(const ContactMgr::CContactId& id, std::uint32_t code) const
{
    const std::string store = id.Namespace();
    if (code == ERROR_NOT_FOUND) {
        const bool isKnown =
            std::ranges::find(kStores, store, &CStoreName::type) != std::end(kStores);
        return isKnown ? NotEnabled(store)
                       : "no identifier of a contact: one begins with " + StoreTypes("-");
    }
    if (store == kAddressBook) {
        return WhyNotInAddressBook(id, code);
    }
    if (store.starts_with(kOlderWebClient)) {
        switch (code) {
        case ERROR_SUCCESS:
            return "no identifier: it is " + std::string(kOlderWebClient) + "-MESSAGE NAME DOMAIN";
        case ERROR_FILE_NOT_FOUND:
            return "there is no such message";
        case ERROR_PATH_NOT_FOUND:
            return "there is no folder Contacts";
        case ERROR_NOT_SUPPORTED:
            return kForeignMessage;
        default:
            return LastErrorText(code);
        }
    }
    if (code == ERROR_NOT_SUPPORTED) {
        return "contacts of store " + store + " can only be read";
    }
    return code == ERROR_INVALID_DATA ? "no identifier: there is no e-mail address in it"
                                      : LastErrorText(code);
}

std::string CSession::WhyNotInAddressBook(const ContactMgr::CContactId& id,
                                          std::uint32_t code) const
{
    if (id.ToNumber() == 0) {
        return "no identifier: it is " + std::string(kAddressBook) + "-NUMBER";
    }
    const std::string file = m_addressBook->FileOf(id);
    switch (m_addressBook->StateOf(id)) {
    case CAddressBook::EFile::kMissing:
        return IsMissingFile(code) ? "there is no such contact" : LastErrorText(code);
    case CAddressBook::EFile::kEmpty:
        return code == ERROR_SUCCESS ? "it has been deleted" : LastErrorText(code);
    default:
        return file + (code == ERROR_SUCCESS ? " is no vCard 3.0"
                                             : std::string(": ") + LastErrorText(code));
    }
}

std::unique_ptr<CContact> CSession::OpenListed(const std::string& what, const std::string& id)
{
    CContact* contact = nullptr;
    if (m_patience.Try([&] { return m_manager->OpenContact(id, &contact); })) {
        return std::unique_ptr<CContact>(contact);
    }
    const bool isThere = m_addressBook->StateOf(id) == CAddressBook::EFile::kFilled;
    return isThere ? OpenContact(what, id) : nullptr;
}

bool CSession::DeleteContact(const std::string& what, const ContactMgr::CContactId& id)
{
    return Allows(what, id) &&
           (m_patience.Try([&] { return m_manager->DeleteContact(id); }) || FailContact(what, id));
}

bool CSession::HasStore(const std::string& what, const CStoreName& store)
{
    if ((EnabledStores() & store.bit) != 0) {
        return true;
    }
    SetLastError(ERROR_NOT_FOUND);
    return m_report.FailureBecause(what, NotEnabled(store.type));
}

bool CSession::FailStart(const std::string& what, const CContactPlg::CContactEnumerator* walk)
{
    if (walk == nullptr || walk->GetFaults().empty()) {
        return m_report.Failure(what);
    }
    for (const CContactPlg::CWalkFault& fault : walk->GetFaults()) {
        OpenMissed(what, fault);
    }
    return false;
}

std::unique_ptr<CContact> CSession::OpenMissed(const std::string& what,
                                               const CContactPlg::CWalkFault& fault)
{
    if (fault.store == kAddressBook && !fault.item.empty()) {
        return OpenListed(what, fault.item);
    }
    std::string where = what + ": store " + fault.store;
    if (!fault.item.empty()) {
        where += fault.store == kOlderWebClient ? ", folder Contacts, message "
                 : fault.store == kSenders      ? ", folder INBOX, message "
                                                : ", contact ";
        where += fault.item;
    }
    const bool endsHere = fault.endsStore && !fault.item.empty();
    const std::string reason =
        endsHere && fault.store == kOlderWebClient && fault.error == ERROR_NOT_SUPPORTED
            ? kForeignMessage
            : LastErrorText(fault.error);
    SetLastError(fault.error);
    m_report.FailureBecause(where,
                            reason + (endsHere ? "; the contacts behind it are not shown" : ""));
    return nullptr;
}

bool CSession::Allows(const std::string& what, const ContactMgr::CContactId& id)
{
    if (m_options.anyMailbox || !IsForeign(id)) {
        return true;
    }
    return m_report.Refusal(what + " " + id.ToString(),
                            "not of " + m_options.mailbox + "; --any-mailbox allows it");
}

bool CSession::IsForeign(const ContactMgr::CContactId& id) const
{
    const std::string store = id.Namespace();
    const std::string_view local = Behind(id.ToString(), '-');
    if (store.starts_with(kOlderWebClient)) {
        // MESSAGE NAME DOMAIN; the library refuses one without all three.
        const std::string_view mailbox = Behind(local, ' ');
        return mailbox.find(' ') != mailbox.npos && mailbox != m_name.name + ' ' + m_name.domain;
    }
    if (store.starts_with(kMailboxDirectory)) {
        CRfc822Address address;
        return address.Parse(std::string(local).c_str()) &&
               address.EncodedDomain() != m_name.domain;
    }
    return false;
}

bool CSession::IsOfAddressBook(const std::string& what, const ContactMgr::CContactId& id)
{
    return id.Namespace() == kAddressBook ||
           m_report.Refusal(what + ' ' + id.ToString(),
                            "no identifier of the personal address book: it is " +
                                std::string(kAddressBook) + "-NUMBER",
                            ERROR_NOT_SUPPORTED);
}

void CSession::ReportUnreadable(CContact& contact, const std::string& item)
{
    const std::uint32_t code = GetLastError();
    const std::string what = "read " + contact.GetId().ToString() + ": " + item;
    SetLastError(code);
    if (contact.GetPluginType() == kMailboxDirectory && !contact.GetEmails().IsEmpty()) {
        const CRfc822Address& address = contact.GetEmails().GetHead().GetAddress();
        const CPropertyOwner owner = {CUserStoreContact::MailboxNameOf(address),
                                      address.EncodedDomain()};
        if (code == ERROR_PATH_NOT_FOUND) {
            m_report.FailureBecause(what, "there is no mailbox " + owner.Text());
            return;
        }
        FailProperties(m_report, m_server, owner, what, PropertyOf(item));
        return;
    }
    m_report.Failure(what);
}
