#include "pab/PABPlugin.h"

#include "core/ContactProperties.h"
#include "pab/AddressBook.h"
#include "pab/ChangeReport.h"
#include "pab/ContactNumber.h"
#include "pab/PABContact.h"
#include "pab/PABContactEnumerator.h"
#include "platform/Failure.h"
#include "server/FileSystem.h"

#include <memory>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// An empty value is passed over: the new contact has none either.
bool CopyProperties(CContact& from, CContact& to)
{
    CContactPropertyList names;
    if (!CContactProperties::Instance().GetList(names)) {
        return false;
    }
    for (POSITION position = names.GetHeadPosition(); position != nullptr;) {
        const CContactProperty name = names.GetNext(position);
        std::u16string value;
        if (!from.SupportsProperty(name)) {
            continue;
        }
        if (!from.GetProperty(name, &value) || (!value.empty() && !to.SetProperty(name, value))) {
            return false;
        }
    }
    return true;
}

// A contact that reads a list on demand gives an empty one where memory ends; only the last error
// tells.
bool CopyLists(CContact& from, CContact& to)
{
    const std::uint32_t lastError = GetLastError();
    SetLastError(ERROR_SUCCESS);
    const bool isCopied = to.SetEmails(from.GetEmails()) && to.SetAddresses(from.GetAddresses()) &&
                          to.SetTelephones(from.GetTelephones()) && to.SetIMs(from.GetIMs());
    if (!isCopied || GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
        return false;
    }
    SetLastError(lastError);
    return true;
}

} // namespace

CContactPlg* CPABPlugin::Create(CMailbox& mailbox)
{
    CMailboxMailOwner owner;
    const std::optional<CAddressBook> book = CAddressBook::Of(mailbox);
    return book && owner.Open(mailbox) ? Make<CPABPlugin>(book->Folder(), owner).release()
                                       : nullptr;
}

void CPABPlugin::Release(CContactPlg* plugin)
{
    delete static_cast<CPABPlugin*>(plugin);
}

CPABPlugin::CPABPlugin(std::string rootDirectory, const CMailOwner& owner)
    : m_rootDirectory(std::move(rootDirectory)), m_owner(owner)
{}

std::string CPABPlugin::GetPluginType()
{
    return CPABContact::kPluginType;
}

bool CPABPlugin::OwnsContact(ContactMgr::CContactId id)
{
    return id.Namespace() == CPABContact::kPluginType;
}

bool CPABPlugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
{
    if (!OwnsContact(id)) {
        return false;
    }
    auto opened = Make<CPABContact>();
    if (!opened->Open(m_rootDirectory.c_str(), id.ToNumber())) {
        const CKeepLastError keep;
        opened.reset();
        return false;
    }
    if (contact != nullptr) {
        delete std::exchange(*contact, opened.release());
    }
    return true;
}

// A message store of its own is made with its first contact.
bool CPABPlugin::EnsureRootDirectory() const
{
    const char* const path = m_rootDirectory.c_str();
    if (EnsureDirectory(path) != 0) {
        return true;
    }
    if (GetLastError() != ERROR_PATH_NOT_FOUND) {
        return false;
    }
    if (!m_owner.MakeMessageStore()) {
        const bool hasOwner = GetLastError() != ERROR_INVALID_HANDLE;
        return hasOwner ? false : Fail(ERROR_PATH_NOT_FOUND);
    }
    return EnsureDirectory(path) != 0;
}

CContact* CPABPlugin::CreateContact(CContact* contact)
{
    // ERROR_PATH_NOT_FOUND comes again below, from the counter or the contact's file.
    if (!EnsureRootDirectory() && GetLastError() != ERROR_PATH_NOT_FOUND) {
        return nullptr;
    }
    auto created = Make<CPABContact>();
    const auto drop = [&created] {
        const CKeepLastError keep;
        created.reset();
        return nullptr;
    };
    // Number 0 is refused by Create, so that a failed claim leaves ERROR_INVALID_PARAMETER (87);
    // exhausted memory keeps its own code.
    const std::uint32_t number = AllocateContactNumber();
    const bool isWithoutMemory = number == 0 && GetLastError() == ERROR_NOT_ENOUGH_MEMORY;
    if (isWithoutMemory || !created->Create(m_rootDirectory.c_str(), number)) {
        DistrustContactNumbers(m_rootDirectory);
        return drop();
    }
    if (contact != nullptr) {
        if (!CopyProperties(*contact, *created) || !CopyLists(*contact, *created)) {
            return drop();
        }
    }
    return created.release();
}

bool CPABPlugin::DeleteContact(ContactMgr::CContactId id)
{
    if (!OwnsContact(id)) {
        return false;
    }
    CPABContact contact;
    return contact.Delete(m_rootDirectory.c_str(), id.ToNumber());
}

CContactPlg::CContactEnumerator* CPABPlugin::GetEnumerator()
{
    return Make<CPABContactEnumerator>(m_rootDirectory).release();
}

std::uint32_t CPABPlugin::AllocateContactNumber()
{
    return ClaimContactNumber(m_rootDirectory);
}

bool CPABPlugin::ChangesSince(FILETIME since, FILETIME* version,
                              ContactMgr::CContactIdList* deleted,
                              ContactMgr::CContactIdList* changed,
                              ContactMgr::CContactIdList* created)
{
    if (version == nullptr || deleted == nullptr || changed == nullptr || created == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return KeepingLastError([&] {
        return CChangeReport(m_rootDirectory, since, *deleted, *changed, *created).Draw(version);
    });
}

} // namespace contactmgr_internal
