#include "core/ContactProperties.h"

#include "core/StoreFactories.h"
#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "server/MailServer.h"

#include <new>
#include <utility>

namespace
{

// The family as the server takes it: its properties, ended by a null name.
constexpr MailServerPropertyRecord kPropertyFamily[] = {
    {"EnabledContactPlugins", kMailServerPropertyNumber, 0, kDefaultStoreMask},
    {nullptr, 0, 0, 0},
};

} // namespace

bool CContactProperty::operator==(const CContactProperty& other) const
{
    const char* left = m_name;
    const char* right = other.m_name;
    while (*left != '\0' && LowerAscii(*left) == LowerAscii(*right)) {
        ++left;
        ++right;
    }
    return LowerAscii(*left) == LowerAscii(*right);
}

bool CContactProperties::GetList(CContactPropertyList& list) const
try {
    CContactPropertyList all(list);
    for (const CContactProperty& property :
         {Comment, FileAs, FullName, GivenName, HTMLComment, Jobtitle, Manager, MiddleInitial,
          Nickname, Organization, OrgUnit, Suffix, Surname, Title, URL, WssVersion,
          WssReplicationId}) {
        all.AddTail(property.GetName());
    }
    list = std::move(all);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int RegisterMailServerPropertyFamilies()
{
    return RegisterMailServerPropertyFamily("ContactMgr", kPropertyFamily) == -1 ? 0 : 1;
}
