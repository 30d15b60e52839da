#include "pab/PABContactLines.h"
#include "platform/Failure.h"
#include "text/Utf8.h"

#include <new>
#include <type_traits>
#include <utility>

inline namespace contactmgr_internal
{

using VCardUtils::CAddressContentLine;
using VCardUtils::CEmailContentLine;
using VCardUtils::CIMContentLine;
using VCardUtils::CTelephoneContentLine;

// Makes the list of its lines, if that has not been done. After an exception nothing has changed.
template <class Line, class List>
void CPABContact::ReadList(List* list)
{
    if (!m_lines.HasEntries<Line>()) {
        return;
    }
    List entries;
    m_lines.ReadEntries<Line>(&entries);
    if constexpr (std::is_same_v<Line, CEmailContentLine>) {
        std::u16string comment;
        if (m_comment && Utf8ToWide(*m_comment, &comment)) {
            for (CContactEmail& email : entries) {
                CEmailContentLine::SetComment(comment, &email);
            }
        }
    }
    // Who kept a reference to the list may have added to it.
    entries.AddTail(*list);
    *list = std::move(entries);
    m_lines.DropEntries<Line>();
}

template <class Line, class List>
List& CPABContact::AskForList(List& list)
try {
    ReadList<Line>(&list);
    return list;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return list;
}

template <class Line, class List>
bool CPABContact::ReplaceList(List* list, const List& with)
try {
    m_isDirty = true;
    if (&with == list) {
        // It is empty where there was no memory to make it.
        ReadList<Line>(list);
    } else {
        *list = with;
        m_lines.DropEntries<Line>();
    }
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

void CPABContact::ReadLists()
{
    ReadList<CEmailContentLine>(&m_emails);
    ReadList<CTelephoneContentLine>(&m_telephones);
    ReadList<CAddressContentLine>(&m_addresses);
    ReadList<CIMContentLine>(&m_ims);
}

CContactEmailList& CPABContact::GetEmails()
{
    return AskForList<CEmailContentLine>(m_emails);
}

bool CPABContact::SetEmails(const CContactEmailList& emails)
{
    return ReplaceList<CEmailContentLine>(&m_emails, emails);
}

CContactAddrList& CPABContact::GetAddresses()
{
    return AskForList<CAddressContentLine>(m_addresses);
}

bool CPABContact::SetAddresses(const CContactAddrList& addresses)
{
    return ReplaceList<CAddressContentLine>(&m_addresses, addresses);
}

CContactTelList& CPABContact::GetTelephones()
{
    return AskForList<CTelephoneContentLine>(m_telephones);
}

bool CPABContact::SetTelephones(const CContactTelList& telephones)
{
    return ReplaceList<CTelephoneContentLine>(&m_telephones, telephones);
}

CContactIMList& CPABContact::GetIMs()
{
    return AskForList<CIMContentLine>(m_ims);
}

bool CPABContact::SetIMs(const CContactIMList& ims)
{
    return ReplaceList<CIMContentLine>(&m_ims, ims);
}

} // namespace contactmgr_internal
