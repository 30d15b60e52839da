#include "core/ContactProperties.h"

#include "core/StoreFactories.h"
#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "server/MailServer.h"
#include "server/PropertyNames.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <string_view>
#include <utility>

namespace
{

// The family as the server takes it: its properties, ended by a null name.
constexpr MailServerPropertyRecord kPropertyFamily[] = {
    {"EnabledContactPlugins", kMailServerPropertyNumber, 0, kDefaultStoreMask},
    {nullptr, 0, 0, 0},
};

// The members of CContactProperties and the table of names say the same.
constexpr bool AreTheKnownNames(std::initializer_list<CContactProperty> members)
{
    std::size_t known = 0;
    for (const CPropertyName& row : kPropertyNames) {
        known += row.IsOfContact() ? 1 : 0;
    }
    return known == members.size() && std::ranges::all_of(members, [](CContactProperty member) {
               return std::ranges::any_of(kPropertyNames, [member](const CPropertyName& row) {
                   return row.IsOfContact() && std::string_view(row.name) == member.GetName();
               });
           });
}

constexpr CContactProperties kNames = CContactProperties::Instance();
static_assert(AreTheKnownNames({kNames.Comment, kNames.FullName, kNames.GivenName,
                                kNames.HTMLComment, kNames.Jobtitle, kNames.Manager,
                                kNames.MiddleInitial, kNames.Nickname, kNames.Organization,
                                kNames.OrgUnit, kNames.FileAs, kNames.Suffix, kNames.Surname,
                                kNames.Title, kNames.URL, kNames.WssVersion,
                                kNames.WssReplicationId}));

} // namespace

bool CContactProperty::HasNameOf(const CContactProperty& other) const
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
    for (const CPropertyName& known : kPropertyNames) {
        if (known.IsOfContact()) {
            all.AddTail(known.name);
        }
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
