#include "edit/ContactMerge.h"

#include "base/Session.h"
#include "cards/StoredCard.h"
#include "edit/CardMerge.h"
#include "intake/CardReader.h"
#include "pab/PABContact.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <utility>

namespace
{

class CMerge
{
public:
    CMerge(CSession& session, const std::vector<std::string>& ids)
        : m_session(session), m_ids(ids), m_what("merge " + ids.front())
    {}

    bool Run(bool isDryRun)
    {
        m_first = m_session.OpenContact("merge", m_ids.front());
        if (m_first == nullptr || !HoldOthers()) {
            return false;
        }
        std::u16string text;
        if (!Try([&] { return m_first->ToString(&text); })) {
            return m_session.Report().Failure(m_what);
        }
        const CVCard before = ReadVCard(ToUtf8(text));
        CCardMerge merge(before);
        for (const auto& [id, card] : m_others) {
            Add(card.Text(), &merge);
        }
        for (const std::string& kept : merge.Kept()) {
            m_session.Report().Note(m_what, "kept " + kept);
        }
        const std::string merged = WriteVCard(merge.Card());
        return isDryRun ? Show(merged) : Save(merged, merge.Card() != before) && DeleteOthers();
    }

private:
    using CHeldContact = std::pair<std::string, CHeldCard>;

    bool HoldOthers()
    {
        const CAddressBook& book = m_session.AddressBook();
        for (auto id = m_ids.begin() + 1; id != m_ids.end(); ++id) {
            if (book.StateOf(*id) == CAddressBook::EFile::kEmpty) {
                m_session.Report().Note("merge " + *id, "it has been deleted; passed over");
                continue;
            }
            CHeldContact& other = m_others.emplace_back(*id, CHeldCard());
            if (!m_session.Patience().Try([&] { return other.second.Hold(book.FileOf(*id)); })) {
                return m_session.FailContact("merge", *id);
            }
        }
        return true;
    }

    static void Add(const std::string& text, CCardMerge* merge)
    {
        merge->Add(ReadVCard(text));
        for (const std::string& line : FindForeignLines(text)) {
            CVCardLine read;
            if (!ReadVCardLine(line, &read)) { // an EMAIL line that is none is in the card
                merge->AddForeign(line);
            }
        }
    }

    bool Show(const std::string& merged)
    {
        CPABContact card;
        std::u16string text;
        if (!Try([&] { return ReplaceCard(card, merged) && card.ToString(&text); })) {
            return m_session.Report().Failure(m_what);
        }
        Print(ToUtf8(text));
        return true;
    }

    // What is not changed may be unflushed all the same.
    bool Save(const std::string& merged, bool isChanged)
    {
        const auto save = [&] {
            return isChanged ? ReplaceCard(*m_first, merged) && m_first->Save()
                             : m_session.AddressBook().Flush();
        };
        return Try(save) || m_session.Report().Failure(m_what);
    }

    bool DeleteOthers()
    {
        for (CHeldContact& other : m_others) {
            if (!Try([&] { return other.second.Delete(); })) {
                m_session.FailContact("merged and saved, but delete", other.first);
            }
        }
        Print(m_first->GetId().ToString() + '\n');
        return true;
    }

    CSession& m_session;
    const std::vector<std::string>& m_ids;
    const std::string m_what;
    std::unique_ptr<CContact> m_first;
    std::deque<CHeldContact> m_others;
};

} // namespace

bool MergeContacts(CSession& session, const std::vector<std::string>& ids, bool isDryRun)
{
    std::set<std::uint32_t> numbers;
    for (const std::string& id : ids) {
        if (!session.IsOfAddressBook("merge", id)) {
            return false;
        }
        if (!numbers.insert(ContactMgr::CContactId(id).ToNumber()).second) {
            throw CUsageError("merge has " + id + " twice");
        }
    }
    if (numbers.size() < 2) {
        throw CUsageError("merge wants two identifiers at least");
    }
    if (!session.OpenContacts(isDryRun ? CSession::EAccess::kRead : CSession::EAccess::kWrite)) {
        return false;
    }
    CContactMgr::FlushEachChange();
    return CMerge(session, ids).Run(isDryRun);
}
