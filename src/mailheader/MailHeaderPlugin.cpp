#include "mailheader/MailHeaderPlugin.h"

#include "mailheader/MailHeaderContact.h"
#include "mailheader/MailHeaderContactEnumerator.h"
#include "platform/LastError.h"

#include <new>
#include <utility>

CContactPlg* CMailHeaderPlugin::Create(CMailbox& mailbox)
{
    return new CMailHeaderPlugin(mailbox);
}

void CMailHeaderPlugin::Release(CContactPlg* plugin)
{
    delete static_cast<CMailHeaderPlugin*>(plugin);
}

std::string CMailHeaderPlugin::GetPluginType()
{
    return CMailHeaderContact::kPluginType;
}

bool CMailHeaderPlugin::OwnsContact(ContactMgr::CContactId id)
try {
    return id.Namespace() == CMailHeaderContact::kPluginType;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CMailHeaderPlugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
try {
    if (!OwnsContact(id)) {
        return false;
    }
    const std::string& text = id.ToString();
    CRfc822Address address;
    if (!address.Parse(text.c_str() + text.find('-') + 1)) {
        return false;
    }
    if (contact == nullptr) {
        return true;
    }
    CContact* opened = new CMailHeaderContact(std::move(address));
    if (opened == nullptr) {
        return false;
    }
    delete std::exchange(*contact, opened);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CContactPlg::CContactEnumerator* CMailHeaderPlugin::GetEnumerator()
{
    return new CMailHeaderContactEnumerator(m_mailbox);
}
