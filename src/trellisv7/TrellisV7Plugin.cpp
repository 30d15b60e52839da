#include "trellisv7/TrellisV7Plugin.h"

#include "platform/Failure.h"
#include "server/MailFolder.h"
#include "server/MailOwner.h"
#include "server/Mailbox.h"
#include "server/MessageInMessageStore.h"
#include "trellisv7/TrellisV7Contact.h"
#include "trellisv7/TrellisV7ContactEnumerator.h"

#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// The three parts behind the first hyphen of an identifier.
struct MessagePlace
{
    std::string messageId;
    std::string mailboxName;
    std::string domainName;
};

bool TakeApart(const std::string& id, MessagePlace* place)
{
    const std::size_t hyphen = id.find('-');
    const std::size_t first = hyphen == id.npos ? id.npos : id.find(' ', hyphen + 1);
    const std::size_t second = first == id.npos ? id.npos : id.find(' ', first + 1);
    if (second == id.npos) {
        return false;
    }
    if (id.find('\0') != id.npos) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    place->messageId = id.substr(hyphen + 1, first - hyphen - 1);
    place->mailboxName = id.substr(first + 1, second - first - 1);
    place->domainName = id.substr(second + 1);
    return true;
}

bool OpenFolder(_tMailServer* server, const MessagePlace& place, CMailOwner* owner,
                CMailFolder* folder)
{
    return owner->Open(server, place.mailboxName.c_str(), place.domainName.c_str(), 0) &&
           folder->Open(*owner, CTrellisV7Contact::kFolder);
}

} // namespace

CContactPlg* CTrellisV7Plugin::Create(CMailbox& mailbox)
{
    return Make<CTrellisV7Plugin>(mailbox).release();
}

void CTrellisV7Plugin::Release(CContactPlg* plugin)
{
    delete static_cast<CTrellisV7Plugin*>(plugin);
}

CTrellisV7Plugin::CTrellisV7Plugin(CMailbox& mailbox) : m_mailbox(mailbox)
{
    m_server.Wrap(GetMailboxServerHandle(mailbox));
}

std::string CTrellisV7Plugin::GetPluginType()
{
    return CTrellisV7Contact::kPluginType;
}

bool CTrellisV7Plugin::OwnsContact(ContactMgr::CContactId id)
{
    return id.Namespace().starts_with(CTrellisV7Contact::kPluginType);
}

bool CTrellisV7Plugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
{
    MessagePlace place;
    if (!OwnsContact(id) || !TakeApart(id.ToString(), &place)) {
        return false;
    }
    CMailOwner owner;
    CMailFolder folder;
    CMessageInMessageStore message;
    FILETIME time;
    if (!OpenFolder(m_server, place, &owner, &folder) ||
        !message.Open(folder, place.messageId.c_str()) || !message.GetInternalTime(&time)) {
        return false;
    }
    auto opened =
        Make<CTrellisV7Contact>(message, std::move(place.messageId), time,
                                std::move(place.mailboxName), std::move(place.domainName));
    if (!opened->Load()) {
        return false;
    }
    if (contact != nullptr) {
        delete std::exchange(*contact, opened.release());
    }
    return true;
}

bool CTrellisV7Plugin::DeleteContact(ContactMgr::CContactId id)
{
    MessagePlace place;
    CMailOwner owner;
    CMailFolder folder;
    return OwnsContact(id) && TakeApart(id.ToString(), &place) &&
           OpenFolder(m_server, place, &owner, &folder) &&
           folder.RemoveMessage(place.messageId.c_str());
}

CContactPlg::CContactEnumerator* CTrellisV7Plugin::GetEnumerator()
{
    return Make<CTrellisV7ContactEnumerator>(m_mailbox).release();
}

} // namespace contactmgr_internal
