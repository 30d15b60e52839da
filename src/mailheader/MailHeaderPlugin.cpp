#include "mailheader/MailHeaderPlugin.h"

#include "mailheader/MailHeaderContact.h"
#include "mailheader/MailHeaderContactEnumerator.h"
#include "platform/Failure.h"

#include <utility>

inline namespace contactmgr_internal
{

CContactPlg* CMailHeaderPlugin::Create(CMailbox& mailbox)
{
    return Make<CMailHeaderPlugin>(mailbox).release();
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
{
    return id.Namespace() == CMailHeaderContact::kPluginType;
}

bool CMailHeaderPlugin::OpenContact(ContactMgr::CContactId id, CContact** contact)
{
    if (!OwnsContact(id)) {
        return false;
    }
    const std::string& text = id.ToString();
    if (text.find('\0') != text.npos) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    CRfc822Address address;
    if (!address.Parse(text.c_str() + text.find('-') + 1)) {
        return false;
    }
    if (contact == nullptr) {
        return true;
    }
    auto opened = Make<CMailHeaderContact>(std::move(address));
    delete std::exchange(*contact, opened.release());
    return true;
}

CContactPlg::CContactEnumerator* CMailHeaderPlugin::GetEnumerator()
{
    return Make<CMailHeaderContactEnumerator>(m_mailbox).release();
}

} // namespace contactmgr_internal
